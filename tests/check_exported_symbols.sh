#!/usr/bin/env bash
# Fails unless the shared library exports exactly what the installed headers
# declare for a host to link against: every function and variable they
# declare (and the vtable and typeinfo of their polymorphic classes), plus the
# members of the library's own named classes (RQB..., Reachability) and the
# reachability notification's name, which are exported but have no installed
# header. Nothing else may leave: no internal namespace, no instantiation of
# the standard library. The expected names come from the headers themselves,
# through clang's view of them, so the export map cannot drift from them.
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

# Members, vtables and typeinfo of the library's own named classes.
named_class='^((vtable|typeinfo|typeinfo name) for )?(RQB[A-Za-z0-9_]*|Reachability)(::|$)'
named_classes() {
  while read -r symbol; do
    demangled=$(c++filt <<<"$symbol")
    [[ $demangled =~ $named_class || $demangled == kReachabilityChangedNotification ]] &&
      echo "$symbol"
  done
  return 0
}

status=0
comm -13 "$scratch/declared" "$scratch/exported" | named_classes >"$scratch/named"
grep -q 'RQBIdentifyManager11getInstance' "$scratch/named" ||
  { echo "the library's own classes are not exported"; status=1; }
grep -qx kReachabilityChangedNotification "$scratch/named" ||
  { echo "kReachabilityChangedNotification is not exported"; status=1; }
unexpected=$(comm -13 "$scratch/declared" "$scratch/exported" | comm -23 - "$scratch/named")
if [ -n "$unexpected" ]; then
  echo "exported but declared by no installed header and no member of a named class:"
  c++filt <<<"$unexpected" | sed 's/^/  /'
  status=1
fi
missing=$(comm -23 "$scratch/declared" "$scratch/exported")
if [ -n "$missing" ]; then
  echo "declared by the installed headers but not exported:"
  c++filt <<<"$missing" | sed 's/^/  /'
  status=1
fi
[ $status -eq 0 ] && echo "$(wc -l <"$scratch/exported") exported symbols: the installed headers' declarations and $(wc -l <"$scratch/named") of the library's named classes"
exit $status
