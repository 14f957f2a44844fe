#!/usr/bin/env bash
# Builds the Debian packages with CPack from the build, checks what they hold
# and depend on, unpacks them (dpkg-deb -x) and builds and runs the tiny host
# against the unpacked tree with CMake and with pkg-config.
#
# Usage: check_debian_packages.sh BUILD_DIR C_COMPILER CXX_COMPILER VERSION
set -euo pipefail
build=$1
cc=$2
cxx=$3
version=$4
major=${version%%.*}
here=$(cd "$(dirname "$0")" && pwd)
tiny=$here/tiny
# shellcheck source=host_routes.sh
. "$here/host_routes.sh"

scratch=$(mktemp -d "${TMPDIR:-/tmp}/rqbehavior-deb.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

quietly cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages"
runtime=$(find "$scratch/packages" -maxdepth 1 -name "librqbehavior${major}_${version}_*.deb")
dev=$(find "$scratch/packages" -maxdepth 1 -name "librqbehavior-dev_${version}_*.deb")
[ -f "$runtime" ] || fail "no runtime package: $(ls "$scratch/packages")"
[ -f "$dev" ] || fail "no -dev package: $(ls "$scratch/packages")"

# What each package holds: the runtime package the library under its SONAME
# and nothing to build with; the -dev package the rest. (grep reads whole
# pipes here: with -q it could stop early and fail the pipe.)
contents() { dpkg-deb -c "$1" | awk '{print $6}' | sed 's|^\./||'; }
expect_file() {
  contents "$1" | grep -E "$2" >/dev/null || fail "$(basename "$1") lacks $2"
}
expect_file "$runtime" "^usr/lib/.*libRQBehavior\.so\.${major}$"
expect_file "$runtime" "^usr/lib/.*libRQBehavior\.so\.${version}$"
! contents "$runtime" | grep -E '\.(h|a|pc|cmake)$|libRQBehavior\.so$' >/dev/null ||
  fail "the runtime package holds development files"
for file in 'include/RQBehavior/RQBehavior\.h' 'include/RQBehavior/rqbehavior_c\.h' \
  'libRQBehavior\.so$' 'libRQBehavior\.a$' 'cmake/RQBehavior/RQBehaviorConfig\.cmake$' \
  'pkgconfig/rqbehavior\.pc$' 'data-inventory\.md$'; do
  expect_file "$dev" "^usr/.*$file"
done

# Dependencies: the runtime package on the libraries the shared object links
# (from dpkg-shlibdeps) and on those it loads at run time, which
# dpkg-shlibdeps cannot see; the -dev package on exactly this runtime package
# and on the development files the static archive links against, ICU's alone.
runtime_depends=$(dpkg-deb -f "$runtime" Depends)
for package in libc6 'libstdc\+\+6' 'libicu[0-9]+' 'libcurl4 \(>= 7\.85\)' libssl3 libsystemd0; do
  grep -Eq "(^|, )$package( |,|$)" <<<"$runtime_depends" ||
    fail "runtime package does not depend on $package: $runtime_depends"
done
dev_depends=$(dpkg-deb -f "$dev" Depends)
expected_dev_depends="librqbehavior${major} (= ${version}), libicu-dev (>= 72)"
[ "$dev_depends" = "$expected_dev_depends" ] ||
  fail "-dev package depends on '$dev_depends', not '$expected_dev_depends'"
[ "$(dpkg-deb -f "$runtime" Package)" = "librqbehavior${major}" ] || fail "runtime package name"

root=$scratch/root
dpkg-deb -x "$runtime" "$root"
dpkg-deb -x "$dev" "$root"
library=$(find "$root" -name "libRQBehavior.so.${version}")
objdump -p "$library" | grep -E "SONAME +libRQBehavior\.so\.${major}$" >/dev/null || fail "wrong SONAME"

cmake_route deb-cmake "$root/usr" "" shared
pkg_config_route deb-pkg-config "$root/usr" shared
