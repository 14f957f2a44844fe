# RQBehavior.framework, the library as an iOS app takes it, for the platform
# of this build (device or simulator): a static framework whose binary is the
# archive, with the Objective-C and C headers, a module map, an Info.plist,
# and the privacy manifest at its root, where Xcode collects it. Included
# from src/CMakeLists.txt once the library exists. The device build also
# builds the simulator's and assembles both into RQBehavior.xcframework
# (RQBehaviorXCFramework.cmake).

set(RQBEHAVIOR_APPLE_BUNDLE_IDENTIFIER "zeta.vorn.RQBehavior" CACHE STRING
    "CFBundleIdentifier of RQBehavior.framework")
if(NOT DEFINED RQBEHAVIOR_IOS_PLATFORM)  # built without our toolchain file
  set(RQBEHAVIOR_IOS_PLATFORM device)
endif()
if(NOT DEFINED RQBEHAVIOR_IOS_MINIMUM_OS)
  set(RQBEHAVIOR_IOS_MINIMUM_OS ${CMAKE_OSX_DEPLOYMENT_TARGET})
endif()
if(RQBEHAVIOR_IOS_PLATFORM STREQUAL "simulator")
  set(RQBEHAVIOR_FRAMEWORK_PLATFORM iPhoneSimulator)
else()
  set(RQBEHAVIOR_FRAMEWORK_PLATFORM iPhoneOS)
endif()

# The module links the system frameworks the library links.
set(RQBEHAVIOR_MODULE_LINKS "")
foreach(library IN LISTS RQBEHAVIOR_PLATFORM_LIBRARIES)
  if(library MATCHES "^-framework (.+)$")
    string(APPEND RQBEHAVIOR_MODULE_LINKS "  link framework \"${CMAKE_MATCH_1}\"\n")
  endif()
endforeach()
set(generated ${CMAKE_CURRENT_BINARY_DIR}/framework-files)
configure_file(${CMAKE_CURRENT_LIST_DIR}/module.modulemap.in ${generated}/module.modulemap @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Info.plist.in ${generated}/Info.plist @ONLY)

# What an iOS host includes: the Objective-C class and constants, and the C
# interface. The C++ facade's header is not among them: on iOS the class is
# the interface, and Objective-C++ uses it as Objective-C does.
set(headers
  ${PROJECT_SOURCE_DIR}/include/apple/RQBehavior/RQBehavior.h
  ${PROJECT_SOURCE_DIR}/include/apple/RQBehavior/RQBConstants.h
  ${PROJECT_SOURCE_DIR}/include/RQBehavior/RQBExport.h
  ${PROJECT_SOURCE_DIR}/include/RQBehavior/rqbehavior_c.h)

set(framework ${PROJECT_BINARY_DIR}/framework/RQBehavior.framework)
set(framework_files ${framework}/RQBehavior ${framework}/Info.plist
    ${framework}/PrivacyInfo.xcprivacy ${framework}/Modules/module.modulemap)
foreach(header IN LISTS headers)
  get_filename_component(name ${header} NAME)
  list(APPEND framework_files ${framework}/Headers/${name})
endforeach()
add_custom_command(OUTPUT ${framework_files}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${framework}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${framework}/Headers ${framework}/Modules
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:RQBehavior> ${framework}/RQBehavior
  COMMAND ${CMAKE_COMMAND} -E copy ${headers} ${framework}/Headers
  COMMAND ${CMAKE_COMMAND} -E copy ${generated}/module.modulemap ${framework}/Modules
  COMMAND ${CMAKE_COMMAND} -E copy ${generated}/Info.plist ${RQBEHAVIOR_PRIVACY_MANIFEST} ${framework}
  DEPENDS RQBehavior ${headers} ${generated}/module.modulemap ${generated}/Info.plist
          ${RQBEHAVIOR_PRIVACY_MANIFEST}
  COMMENT "Assembling RQBehavior.framework for the iOS ${RQBEHAVIOR_IOS_PLATFORM}"
  VERBATIM)
add_custom_target(RQBehaviorFramework ALL DEPENDS ${framework_files})
set_target_properties(RQBehaviorFramework PROPERTIES
  RQBEHAVIOR_FRAMEWORK_DIR ${framework}
  RQBEHAVIOR_FRAMEWORK_FILES "${framework_files}")

# The whole xcframework by default when this is the device build of our
# toolchain file, which can build the simulator's too.
if(RQBEHAVIOR_TOP_LEVEL AND RQBEHAVIOR_IOS_PLATFORM STREQUAL "device" AND RQBEHAVIOR_IOS_SDK)
  set(rqbehavior_xcframework_default ON)
else()
  set(rqbehavior_xcframework_default OFF)
endif()
option(RQBEHAVIOR_IOS_XCFRAMEWORK
  "Build the simulator's framework too and assemble RQBehavior.xcframework, its zip and the SwiftPM and CocoaPods files"
  ${rqbehavior_xcframework_default})
if(RQBEHAVIOR_IOS_XCFRAMEWORK)
  include(${CMAKE_CURRENT_LIST_DIR}/RQBehaviorXCFramework.cmake)
endif()
