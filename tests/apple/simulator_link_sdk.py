#!/usr/bin/env python3
"""Writes the link stubs of an iOS device SDK again for the arm64 simulator.

  simulator_link_sdk.py SDK DEST

The device SDK's .tbd stubs name the device targets only, so a linker that
checks platforms refuses to link an arm64 simulator program against them.
Apart from that target, the simulator SDK of the same release describes the
same libraries with the same symbols. DEST receives every .tbd of SDK, at the
same relative path, naming the target arm64-ios-simulator, plus
SDKSettings.json; it holds no headers and is meant only as the system root of
a link (-isysroot DEST on the link line). Version 4 stubs have their target
renamed; version 3 stubs, which cannot name a simulator, are written again in
version 4 form with their arm64 sections only. Symbolic links stay links.

DEST is rebuilt only when it is missing or was written from another SDK or by
another version of this script. It is a build product: it never belongs in a
source tree.
"""

import hashlib
import os
import re
import shutil
import sys

DEVICE_TARGET = "arm64-ios"
SIMULATOR_TARGET = "arm64-ios-simulator"
# A target name as it stands in a version 4 stub: not part of a longer name
# such as arm64e-ios or arm64-ios-simulator.
DEVICE_TARGET_TOKEN = re.compile(r"(?<![\w-])arm64-ios(?![\w-])")


ITEM = re.compile(r"\s*('[^']*'|\"[^\"]*\"|[^,]+)")


def split_flow_sequence(text):
    """The items of a YAML flow sequence "[ a, 'b, c', d ]", quotes kept."""
    inner = text.strip()
    assert inner.startswith("[") and inner.endswith("]"), text
    inner = inner[1:-1]
    if "'" not in inner and '"' not in inner:
        return [item.strip() for item in inner.split(",") if item.strip()]
    return [item.strip() for item in ITEM.findall(inner) if item.strip()]


def logical_lines(text):
    """The document's lines, a flow sequence continued over several lines
    joined into one."""
    pending, depth = [], 0
    for line in text.splitlines():
        pending.append(line.strip() if pending else line)
        depth += line.count("[") - line.count("]")
        if depth == 0:
            yield " ".join(pending)
            pending = []
    if pending:
        raise ValueError("unterminated flow sequence")


def parse_v3(text):
    """A version 3 stub as {key: scalar or list, "exports": [{key: list}]}."""
    top, section, current_list = {}, None, None
    for line in logical_lines(text):
        stripped = line.strip()
        if not stripped or stripped.startswith("---") or stripped == "...":
            continue
        indent = len(line) - len(line.lstrip(" "))
        if stripped.startswith("- "):
            section = {}
            current_list.append(section)
            stripped, indent = stripped[2:], indent + 2
        key, _, value = stripped.partition(":")
        value = value.strip()
        parsed = split_flow_sequence(value) if value.startswith("[") else value
        if indent == 0:
            section = None
            if value:
                top[key] = parsed
            else:
                current_list = top.setdefault(key, [])
        else:
            section[key] = parsed
    return top


def flow(items):
    return "[ " + ", ".join(items) + " ]"


def v3_to_v4(text):
    """The version 4 form of a version 3 stub, for the arm64 simulator."""
    stub = parse_v3(text)
    if "arm64" not in stub.get("archs", []):
        return None
    target = f"[ {SIMULATOR_TARGET} ]"
    out = ["--- !tapi-tbd", "tbd-version:     4", f"targets:         {target}"]
    if stub.get("flags"):
        out.append(f"flags:           {flow(stub['flags'])}")
    out.append(f"install-name:    {stub['install-name']}")
    for key in ("current-version", "compatibility-version", "swift-abi-version"):
        if key in stub:
            out.append(f"{key}: {stub[key]}")
    if "parent-umbrella" in stub:
        out += ["parent-umbrella:", f"  - targets:         {target}",
                f"    umbrella:        {stub['parent-umbrella']}"]
    if stub.get("allowable-clients"):
        out += ["allowable-clients:", f"  - targets:         {target}",
                f"    clients:         {flow(stub['allowable-clients'])}"]
    sections = [s for s in stub.get("exports", []) if "arm64" in s.get("archs", [])]
    reexports = [lib for s in sections for lib in s.get("re-exports", [])]
    if reexports:
        out += ["reexported-libraries:", f"  - targets:         {target}",
                f"    libraries:       {flow(reexports)}"]
    # Version 3 names weak definitions "weak-def-symbols"; version 4 "weak-symbols".
    kinds = (("symbols", "symbols"), ("objc-classes", "objc-classes"),
             ("objc-eh-types", "objc-eh-types"), ("objc-ivars", "objc-ivars"),
             ("weak-def-symbols", "weak-symbols"), ("thread-local-symbols", "thread-local-symbols"))
    exported = []
    for old, new in kinds:
        names = [name for s in sections for name in s.get(old, [])]
        if names:
            exported.append(f"    {new}: {flow(names)}")
    if exported:
        out.append("exports:")
        out.append(f"  - targets:         {target}")
        out += exported
    out.append("...")
    return "\n".join(out) + "\n"


def rewrite(text):
    if text.startswith("--- !tapi-tbd-v3"):
        return v3_to_v4(text)
    if re.match(r"--- !tapi-tbd\n", text) and "tbd-version:" in text:
        return DEVICE_TARGET_TOKEN.sub(SIMULATOR_TARGET, text)
    return None


def fingerprint(sdk):
    with open(__file__, "rb") as f:
        script = hashlib.sha256(f.read()).hexdigest()
    return f"{os.path.realpath(sdk)}\n{script}\n"


def write(sdk, dest):
    stamp = os.path.join(dest, ".written-from")
    if os.path.exists(stamp):
        with open(stamp) as f:
            if f.read() == fingerprint(sdk):
                return 0
    partial = dest + ".partial"
    shutil.rmtree(partial, ignore_errors=True)
    os.makedirs(partial)
    shutil.copy(os.path.join(sdk, "SDKSettings.json"), partial)
    skipped = 0
    for root, _, files in os.walk(sdk):
        for name in files:
            if not name.endswith(".tbd"):
                continue
            source = os.path.join(root, name)
            target = os.path.join(partial, os.path.relpath(source, sdk))
            os.makedirs(os.path.dirname(target), exist_ok=True)
            if os.path.islink(source):
                os.symlink(os.readlink(source), target)
                continue
            with open(source, encoding="utf-8") as f:
                text = rewrite(f.read())
            if text is None:  # no arm64 in it
                skipped += 1
                continue
            with open(target, "w", encoding="utf-8") as f:
                f.write(text)
    with open(os.path.join(partial, ".written-from"), "w") as f:
        f.write(fingerprint(sdk))
    shutil.rmtree(dest, ignore_errors=True)
    os.rename(partial, dest)
    return skipped


def main():
    if len(sys.argv) != 3:
        raise SystemExit(__doc__.split("\n\n")[1])
    sdk, dest = sys.argv[1:]
    if not os.path.exists(os.path.join(sdk, "SDKSettings.json")):
        raise SystemExit(f"{sdk}: not an SDK (no SDKSettings.json)")
    write(sdk, dest)


if __name__ == "__main__":
    main()
