#!/usr/bin/env python3
"""Checks of the iOS build that need no device: what the archive and the host
app are made of, which system calls and Objective-C messages the library
makes, and whether its privacy manifest declares what it uses.

  ios_build_checks.py products --archive A --app APP
  ios_build_checks.py calls    --archive A --sdk SDK --expected LIST --framework F... [--opt-in]
  ios_build_checks.py manifest --archive A --manifest PLIST [--app APP]

Tools are taken from LLVM_NM and LLVM_OBJDUMP (default llvm-nm-14 and
llvm-objdump-14). Each check prints what it found wrong and exits 1.
"""

import argparse
import os
import plistlib
import re
import struct
import subprocess
import sys

NM = os.environ.get("LLVM_NM", "llvm-nm-14")
OBJDUMP = os.environ.get("LLVM_OBJDUMP", "llvm-objdump-14")

MH_MAGIC_64 = 0xFEEDFACF
CPU_TYPE_ARM64 = 0x0100000C
MH_OBJECT, MH_EXECUTE = 1, 2
LC_BUILD_VERSION = 0x32
PLATFORM_IOS = 2


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def archive_members(path):
    """(name, bytes) of each member of a BSD ("darwin") archive."""
    with open(path, "rb") as f:
        data = f.read()
    if not data.startswith(b"!<arch>\n"):
        raise SystemExit(f"{path}: not an ar archive")
    offset, members = 8, []
    while offset + 60 <= len(data):
        header = data[offset:offset + 60]
        name, size = header[:16].decode().strip(), int(header[48:58].decode())
        body = data[offset + 60:offset + 60 + size]
        if not name.startswith("#1/"):
            raise SystemExit(f"{path}: member '{name}' is not in the BSD layout Apple's linker reads")
        name_length = int(name[3:])
        members.append((body[:name_length].rstrip(b"\0").decode(), body[name_length:]))
        offset += 60 + size + (size & 1)
    return members


def macho_facts(blob):
    """(cputype, filetype, platform, minos) of a 64-bit Mach-O file, or None."""
    if len(blob) < 32 or struct.unpack_from("<I", blob)[0] != MH_MAGIC_64:
        return None
    _, cputype, _, filetype, ncmds, _, _, _ = struct.unpack_from("<IiiIIIII", blob)
    platform = minos = None
    offset = 32
    for _ in range(ncmds):
        cmd, cmdsize = struct.unpack_from("<II", blob, offset)
        if cmd == LC_BUILD_VERSION:
            platform, minos = struct.unpack_from("<II", blob, offset + 8)
        offset += cmdsize
    return cputype, filetype, platform, minos


def version_text(encoded):
    return f"{encoded >> 16}.{(encoded >> 8) & 0xFF}.{encoded & 0xFF}"


def check_products(args):
    problems = []
    wanted_os = ".".join((args.min_os.split(".") + ["0", "0"])[:3])
    for name, blob in archive_members(args.archive):
        if name.startswith("__.SYMDEF"):
            continue
        facts = macho_facts(blob)
        if facts is None:
            problems.append(f"{name}: not a 64-bit Mach-O object")
            continue
        cputype, filetype, platform, minos = facts
        if cputype != CPU_TYPE_ARM64 or filetype != MH_OBJECT:
            problems.append(f"{name}: cputype {cputype:#x}, filetype {filetype}; want arm64 object")
        if platform != PLATFORM_IOS or minos is None or version_text(minos) != wanted_os:
            problems.append(f"{name}: built for platform {platform}, minimum {minos and version_text(minos)};"
                            f" want iOS {wanted_os}")
    executable = os.path.join(args.app, os.path.splitext(os.path.basename(args.app))[0])
    with open(executable, "rb") as f:
        facts = macho_facts(f.read())
    if facts is None or facts[:2] != (CPU_TYPE_ARM64, MH_EXECUTE):
        problems.append(f"{executable}: not an arm64 Mach-O executable")
    # Two-level namespace: every symbol the linker left undefined names the
    # SDK library that provides it.
    for line in run(NM, "-m", "--undefined-only", executable).splitlines():
        if "(from " not in line:
            problems.append(f"{executable}: undefined symbol bound to no library: {line.strip()}")
    return problems


# Libraries of the language runtimes: the C++ and Objective-C runtimes,
# blocks, unwinding and the compiler's helpers. Their symbols follow from how
# the code is written, not from which system services it uses.
LANGUAGE_LIBRARIES = re.compile(
    r"/usr/lib/(libc\+\+|libobjc|system/(libsystem_blocks|libunwind|libcompiler_rt|libsystem_platform"
    r"|libsystem_pthread|libsystem_malloc|libdyld))")
# The ISO C string, character and formatting functions, wherever they live.
ISO_C = {"_memchr", "_memcmp", "_memcpy", "_memmove", "_memset", "_strlen", "_strnlen", "_strcmp",
         "_strncmp", "_strchr", "_strrchr", "_snprintf", "_vsnprintf", "_abort", "___tolower",
         "___toupper", "___maskrune", "__DefaultRuneLocale", "___stack_chk_fail", "___stack_chk_guard"}


