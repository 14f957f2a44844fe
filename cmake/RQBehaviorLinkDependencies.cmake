# The libraries RQBehavior links against besides the C++ runtime and threads,
# kept in this one table: the build finds them here, the installed CMake
# package finds them for consumers of the static archive, rqbehavior.pc lists
# them for pkg-config's static linking and the -dev package depends on their
# Debian development packages. A consumer of the shared library needs none of
# them.
#
# One entry per library:
#   "<how to find it>|<imported targets>|<pkg-config modules>|<Debian dev package>"
# with the targets and the modules separated by blanks (and no "|" inside a field).
# <how to find it> is the arguments of find_package, or "pkg-config <module>"
# for a library that only pkg-config describes; its imported target is then
# PkgConfig::<PREFIX>.
set(RQBEHAVIOR_LINK_DEPENDENCIES
  "CURL 7.85|CURL::libcurl|libcurl>=7.85|libcurl4-openssl-dev (>= 7.85)"
  "ICU 72 COMPONENTS uc i18n|ICU::i18n ICU::uc|icu-i18n>=72 icu-uc>=72|libicu-dev (>= 72)"
  "OpenSSL 3|OpenSSL::Crypto|libcrypto>=3|libssl-dev (>= 3)"
  "pkg-config libsystemd|PkgConfig::LIBSYSTEMD|libsystemd|libsystemd-dev")

# Finds every library of the table and sets RQBEHAVIOR_LINK_TARGETS (the
# imported targets to link), RQBEHAVIOR_PKGCONFIG_MODULES (their pkg-config
# modules) and RQBEHAVIOR_DEBIAN_DEV_DEPENDS. `mode` is FIND_PACKAGE in the build and
# FIND_DEPENDENCY in the installed package, where a missing library ends the
# package's search the way find_dependency does. A macro, so that
# find_dependency's return() leaves the package file.
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
    list(GET _rqb_find 0 _rqb_package)
    if(_rqb_package STREQUAL "pkg-config")
      list(GET _rqb_find 1 _rqb_module)
      string(REPLACE "PkgConfig::" "" _rqb_prefix "${_rqb_targets}")
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
      find_dependency(${_rqb_find})
    else()
      find_package(${_rqb_find} REQUIRED)
    endif()
    list(APPEND RQBEHAVIOR_LINK_TARGETS ${_rqb_targets})
    list(APPEND RQBEHAVIOR_PKGCONFIG_MODULES ${_rqb_modules})
    if(RQBEHAVIOR_DEBIAN_DEV_DEPENDS)
      string(APPEND RQBEHAVIOR_DEBIAN_DEV_DEPENDS ", ")
    endif()
    string(APPEND RQBEHAVIOR_DEBIAN_DEV_DEPENDS "${_rqb_debian}")
  endforeach()
endmacro()
