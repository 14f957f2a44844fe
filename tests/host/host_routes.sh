# Shared by the install and package checks: building the tiny host against an
# installed tree and running it. Sourced; expects $scratch, $tiny, $cc, $cxx.

fail() {
  echo "$*" >&2
  exit 1
}

# Runs a command quietly, showing its output only when it fails.
quietly() {
  local log=$scratch/command.log
  "$@" >"$log" 2>&1 || { cat "$log" >&2; fail "failed: $*"; }
}

links_library() {
  readelf -d "$1" | grep 'NEEDED.*\[libRQBehavior\.so\.3\]' >/dev/null
}

# The libraries the library loads at run time, when a reading or an upload
# first needs them: no host links them, and neither does the library.
links_runtime_loaded() {
  readelf -d "$1" | grep -E 'NEEDED.*\[lib(curl|crypto|ssl|systemd)\.' >/dev/null
}

# Runs `program`, which must print "ok", and checks that it links the shared
# library (`linkage` shared) or has the static archive inside (static).
run_host() {
  local program=$1 linkage=$2
  local output
  output=$("$program") || fail "$program failed: $output"
  [ "$output" = ok ] || fail "$program printed: $output"
  ! links_runtime_loaded "$program" || fail "$program links a library loaded at run time"
  if [ "$linkage" = shared ]; then
    links_library "$program" || fail "$program does not link libRQBehavior.so.3"
    local library
    library=$(LD_TRACE_LOADED_OBJECTS=1 "$program" | awk '/libRQBehavior\.so/ {print $3}')
    ! links_runtime_loaded "$library" || fail "$library links a library loaded at run time"
  else
    ! links_library "$program" || fail "$program links libRQBehavior.so.3, not the static archive"
  fi
}

# Builds the tiny host with CMake against `prefix`, asking for `component`
# (shared, static or empty), and runs both of its programs.
cmake_route() {
  local name=$1 prefix=$2 component=$3 linkage=$4
  quietly cmake -S "$tiny" -B "$scratch/$name" -DCMAKE_PREFIX_PATH="$prefix" \
    -DRQBEHAVIOR_COMPONENT="$component" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx"
  quietly cmake --build "$scratch/$name"
  run_host "$scratch/$name/tiny-host" "$linkage"
  run_host "$scratch/$name/tiny-host-c" "$linkage"
  echo "$name: built and ran"
}

# Builds the tiny host with the compilers alone, flags from pkg-config's
# rqbehavior module under `prefix`, and runs both programs.
pkg_config_route() {
  local name=$1 prefix=$2 linkage=$3 static=
  [ "$linkage" = static ] && static=--static
  local pc
  pc=$(find "$prefix" -name rqbehavior.pc -print -quit)
  [ -n "$pc" ] || fail "no rqbehavior.pc under $prefix"
  local flags
  flags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config $static --cflags --libs rqbehavior) ||
    fail "pkg-config cannot resolve rqbehavior"
  mkdir -p "$scratch/$name"
  # shellcheck disable=SC2086  # the flags are words
  quietly "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$tiny/host.cpp" $flags \
    -o "$scratch/$name/tiny-host"
  # shellcheck disable=SC2086
  quietly "$cc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$tiny/host.c" $flags \
    -o "$scratch/$name/tiny-host-c"
  local libdir
  libdir=$(dirname "$(dirname "$pc")")
  LD_LIBRARY_PATH=$libdir run_host "$scratch/$name/tiny-host" "$linkage"
  LD_LIBRARY_PATH=$libdir run_host "$scratch/$name/tiny-host-c" "$linkage"
  echo "$name: built and ran"
}
