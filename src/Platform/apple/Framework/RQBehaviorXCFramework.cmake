# RQBehavior.xcframework: this build's device framework and the simulator's,
# which a nested build of the same sources makes with the same options (in
# <build>/simulator), and what the distribution channels need beside it
# (<build>/dist): the zip, its SHA-256 (the checksum SwiftPM asks for), a
# Package.swift whose binary target is the zip, and a podspec vendoring it.
#
# An x86_64 simulator slice (Intel Macs) is not made: the SDK this builds
# against is the device's, whose headers have no x86 machine definitions.
include(ExternalProject)

set(RQBEHAVIOR_APPLE_DOWNLOAD_URL
    "https://downloads.rqbehavior.invalid/ios/${PROJECT_VERSION}/RQBehavior.xcframework.zip"
    CACHE STRING "Where RQBehavior.xcframework.zip is published; written into Package.swift and the podspec")

set(simulator_build ${PROJECT_BINARY_DIR}/simulator)
set(simulator_framework ${simulator_build}/framework/RQBehavior.framework)
set(forwarded_options)
foreach(option RQBEHAVIOR_IOS_SDK RQBEHAVIOR_IOS_DEPLOYMENT_TARGET RQBEHAVIOR_WARNINGS_AS_ERRORS
               RQBEHAVIOR_IOS_DISK_AND_KEYBOARD_READINGS RQBEHAVIOR_PROFILER_BASE_URL
               RQBEHAVIOR_APPLE_BUNDLE_IDENTIFIER CMAKE_BUILD_TYPE CMAKE_C_COMPILER_LAUNCHER
               CMAKE_CXX_COMPILER_LAUNCHER CMAKE_OBJC_COMPILER_LAUNCHER CMAKE_OBJCXX_COMPILER_LAUNCHER)
  if(DEFINED ${option})
    list(APPEND forwarded_options -D${option}=${${option}})
  endif()
endforeach()
get_target_property(device_files RQBehaviorFramework RQBEHAVIOR_FRAMEWORK_FILES)
string(REPLACE "${PROJECT_BINARY_DIR}/framework/" "${simulator_build}/framework/" simulator_files
       "${device_files}")
ExternalProject_Add(RQBehaviorSimulatorFramework
  SOURCE_DIR ${PROJECT_SOURCE_DIR}
  BINARY_DIR ${simulator_build}
  PREFIX ${PROJECT_BINARY_DIR}/simulator-steps
  CMAKE_ARGS
    -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}
    -DRQBEHAVIOR_IOS_PLATFORM=simulator
    -DRQBEHAVIOR_BUILD_TESTS=OFF
    -DRQBEHAVIOR_BUILD_DEMO=OFF
    -DRQBEHAVIOR_INSTALL=OFF
    -DRQBEHAVIOR_IOS_XCFRAMEWORK=OFF
    ${forwarded_options}
  # Its own make decides what is out of date, sharing this build's jobs.
  BUILD_ALWAYS ON
  BUILD_BYPRODUCTS ${simulator_files}
  INSTALL_COMMAND "")

set(xcframework ${PROJECT_BINARY_DIR}/RQBehavior.xcframework)
set(dist ${PROJECT_BINARY_DIR}/dist)
set(dist_files ${dist}/RQBehavior.xcframework.zip ${dist}/RQBehavior.xcframework.zip.sha256
    ${dist}/Package.swift ${dist}/RQBehavior.podspec)
set(templates
  ${CMAKE_CURRENT_LIST_DIR}/XCFrameworkInfo.plist.in
  ${CMAKE_CURRENT_LIST_DIR}/Package.swift.in
  ${CMAKE_CURRENT_LIST_DIR}/RQBehavior.podspec.in)
set(frameworks_linked)
foreach(library IN LISTS RQBEHAVIOR_PLATFORM_LIBRARIES)
  if(library MATCHES "^-framework (.+)$")
    list(APPEND frameworks_linked ${CMAKE_MATCH_1})
  endif()
endforeach()
string(REPLACE ";" "," frameworks_linked "${frameworks_linked}")
add_custom_command(OUTPUT ${xcframework}/Info.plist ${dist_files}
  COMMAND ${CMAKE_COMMAND}
    -DDEVICE_FRAMEWORK=${PROJECT_BINARY_DIR}/framework/RQBehavior.framework
    -DSIMULATOR_FRAMEWORK=${simulator_framework}
    -DXCFRAMEWORK=${xcframework}
    -DDIST=${dist}
    -DVERSION=${PROJECT_VERSION}
    -DDEPLOYMENT_TARGET=${RQBEHAVIOR_IOS_DEPLOYMENT_TARGET}
    -DDOWNLOAD_URL=${RQBEHAVIOR_APPLE_DOWNLOAD_URL}
    -DFRAMEWORKS=${frameworks_linked}
    -DTEMPLATES=${CMAKE_CURRENT_LIST_DIR}
    -P ${CMAKE_CURRENT_LIST_DIR}/AssembleXCFramework.cmake
  DEPENDS ${device_files} ${simulator_files} ${templates}
          ${CMAKE_CURRENT_LIST_DIR}/AssembleXCFramework.cmake
  COMMENT "Assembling RQBehavior.xcframework and its distribution files"
  VERBATIM)
add_custom_target(RQBehaviorXCFramework ALL DEPENDS ${xcframework}/Info.plist ${dist_files})
add_dependencies(RQBehaviorXCFramework RQBehaviorFramework RQBehaviorSimulatorFramework)
set_target_properties(RQBehaviorXCFramework PROPERTIES
  RQBEHAVIOR_XCFRAMEWORK_DIR ${xcframework}
  RQBEHAVIOR_DIST_DIR ${dist}
  RQBEHAVIOR_SIMULATOR_BUILD_DIR ${simulator_build})
