#!/usr/bin/env bash
# Installs the Debian packages RQBehavior builds and tests with, if any is
# missing, and the extra packages named as arguments (e.g. clang). As root it
# installs them; otherwise it prints the command to run.
set -euo pipefail

packages=(
  # The library.
  cmake g++ make pkg-config
  libcurl4-openssl-dev libssl-dev libicu-dev libsystemd-dev nlohmann-json3-dev
  # Tests, demo and benchmark; clang reads the public headers for the symbol
  # test, Python runs the ctypes example and the fault campaign, strace
  # injects its faults, dpkg-dev and file build packages.
  libgtest-dev libgmock-dev libcpp-httplib-dev
  clang python3 strace dpkg-dev file
  curl binutils
  iproute2 dbus-daemon
  # The profiling service: its databases (PostgreSQL's tests run a throw-away
  # cluster), headless Chromium for its console test, openssl for make demo.
  libsqlite3-dev libpq-dev postgresql postgresql-common chromium openssl
  "$@"
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ $status == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -ne 0 ]]; then
  echo "RQBehavior needs these Debian packages; install them with:" >&2
  echo "  sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
echo "Installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
