#!/usr/bin/env bash
# Fails unless the shared library exports exactly what the installed headers
# declare for a host to link against: every function and variable they
# declare (and the vtable and typeinfo of their polymorphic classes), and
# nothing else. The expected names come from the headers themselves, through
# clang's view of them, so the export map cannot drift from them.
#
# Usage: check_exported_symbols.sh LIBRARY INCLUDE_DIR [CLANG++ [PYTHON3]]
set -euo pipefail
library=$1
include_dir=$(cd "$2" && pwd)
clangxx=${3:-clang++}
python=${4:-python3}
here=$(cd "$(dirname "$0")" && pwd)

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

for header in "$include_dir"/RQBehavior/*.h; do
  echo "#include \"$header\""
done >"$scratch/headers.cpp"
"$clangxx" -std=c++17 -fsyntax-only -I "$include_dir" -Xclang -ast-dump=json \
  "$scratch/headers.cpp" >"$scratch/ast.json"
"$python" "$here/public_declarations.py" "$include_dir" <"$scratch/ast.json" | sort -u \
  >"$scratch/declared"
nm -D --defined-only "$library" | awk '{ sub(/@.*/, "", $3); print $3 }' | sort -u \
  >"$scratch/exported"

[ -s "$scratch/declared" ] || { echo "no declarations found in $include_dir"; exit 1; }
grep -qx 'rqb_set_app' "$scratch/declared" || { echo "C interface not seen in $include_dir"; exit 1; }

status=0
unexpected=$(comm -13 "$scratch/declared" "$scratch/exported")
if [ -n "$unexpected" ]; then
  echo "exported but declared by no installed header:"
  c++filt <<<"$unexpected" | sed 's/^/  /'
  status=1
fi
missing=$(comm -23 "$scratch/declared" "$scratch/exported")
if [ -n "$missing" ]; then
  echo "declared by the installed headers but not exported:"
  c++filt <<<"$missing" | sed 's/^/  /'
  status=1
fi
[ $status -eq 0 ] && echo "$(wc -l <"$scratch/exported") exported symbols, exactly the installed headers' declarations"
exit $status
