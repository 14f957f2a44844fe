# The libraries RQBehavior uses besides the C++ runtime, threads and the
# dynamic loader, kept in two tables here: the build finds them here, the
# installed CMake package finds the linked ones for consumers of the static
# archive, rqbehavior.pc lists those for pkg-config's static linking, and the
# Debian packages depend on what both tables name. A consumer of the shared
# library needs none of them at build time.
#
# Linked: one entry per library,
#   "<how to find it>|<imported targets>|<pkg-config modules>|<Debian dev package>"
# with the targets and the modules separated by blanks (and no "|" inside a field).
# <how to find it> is the arguments of find_package, or "pkg-config <module>"
# for a library that only pkg-config describes; its imported target is then
# PkgConfig::<PREFIX>.
set(RQBEHAVIOR_LINK_DEPENDENCIES
  "ICU 72 COMPONENTS uc i18n|ICU::i18n ICU::uc|icu-i18n>=72 icu-uc>=72|libicu-dev (>= 72)")

# Loaded at run time (dlopen) by the Linux providers on a library thread when
# first needed, so that a host's start-up does not pay for them: the build
# needs their headers only, and hosts need their Debian runtime packages,
# which dpkg-shlibdeps cannot see. One entry per library,
#   "<how to find it>|<imported targets>|<macro> <soname>|<Debian runtime package>"
# where <macro> names the soname for the sources (RuntimeSonames.h).
set(RQBEHAVIOR_RUNTIME_LIBRARIES
  "CURL 7.85|CURL::libcurl|RQB_LIBCURL_SONAME libcurl.so.4|libcurl4 (>= 7.85)"
  "OpenSSL 3|OpenSSL::Crypto|RQB_LIBCRYPTO_SONAME libcrypto.so.3|libssl3"
  "pkg-config libsystemd|PkgConfig::LIBSYSTEMD|RQB_LIBSYSTEMD_SONAME libsystemd.so.0|libsystemd0")

# Finds the package or pkg-config module of one entry. `mode` is FIND_PACKAGE
# in the build and FIND_DEPENDENCY in the installed package, where a missing
# library ends the package's search the way find_dependency does. A macro, so
# that find_dependency's return() leaves the package file.
macro(_rqbehavior_find_one mode find targets)
  set(_rqb_find_args ${find})
  list(GET _rqb_find_args 0 _rqb_package)
  if(_rqb_package STREQUAL "pkg-config")
    list(GET _rqb_find_args 1 _rqb_module)
    string(REPLACE "PkgConfig::" "" _rqb_prefix "${targets}")
    if("${mode}" STREQUAL "FIND_DEPENDENCY")
      find_dependency(PkgConfig)
      pkg_check_modules(${_rqb_prefix} QUIET IMPORTED_TARGET ${_rqb_module})
      if(NOT ${_rqb_prefix}_FOUND)
        set(${CMAKE_FIND_PACKAGE_NAME}_NOT_FOUND_MESSAGE
            "${CMAKE_FIND_PACKAGE_NAME} could not be found because pkg-config module ${_rqb_module} was not found.")
        set(${CMAKE_FIND_PACKAGE_NAME}_FOUND FALSE)
        return()
      endif()
    else()
      find_package(PkgConfig REQUIRED)
      pkg_check_modules(${_rqb_prefix} REQUIRED IMPORTED_TARGET ${_rqb_module})
    endif()
  elseif("${mode}" STREQUAL "FIND_DEPENDENCY")
    find_dependency(${_rqb_find_args})
  else()
    find_package(${_rqb_find_args} REQUIRED)
  endif()
endmacro()

