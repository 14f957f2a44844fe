#!/usr/bin/env python3
"""Checks of the iOS build that need no device: what the frameworks, the
xcframework and the host app are made of, which system calls and
Objective-C messages the library makes, whether its privacy manifest
declares what it uses, what the Objective-C class offers, and whether a
host program compiles and links against each slice.

  ios_build_checks.py slice      --framework FW --platform ios|iossimulator --min-os V
  ios_build_checks.py app        --app APP --framework FW
  ios_build_checks.py xcframework --xcframework XCFW --dist DIST
  ios_build_checks.py calls      --archive A --sdk SDK --expected LIST --framework F... [--opt-in]
  ios_build_checks.py manifest   --archive A --manifest PLIST [--app APP]
  ios_build_checks.py interface  --archive A --expected LIST
  ios_build_checks.py program    --source M --slice DIR --platform ios|iossimulator
                                 --sdk SDK --link-sdk SDK --clang CLANG --work DIR

Tools are taken from LLVM_NM and LLVM_OBJDUMP (default llvm-nm-14 and
llvm-objdump-14). Each check prints what it found wrong and exits 1.
"""

import argparse
import hashlib
import os
import plistlib
import re
import struct
import subprocess
import sys
import zipfile

NM = os.environ.get("LLVM_NM", "llvm-nm-14")
OBJDUMP = os.environ.get("LLVM_OBJDUMP", "llvm-objdump-14")

MH_MAGIC_64 = 0xFEEDFACF
CPU_TYPE_ARM64 = 0x0100000C
MH_OBJECT, MH_EXECUTE = 1, 2
LC_BUILD_VERSION = 0x32
PLATFORMS = {"ios": 2, "iossimulator": 7}
# What each platform's framework says in its Info.plist.
BUNDLE_PLATFORMS = {"ios": "iPhoneOS", "iossimulator": "iPhoneSimulator"}
FRAMEWORK_HEADERS = {"RQBehavior.h", "RQBConstants.h", "RQBExport.h", "rqbehavior_c.h"}


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


def read_plist(path, problems):
    try:
        with open(path, "rb") as f:
            return plistlib.load(f)
    except (OSError, plistlib.InvalidFileException, ValueError) as error:
        problems.append(f"{path}: not a property list: {error}")
        return {}


def object_problems(archive, platform, min_os):
    """What is wrong with the archive's members for `platform` and `min_os`."""
    problems = []
    wanted_os = ".".join((min_os.split(".") + ["0", "0"])[:3])
    for name, blob in archive_members(archive):
        if name.startswith("__.SYMDEF"):
            continue
        facts = macho_facts(blob)
        if facts is None:
            problems.append(f"{name}: not a 64-bit Mach-O object")
            continue
        cputype, filetype, found_platform, minos = facts
        if cputype != CPU_TYPE_ARM64 or filetype != MH_OBJECT:
            problems.append(f"{name}: cputype {cputype:#x}, filetype {filetype}; want arm64 object")
        if found_platform != PLATFORMS[platform] or minos is None or version_text(minos) != wanted_os:
            problems.append(f"{name}: built for platform {found_platform}, minimum"
                            f" {minos and version_text(minos)}; want {platform} {wanted_os}")
    return problems


def check_slice(args):
    """One platform's RQBehavior.framework: binary, headers, module, plists."""
    framework = args.framework
    problems = object_problems(os.path.join(framework, "RQBehavior"), args.platform, args.min_os)
    headers = os.path.join(framework, "Headers")
    found = set(os.listdir(headers)) if os.path.isdir(headers) else set()
    if found != FRAMEWORK_HEADERS:
        problems.append(f"{headers} holds {sorted(found)}; want {sorted(FRAMEWORK_HEADERS)}")
    module_map = os.path.join(framework, "Modules", "module.modulemap")
    text = open(module_map).read() if os.path.exists(module_map) else ""
    for wanted in ("framework module RQBehavior", 'umbrella header "RQBehavior.h"',
                   'link framework "RQBehavior"', 'link "c++"'):
        if wanted not in text:
            problems.append(f"{module_map}: no '{wanted}'")

    info = read_plist(os.path.join(framework, "Info.plist"), problems)
    wanted = {
        "CFBundlePackageType": "FMWK",
        "CFBundleExecutable": "RQBehavior",
        "CFBundleName": "RQBehavior",
        "MinimumOSVersion": args.min_os,
        "CFBundleSupportedPlatforms": [BUNDLE_PLATFORMS[args.platform]],
    }
    for key, value in wanted.items():
        if info.get(key) != value:
            problems.append(f"Info.plist: {key} is {info.get(key)!r}; want {value!r}")
    for key in ("CFBundleIdentifier", "CFBundleShortVersionString", "CFBundleVersion"):
        if not isinstance(info.get(key), str) or not info[key]:
            problems.append(f"Info.plist: no {key}")
    read_plist(os.path.join(framework, "PrivacyInfo.xcprivacy"), problems)
    return problems