def tbd_exports(path):
    """{symbol: install name} of every library described by a .tbd file."""
    exports = {}
    with open(path) as f:
        text = f.read()
    for document in text.split("--- !tapi-tbd")[1:]:
        install_name = re.search(r"install-name:\s*'?([^'\n]+)'?", document).group(1)
        for kind, body in re.findall(
                r"(symbols|weak-symbols|thread-local-symbols|objc-classes|objc-eh-types):\s*\[([^\]]*)\]",
                document):
            for token in body.replace("\n", " ").split(","):
                name = token.strip().strip("'")
                if not name or name.startswith("$ld$"):
                    continue
                if kind == "objc-classes":
                    exports[f"_OBJC_CLASS_$_{name}"] = install_name
                elif kind == "objc-eh-types":
                    exports[f"_OBJC_EHTYPE_$_{name}"] = install_name
                else:
                    exports[name] = install_name
    return exports


def referenced(archive):
    """{member: (symbols, selectors)} the archive's members use from outside it."""
    undefined, defined = {}, set()
    # Lines read "archive:member: symbol".
    for line in run(NM, "-A", "--undefined-only", archive).splitlines():
        location, symbol = line.rsplit(" ", 1)
        undefined.setdefault(location.rstrip(":").rsplit(":", 1)[1], set()).add(symbol)
    for line in run(NM, "-A", "--defined-only", "--extern-only", archive).splitlines():
        defined.add(line.rsplit(" ", 1)[1])
    selectors, member = {}, None
    for line in run(OBJDUMP, "--macho", "--section=__TEXT,__objc_methname", archive).splitlines():
        header = re.match(r".*\((.*)\):$", line)
        if header:
            member = header.group(1)
        elif re.match(r"^[0-9a-f]{16}\s", line):
            selectors.setdefault(member, set()).add(line.split(None, 1)[1].strip())
    members = set(undefined) | set(selectors)
    return {m: (undefined.get(m, set()) - defined, selectors.get(m, set())) for m in members}


def read_expected(path, opted_in):
    """{(kind, name)} the list expects, for this build."""
    expected, section = set(), "always"
    with open(path) as f:
        for number, raw in enumerate(f, 1):
            line = raw.split("#", 1)[0].strip()
            if not line:
                continue
            if line.startswith("["):
                section = line.strip("[]")
                continue
            fields = line.split(None, 2)
            if len(fields) < 3 or fields[0] not in ("symbol", "selector"):
                raise SystemExit(f"{path}:{number}: want '<symbol|selector> <name> <readings>'")
            if section == "always" or (section == "disk-and-keyboard readings" and opted_in):
                expected.add((fields[0], fields[1]))
    return expected


def check_calls(args):
    exports = {}
    for library in ("libSystem.B", "libc++.1", "libc++abi", "libobjc.A"):
        exports.update(tbd_exports(os.path.join(args.sdk, "usr/lib", library + ".tbd")))
    for framework in args.framework:
        exports.update(tbd_exports(os.path.join(
            args.sdk, "System/Library/Frameworks", framework + ".framework", framework + ".tbd")))

    problems, found = [], set()
    for member, (symbols, selectors) in sorted(referenced(args.archive).items()):
        calls = set()
        for symbol in symbols:
            library = exports.get(symbol)
            if library is None:
                problems.append(f"{member}: {symbol} is in none of the SDK libraries the library links")
            elif not LANGUAGE_LIBRARIES.match(library) and symbol not in ISO_C:
                calls.add(("symbol", symbol))
        calls |= {("selector", selector) for selector in selectors}
        # The core reaches the system only through the platform layer.
        if calls and not member.endswith(".mm.o"):
            problems += [f"{member}: the core calls the system directly: {kind} {name}"
                         for kind, name in sorted(calls)]
        found |= calls

    expected = read_expected(args.expected, args.opt_in)
    problems += [f"referenced but not expected: {kind} {name}" for kind, name in sorted(found - expected)]
    problems += [f"expected but not referenced: {kind} {name}" for kind, name in sorted(expected - found)]
    return problems


