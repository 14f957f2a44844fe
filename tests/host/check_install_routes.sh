#!/usr/bin/env bash
# Installs the build into a clean prefix and builds and runs the tiny host
# against it the ways hosts do: the CMake package's shared library, its
# static archive, and pkg-config's static linking with the archive alone
# (from C++ and from C).
#
# Usage: check_install_routes.sh BUILD_DIR C_COMPILER CXX_COMPILER
set -euo pipefail
build=$1
cc=$2
cxx=$3
here=$(cd "$(dirname "$0")" && pwd)
tiny=$here/tiny
# shellcheck source=host_routes.sh
. "$here/host_routes.sh"

scratch=$(mktemp -d "${TMPDIR:-/tmp}/rqbehavior-install.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

prefix=$scratch/prefix
quietly cmake --install "$build" --prefix "$prefix"

cmake_route cmake-shared "$prefix" "" shared
cmake_route cmake-static "$prefix" static static

# A prefix holding the archive alone, as a static-only build installs it: with
# the shared library beside it, the linker would take that instead.
static_prefix=$scratch/static-prefix
cp -a "$prefix" "$static_prefix"
find "$static_prefix" -name 'libRQBehavior.so*' -delete
pkg_config_route pkg-config-static "$static_prefix" static