def undefined_without_library(executable):
    """Two-level namespace: every symbol the linker left undefined names the
    library that provides it; these do not."""
    return [line.strip() for line in run(NM, "-m", "--undefined-only", executable).splitlines()
            if "(from " not in line]


def executable_problems(executable, platform):
    with open(executable, "rb") as f:
        facts = macho_facts(f.read())
    if facts is None or facts[:3] != (CPU_TYPE_ARM64, MH_EXECUTE, PLATFORMS[platform]):
        return [f"{executable}: not an arm64 {platform} Mach-O executable ({facts})"]
    return [f"{executable}: undefined symbol bound to no library: {line}"
            for line in undefined_without_library(executable)]


def check_app(args):
    """The host app: its executable, and the framework embedded as Xcode
    embeds a static one, its manifest included."""
    executable = os.path.join(args.app, os.path.splitext(os.path.basename(args.app))[0])
    problems = executable_problems(executable, "ios")
    embedded = os.path.join(args.app, "Frameworks", "RQBehavior.framework")
    for name in ("Info.plist", "PrivacyInfo.xcprivacy"):
        with open(os.path.join(args.framework, name), "rb") as f:
            original = f.read()
        try:
            with open(os.path.join(embedded, name), "rb") as f:
                if f.read() != original:
                    problems.append(f"{embedded}/{name} is not the framework's")
        except OSError:
            problems.append(f"{embedded}/{name} is missing")
    if os.path.exists(os.path.join(embedded, "RQBehavior")):
        problems.append(f"{embedded} carries the static binary, which the executable holds")
    return problems


def check_xcframework(args):
    """The xcframework's Info.plist against its slices, and the zip against
    its checksum and the files that name it."""
    problems = []
    info = read_plist(os.path.join(args.xcframework, "Info.plist"), problems)
    for key, value in (("CFBundlePackageType", "XFWK"), ("XCFrameworkFormatVersion", "1.0")):
        if info.get(key) != value:
            problems.append(f"Info.plist: {key} is {info.get(key)!r}; want {value!r}")
    variants = {}
    for library in info.get("AvailableLibraries", []):
        identifier = library.get("LibraryIdentifier")
        variant = library.get("SupportedPlatformVariant")
        variants[variant] = identifier
        if library.get("SupportedPlatform") != "ios":
            problems.append(f"{identifier}: SupportedPlatform {library.get('SupportedPlatform')!r}")
        if library.get("SupportedArchitectures") != ["arm64"]:
            problems.append(f"{identifier}: SupportedArchitectures {library.get('SupportedArchitectures')}")
        if identifier != "ios-arm64" + (f"-{variant}" if variant else ""):
            problems.append(f"{identifier}: identifier does not say platform {variant or 'device'}")
        path = os.path.join(args.xcframework, identifier or "", library.get("LibraryPath", ""))
        binary = os.path.join(args.xcframework, identifier or "", library.get("BinaryPath", ""))
        if not path.endswith("RQBehavior.framework") or not os.path.isdir(path):
            problems.append(f"{identifier}: LibraryPath {path} is not a framework here")
        elif not os.path.isfile(binary):
            problems.append(f"{identifier}: BinaryPath {binary} is missing")
        else:
            platform = PLATFORMS["iossimulator" if variant == "simulator" else "ios"]
            found = {facts and facts[2] for name, blob in archive_members(binary)
                     if not name.startswith("__.SYMDEF") for facts in [macho_facts(blob)]}
            if found != {platform}:
                problems.append(f"{identifier}: {binary} holds objects for platforms {found}")
    if set(variants) != {None, "simulator"}:
        problems.append(f"libraries for {sorted(map(str, variants))}; want the device and the simulator")

    zip_path = os.path.join(args.dist, "RQBehavior.xcframework.zip")
    with open(zip_path, "rb") as f:
        checksum = hashlib.sha256(f.read()).hexdigest()
    with open(zip_path + ".sha256") as f:
        if f.read().strip() != checksum:
            problems.append(f"{zip_path}.sha256 does not hold the zip's SHA-256 {checksum}")
    for name in ("Package.swift", "RQBehavior.podspec"):
        with open(os.path.join(args.dist, name)) as f:
            if checksum not in f.read():
                problems.append(f"{name} does not name the zip's checksum {checksum}")
    parent = os.path.dirname(os.path.abspath(args.xcframework))
    on_disk = sorted(os.path.relpath(os.path.join(root, name), parent)
                     for root, _, names in os.walk(args.xcframework) for name in names)
    with zipfile.ZipFile(zip_path) as archive:
        zipped = sorted(name for name in archive.namelist() if not name.endswith("/"))
    if zipped != on_disk:
        problems.append(f"{zip_path} does not hold exactly {args.xcframework}: "
                        f"{sorted(set(zipped) ^ set(on_disk))}")
    return problems