# The required-reason API categories, by the symbols and selectors that use
# them, with the reasons that may be declared for each.
REQUIRED_REASON_APIS = {
    "NSPrivacyAccessedAPICategoryUserDefaults": (
        {"_OBJC_CLASS_$_NSUserDefaults", "_CFPreferencesCopyAppValue", "_CFPreferencesSetAppValue"},
        set(), {"CA92.1", "1C8F.1", "C56D.1", "AC6B.1"}),
    "NSPrivacyAccessedAPICategoryDiskSpace": (
        {"_NSFileSystemFreeSize", "_NSFileSystemSize", "_NSURLVolumeAvailableCapacityKey",
         "_NSURLVolumeAvailableCapacityForImportantUsageKey",
         "_NSURLVolumeAvailableCapacityForOpportunisticUsageKey", "_NSURLVolumeTotalCapacityKey",
         "_statfs", "_statvfs", "_fstatfs", "_fstatvfs", "_getattrlist", "_fgetattrlist",
         "_getattrlistat"},
        set(), {"E174.1", "85F4.1", "B728.1", "7D9E.1"}),
    "NSPrivacyAccessedAPICategoryActiveKeyboards": (
        set(), {"activeInputModes"}, {"3EC4.1", "54BD.1"}),
    "NSPrivacyAccessedAPICategoryFileTimestamp": (
        {"_stat", "_fstat", "_fstatat", "_lstat", "_getattrlist", "_fgetattrlist", "_getattrlistat",
         "_NSFileCreationDate", "_NSFileModificationDate", "_NSURLContentModificationDateKey",
         "_NSURLCreationDateKey"},
        {"creationDate", "modificationDate", "fileModificationDate"},
        {"DDA9.1", "C617.1", "3B52.1", "0A2A.1"}),
    "NSPrivacyAccessedAPICategorySystemBootTime": (
        {"_mach_absolute_time"}, {"systemUptime"}, {"35F9.1", "8FFB.1", "3D61.1"}),
}

DATA_PURPOSES = {
    "NSPrivacyCollectedDataTypePurposeThirdPartyAdvertising",
    "NSPrivacyCollectedDataTypePurposeDeveloperAdvertising",
    "NSPrivacyCollectedDataTypePurposeAnalytics",
    "NSPrivacyCollectedDataTypePurposeProductPersonalization",
    "NSPrivacyCollectedDataTypePurposeAppFunctionality",
    "NSPrivacyCollectedDataTypePurposeOther",
}


def check_manifest(args):
    problems = []
    with open(args.manifest, "rb") as f:
        manifest = plistlib.load(f)
    if args.app:
        with open(os.path.join(args.app, "PrivacyInfo.xcprivacy"), "rb") as f:
            if plistlib.load(f) != manifest:
                problems.append(f"{args.app} holds another privacy manifest than the library's")

    if manifest.get("NSPrivacyTracking") is not False:
        problems.append("NSPrivacyTracking must be false: the profile serves fraud prevention only")
    if manifest.get("NSPrivacyTrackingDomains") != []:
        problems.append("NSPrivacyTrackingDomains must be empty when nothing tracks")
    collected = manifest.get("NSPrivacyCollectedDataTypes", [])
    types = {entry.get("NSPrivacyCollectedDataType") for entry in collected}
    for wanted in ("NSPrivacyCollectedDataTypeDeviceID", "NSPrivacyCollectedDataTypePreciseLocation"):
        if wanted not in types:
            problems.append(f"{wanted} is collected but not declared")
    for entry in collected:
        kind = entry.get("NSPrivacyCollectedDataType")
        if entry.get("NSPrivacyCollectedDataTypeTracking") is not False:
            problems.append(f"{kind}: tracking must be false")
        if not isinstance(entry.get("NSPrivacyCollectedDataTypeLinked"), bool):
            problems.append(f"{kind}: NSPrivacyCollectedDataTypeLinked must be a boolean")
        purposes = entry.get("NSPrivacyCollectedDataTypePurposes")
        if not purposes or not set(purposes) <= DATA_PURPOSES:
            problems.append(f"{kind}: purposes {purposes} are not Apple's")

    declared = {}
    for entry in manifest.get("NSPrivacyAccessedAPITypes", []):
        declared[entry.get("NSPrivacyAccessedAPIType")] = entry.get("NSPrivacyAccessedAPITypeReasons")
    used = set()
    for symbols, selectors in referenced(args.archive).values():
        for category, (api_symbols, api_selectors, _) in REQUIRED_REASON_APIS.items():
            if symbols & api_symbols or selectors & api_selectors:
                used.add(category)
    for category in sorted(used - set(declared)):
        problems.append(f"{category} is used by the library but not declared")
    for category in sorted(set(declared) - used):
        problems.append(f"{category} is declared but the library does not use it")
    for category, reasons in declared.items():
        approved = REQUIRED_REASON_APIS.get(category, (set(), set(), set()))[2]
        if not isinstance(reasons, list) or not set(reasons) <= approved:
            problems.append(f"{category}: reasons {reasons} are not among the approved {sorted(approved)}")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    commands = parser.add_subparsers(dest="command", required=True)
    products = commands.add_parser("products")
    products.add_argument("--archive", required=True)
    products.add_argument("--app", required=True)
    products.add_argument("--min-os", required=True)
    calls = commands.add_parser("calls")
    calls.add_argument("--archive", required=True)
    calls.add_argument("--sdk", required=True)
    calls.add_argument("--expected", required=True)
    calls.add_argument("--framework", action="append", default=[])
    calls.add_argument("--opt-in", action="store_true")
    manifest = commands.add_parser("manifest")
    manifest.add_argument("--archive", required=True)
    manifest.add_argument("--manifest", required=True)
    manifest.add_argument("--app")
    args = parser.parse_args()

    check = {"products": check_products, "calls": check_calls, "manifest": check_manifest}[args.command]
    problems = check(args)
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