# Finds every linked library and sets RQBEHAVIOR_LINK_TARGETS (the imported
# targets to link), RQBEHAVIOR_PKGCONFIG_MODULES (their pkg-config modules)
# and RQBEHAVIOR_DEBIAN_DEV_DEPENDS.
macro(rqbehavior_find_link_dependencies mode)
  set(RQBEHAVIOR_LINK_TARGETS "")
  set(RQBEHAVIOR_PKGCONFIG_MODULES "")
  set(RQBEHAVIOR_DEBIAN_DEV_DEPENDS "")
  foreach(_rqb_entry IN LISTS RQBEHAVIOR_LINK_DEPENDENCIES)
    string(REPLACE "|" ";" _rqb_parts "${_rqb_entry}")
    list(GET _rqb_parts 0 _rqb_find)
    list(GET _rqb_parts 1 _rqb_targets)
    list(GET _rqb_parts 2 _rqb_modules)
    list(GET _rqb_parts 3 _rqb_debian)
    separate_arguments(_rqb_find UNIX_COMMAND "${_rqb_find}")
    separate_arguments(_rqb_targets UNIX_COMMAND "${_rqb_targets}")
    separate_arguments(_rqb_modules UNIX_COMMAND "${_rqb_modules}")
    _rqbehavior_find_one(${mode} "${_rqb_find}" "${_rqb_targets}")
    list(APPEND RQBEHAVIOR_LINK_TARGETS ${_rqb_targets})
    list(APPEND RQBEHAVIOR_PKGCONFIG_MODULES ${_rqb_modules})
    if(RQBEHAVIOR_DEBIAN_DEV_DEPENDS)
      string(APPEND RQBEHAVIOR_DEBIAN_DEV_DEPENDS ", ")
    endif()
    string(APPEND RQBEHAVIOR_DEBIAN_DEV_DEPENDS "${_rqb_debian}")
  endforeach()
endmacro()

# Finds the headers of every library loaded at run time (the build only) and
# sets RQBEHAVIOR_RUNTIME_TARGETS (imported targets whose headers the sources
# include, never linked), RQBEHAVIOR_RUNTIME_SONAME_DEFINES (lines of
# RuntimeSonames.h) and RQBEHAVIOR_DEBIAN_RUNTIME_DEPENDS.
macro(rqbehavior_find_runtime_libraries)
  set(RQBEHAVIOR_RUNTIME_TARGETS "")
  set(RQBEHAVIOR_RUNTIME_SONAME_DEFINES "")
  set(RQBEHAVIOR_DEBIAN_RUNTIME_DEPENDS "")
  foreach(_rqb_entry IN LISTS RQBEHAVIOR_RUNTIME_LIBRARIES)
    string(REPLACE "|" ";" _rqb_parts "${_rqb_entry}")
    list(GET _rqb_parts 0 _rqb_find)
    list(GET _rqb_parts 1 _rqb_targets)
    list(GET _rqb_parts 2 _rqb_soname)
    list(GET _rqb_parts 3 _rqb_debian)
    separate_arguments(_rqb_find UNIX_COMMAND "${_rqb_find}")
    separate_arguments(_rqb_targets UNIX_COMMAND "${_rqb_targets}")
    separate_arguments(_rqb_soname UNIX_COMMAND "${_rqb_soname}")
    _rqbehavior_find_one(FIND_PACKAGE "${_rqb_find}" "${_rqb_targets}")
    list(APPEND RQBEHAVIOR_RUNTIME_TARGETS ${_rqb_targets})
    list(GET _rqb_soname 0 _rqb_macro)
    list(GET _rqb_soname 1 _rqb_file)
    string(APPEND RQBEHAVIOR_RUNTIME_SONAME_DEFINES "#define ${_rqb_macro} \"${_rqb_file}\"\n")
    if(RQBEHAVIOR_DEBIAN_RUNTIME_DEPENDS)
      string(APPEND RQBEHAVIOR_DEBIAN_RUNTIME_DEPENDS ", ")
    endif()
    string(APPEND RQBEHAVIOR_DEBIAN_RUNTIME_DEPENDS "${_rqb_debian}")
  endforeach()
endmacro()