# Libraries of the language runtimes: the C++ and Objective-C runtimes,
# blocks, unwinding and the compiler's helpers. Their symbols follow from how
# the code is written, not from which system services it uses.
LANGUAGE_LIBRARIES = re.compile(
    r"/usr/lib/(libc\+\+|libobjc|system/(libsystem_blocks|libunwind|libcompiler_rt|libsystem_platform"
    r"|libsystem_pthread|libsystem_malloc|libdyld))")
# The ISO C string, character and formatting functions, wherever they live,
# and bzero, which the compiler calls to fill memory with zeros.
ISO_C = {"_memchr", "_memcmp", "_memcpy", "_memmove", "_memset", "_bzero", "_strlen", "_strnlen", "_strcmp",
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
                    exports[f"_OBJC_METACLASS_$_{name}"] = install_name
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
    # The names of the library's own methods and properties, and the
    # properties' attribute strings, share the section with the messages
    # sent: they are not calls.
    own = set()
    for found in objc_classes(archive).values():
        for kind in ("class-method", "instance-method", "property"):
            own |= set(found[kind])
    for member in selectors:
        selectors[member] = {name for name in selectors[member]
                             if name not in own and SELECTOR.match(name)}
    members = set(undefined) | set(selectors)
    return {m: (undefined.get(m, set()) - defined, selectors.get(m, set())) for m in members}


SELECTOR = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*(:([A-Za-z_][A-Za-z0-9_]*:)*)?$")


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


def objc_classes(archive):
    """{class: {"superclass": name, "class-method": {selector: types},
    "instance-method": {...}, "property": {name: attributes}}} of the
    archive's Objective-C classes, as the class metadata describes them."""
    classes, current, side, member = {}, None, None, None
    for line in run(OBJDUMP, "--macho", "--objc-meta-data", archive).splitlines():
        text = line.strip()
        start = re.match(r"^[0-9a-f]{16} 0x[0-9a-f]+ _OBJC_CLASS_\$_(\w+)$", text)
        if start:
            current = classes.setdefault(start.group(1), {
                "superclass": None, "class-method": {}, "instance-method": {}, "property": {}})
            side = "instance-method"
            continue
        if current is None:
            continue
        if text == "Meta Class":
            side = "class-method"
        elif text.startswith("superclass ") and side == "instance-method":
            current["superclass"] = text.split("_OBJC_CLASS_$_")[-1]
        elif text.startswith("name ") and "OBJC_METH_VAR_NAME_" in text:
            member = text.split()[-1]
        elif text.startswith("types ") and member is not None:
            current[side][member] = text.split()[-1]
            member = None
        elif text.startswith("name ") and "OBJC_PROP_NAME_ATTR_" in text:
            member = ("property", text.split()[-1])
        elif text.startswith("attributes ") and isinstance(member, tuple):
            current["property"][member[1]] = text.split()[-1]
            member = None
        elif text.startswith("Contents of ("):
            current = None
    return classes


def read_interface(path):
    """The expected interface: "superclass NAME", "class-method SEL TYPES",
    "instance-method SEL TYPES", "property NAME ATTRIBUTES" lines."""
    interface = {"superclass": None, "class-method": {}, "instance-method": {}, "property": {}}
    with open(path) as f:
        for number, raw in enumerate(f, 1):
            fields = raw.split("#", 1)[0].split()
            if not fields:
                continue
            if fields[0] == "superclass" and len(fields) == 2:
                interface["superclass"] = fields[1]
            elif fields[0] in ("class-method", "instance-method", "property") and len(fields) == 3:
                interface[fields[0]][fields[1]] = fields[2]
            else:
                raise SystemExit(f"{path}:{number}: want '<kind> <name> <types>'")
    return interface


def check_interface(args):
    """The class RQBehavior in the archive offers exactly the listed methods
    and properties, with the listed types."""
    found = objc_classes(args.archive).get("RQBehavior")
    if found is None:
        return [f"{args.archive}: no Objective-C class RQBehavior"]
    # What the compiler adds for a class with C++ members.
    for kind in ("class-method", "instance-method"):
        for selector in (".cxx_destruct", ".cxx_construct"):
            found[kind].pop(selector, None)
    expected = read_interface(args.expected)
    problems = []
    if found["superclass"] != expected["superclass"]:
        problems.append(f"RQBehavior derives from {found['superclass']}; want {expected['superclass']}")
    for kind in ("class-method", "instance-method", "property"):
        for name in sorted(set(found[kind]) | set(expected[kind])):
            have, want = found[kind].get(name), expected[kind].get(name)
            if have != want:
                problems.append(f"{kind} {name}: in the archive {have}, expected {want}")
    return problems


def check_program(args):
    """Compiles a host source file the way an app target does (modules, ARC,
    the slice's folder as framework search path), links it against the SDK
    given for linking, and checks the executable."""
    target = {"ios": "arm64-apple-ios12.0", "iossimulator": "arm64-apple-ios12.0-simulator"}
    name = os.path.splitext(os.path.basename(args.source))[0]
    os.makedirs(args.work, exist_ok=True)
    obj = os.path.join(args.work, f"{name}-{args.platform}.o")
    executable = os.path.join(args.work, f"{name}-{args.platform}")
    common = [args.clang, f"--target={target[args.platform]}", "-F", args.slice]
    compiled = subprocess.run(
        common + ["-isysroot", args.sdk, "-fobjc-arc", "-fmodules",
                  f"-fmodules-cache-path={os.path.join(args.work, 'module-cache')}",
                  "-Wall", "-Wextra", "-Werror", "-c", args.source, "-o", obj],
        capture_output=True, text=True)
    if compiled.returncode != 0:
        return [f"{args.source} does not compile for {args.platform}:", compiled.stderr]
    # Only what the module map names is linked: no -framework, no -l.
    linked = subprocess.run(common + ["-isysroot", args.link_sdk, "-fuse-ld=lld", obj,
                                      "-o", executable], capture_output=True, text=True)
    if linked.returncode != 0:
        return [f"{args.source} does not link for {args.platform}:", linked.stderr]
    return executable_problems(executable, args.platform)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    commands = parser.add_subparsers(dest="command", required=True)
    slice_ = commands.add_parser("slice")
    slice_.add_argument("--framework", required=True)
    slice_.add_argument("--platform", required=True, choices=sorted(PLATFORMS))
    slice_.add_argument("--min-os", required=True)
    app = commands.add_parser("app")
    app.add_argument("--app", required=True)
    app.add_argument("--framework", required=True)
    xcframework = commands.add_parser("xcframework")
    xcframework.add_argument("--xcframework", required=True)
    xcframework.add_argument("--dist", required=True)
    calls = commands.add_parser("calls")
    calls.add_argument("--archive", required=True)
    calls.add_argument("--sdk", required=True)
    calls.add_argument("--expected", required=True)
    calls.add_argument("--framework", action="append", default=[])
    calls.add_argument("--opt-in", action="store_true")
    manifest = commands.add_parser("manifest")
    manifest.add_argument("--archive", required=True)
    manifest.add_argument("--manifest", required=True)
    interface = commands.add_parser("interface")
    interface.add_argument("--archive", required=True)
    interface.add_argument("--expected", required=True)
    program = commands.add_parser("program")
    program.add_argument("--source", required=True)
    program.add_argument("--slice", required=True)
    program.add_argument("--platform", required=True, choices=sorted(PLATFORMS))
    program.add_argument("--sdk", required=True)
    program.add_argument("--link-sdk", required=True)
    program.add_argument("--clang", required=True)
    program.add_argument("--work", required=True)
    args = parser.parse_args()

    check = {"slice": check_slice, "app": check_app, "xcframework": check_xcframework,
             "calls": check_calls, "manifest": check_manifest, "interface": check_interface,
             "program": check_program}[args.command]
    problems = check(args)
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
