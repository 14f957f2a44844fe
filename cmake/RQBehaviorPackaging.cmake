# Debian packages, built by CPack (make package): the runtime library, named
# after its SONAME, and a -dev package with the headers, the static archive,
# the CMake package, the pkg-config file and the data inventory.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME librqbehavior)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "RQBehavior maintainers <maintainers@rqbehavior.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Device profiling for fraud prevention")
set(CPACK_STRIP_FILES ON)  # strips the shared library, never the archive

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME librqbehavior${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Device profiling for fraud prevention: runtime library
Reads about thirty attributes of the device on background threads and uploads
them as one JSON document with one HTTPS POST. What it reads is listed in
data-inventory.md of librqbehavior-dev.")
# Dependencies from the libraries the shared object needs, and a shlibs file
# so that hosts' packages depend on us the same way. dpkg-shlibdeps cannot see
# the libraries loaded at run time: those are named here.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${RQBEHAVIOR_DEBIAN_RUNTIME_DEPENDS}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME librqbehavior-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Device profiling for fraud prevention: development files
Headers (C++17 and C99), the static archive, the CMake package RQBehavior,
the pkg-config module rqbehavior and the data inventory for privacy reviews.")
# The static archive and rqbehavior.pc need the development files of the
# libraries the archive links against (not of those it loads at run time).
if(rqbehavior_static_installed)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${RQBEHAVIOR_DEBIAN_DEV_DEPENDS}")
endif()

include(CPack)
