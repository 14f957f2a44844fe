#!/usr/bin/env bash
# Writes one iOS SDK out of a clone of the public theos/sdks repository, for
# `make ios`:
#   git clone --bare https://github.com/theos/sdks.git ~/theos-sdks.git
#   scripts/extract-ios-sdk.sh ~/theos-sdks.git ~/ios-sdks
#   RQBEHAVIOR_IOS_SDK=~/ios-sdks/iPhoneOS15.6.sdk make ios
# The SDK stays outside the source tree: none of its files belong in the
# project.
# Usage: extract-ios-sdk.sh GIT_DIR DEST [SDK_NAME]
# GIT_DIR is the clone's git directory, DEST a folder; SDK_NAME defaults to
# iPhoneOS15.6.sdk, whose Foundation.tbd is present. Blobs missing from a
# partial clone are skipped and counted. Prints the SDK's path last.
set -euo pipefail
if [[ $# -lt 2 ]]; then
  echo "usage: $0 GIT_DIR DEST [SDK_NAME]" >&2
  exit 2
fi
git_dir=$1 dest=$2 sdk=${3:-iPhoneOS15.6.sdk}
mkdir -p "$dest"
python3 - "$git_dir" "$sdk" "$dest" <<'PY'
import os, subprocess, sys
repo, tree, dest = sys.argv[1:4]
listing = subprocess.run(["git", "-C", repo, "ls-tree", "-r", "-z", "HEAD", tree],
                         capture_output=True, check=True).stdout
entries = [e for e in listing.split(b"\0") if e]
if not entries:
    sys.exit(f"no {tree} in {repo}")
cat = subprocess.Popen(["git", "-C", repo, "cat-file", "--batch"],
                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
written = missing = 0
for entry in entries:
    meta, path = entry.split(b"\t", 1)
    mode, _, sha = meta.split()
    cat.stdin.write(sha + b"\n"); cat.stdin.flush()
    header = cat.stdout.readline().split()
    if header[1] == b"missing":
        missing += 1
        continue
    data = cat.stdout.read(int(header[2])); cat.stdout.read(1)
    full = os.path.join(dest, path.decode())
    os.makedirs(os.path.dirname(full), exist_ok=True)
    if os.path.lexists(full):
        os.remove(full)
    if mode == b"120000":
        os.symlink(data.decode(), full)
    else:
        with open(full, "wb") as f:
            f.write(data)
    written += 1
print(f"{written} files written, {missing} absent from the snapshot", file=sys.stderr)
PY
echo "$(cd "$dest/$sdk" && pwd)"
