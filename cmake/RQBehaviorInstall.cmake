# Installs what a host builds against: the library (shared, static or both),
# the public headers, a CMake package and a pkg-config file. Two install
# components: "runtime" is the shared library alone, "development" the rest.
include(CMakePackageConfigHelpers)

set(RQBEHAVIOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/RQBehavior)

# Each installed flavour has its own export file; the package config includes
# the one the consumer asks for.
function(rqbehavior_install_flavour target flavour)
  install(TARGETS ${target} EXPORT RQBehavior${flavour}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(EXPORT RQBehavior${flavour}Targets
    NAMESPACE RQBehavior::
    DESTINATION ${RQBEHAVIOR_CMAKE_DIR}
    COMPONENT development)
endfunction()

get_target_property(rqbehavior_type RQBehavior TYPE)
set(rqbehavior_static_installed ON)
if(rqbehavior_type STREQUAL "SHARED_LIBRARY")
  rqbehavior_install_flavour(RQBehavior Shared)
  if(TARGET RQBehaviorStatic)
    rqbehavior_install_flavour(RQBehaviorStatic Static)
  else()
    set(rqbehavior_static_installed OFF)
  endif()
else()
  rqbehavior_install_flavour(RQBehavior Static)
endif()

if(RQBEHAVIOR_PLATFORM STREQUAL "apple")
  # The framework's headers: the Objective-C interface and the C interface.
  install(FILES
    ${PROJECT_SOURCE_DIR}/include/apple/RQBehavior/RQBehavior.h
    ${PROJECT_SOURCE_DIR}/include/apple/RQBehavior/RQBConstants.h
    ${PROJECT_SOURCE_DIR}/include/RQBehavior/RQBExport.h
    ${PROJECT_SOURCE_DIR}/include/RQBehavior/rqbehavior_c.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/RQBehavior
    COMPONENT development)
else()
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/RQBehavior
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development)
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/RQBehaviorConfig.cmake.in
  ${PROJECT_BINARY_DIR}/RQBehaviorConfig.cmake
  INSTALL_DESTINATION ${RQBEHAVIOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RQBehaviorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/RQBehaviorConfig.cmake
  ${PROJECT_BINARY_DIR}/RQBehaviorConfigVersion.cmake
  ${CMAKE_CURRENT_LIST_DIR}/RQBehaviorLinkDependencies.cmake
  DESTINATION ${RQBEHAVIOR_CMAKE_DIR}
  COMPONENT development)

# pkg-config, for Linux hosts.
if(RQBEHAVIOR_PLATFORM STREQUAL "linux")
  # pkg-config. Linking the static archive takes the libraries its objects
  # link against (those it loads at run time need nothing here), named
  # directly in Libs.private: the public headers include none of
  # their headers, and naming their modules in Requires.private would make
  # pkg-config --static demand every library they link in turn (libcurl's
  # alone names a dozen whose development files Debian does not install with
  # it). The file finds its prefix from its own folder, so an unpacked or moved
  # tree works as well as the installed one.
  file(RELATIVE_PATH RQBEHAVIOR_PC_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
  string(REGEX REPLACE "/$" "" RQBEHAVIOR_PC_PREFIX "${RQBEHAVIOR_PC_PREFIX}")
  set(RQBEHAVIOR_PC_LIBS_PRIVATE "")
  if(rqbehavior_static_installed)
    pkg_check_modules(RQBEHAVIOR_PC_DEPENDENCIES REQUIRED QUIET ${RQBEHAVIOR_PKGCONFIG_MODULES})
    list(TRANSFORM RQBEHAVIOR_PC_DEPENDENCIES_LIBRARIES PREPEND "-l" OUTPUT_VARIABLE rqbehavior_dependency_flags)
    list(JOIN rqbehavior_dependency_flags " " rqbehavior_dependency_flags)
    # A C host links the archive with the C compiler: name the C++ runtime too.
    set(RQBEHAVIOR_PC_LIBS_PRIVATE "Libs.private: ${rqbehavior_dependency_flags} -ldl -lstdc++ -lm -pthread")
  endif()
  configure_file(${CMAKE_CURRENT_LIST_DIR}/rqbehavior.pc.in ${PROJECT_BINARY_DIR}/rqbehavior.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/rqbehavior.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/docs/data-inventory.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT development)
