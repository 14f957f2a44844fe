# Cross-builds RQBehavior for iOS on arm64 from Linux with LLVM: clang as the
# C, C++, Objective-C and Objective-C++ compiler, ld64.lld as the linker, and
# an iOS SDK (a folder such as iPhoneOS15.6.sdk) as the system root.
#
#   cmake -S . -B build-ios -DCMAKE_TOOLCHAIN_FILE=cmake/ios-arm64.toolchain.cmake \
#         -DRQBEHAVIOR_IOS_SDK=/path/to/iPhoneOS15.6.sdk
#
# RQBEHAVIOR_IOS_PLATFORM=simulator builds for the iOS Simulator on arm64
# (Apple-silicon Macs) against the same device SDK: its headers are the
# simulator's, and clang marks the objects for the simulator. Such a build
# compiles but links no program: the SDK's link stubs name the device only.
#
# On a Mac, Xcode brings its own SDK and linker: use the Xcode generator with
# -DCMAKE_SYSTEM_NAME=iOS instead of this file.

set(CMAKE_SYSTEM_NAME iOS)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_ARCHITECTURES arm64)
set(RQBEHAVIOR_IOS_DEPLOYMENT_TARGET 12.0 CACHE STRING "Oldest iOS version the build runs on")
set(RQBEHAVIOR_IOS_PLATFORM device CACHE STRING "What the build runs on: device or simulator")
set_property(CACHE RQBEHAVIOR_IOS_PLATFORM PROPERTY STRINGS device simulator)
if(RQBEHAVIOR_IOS_PLATFORM STREQUAL "device")
  set(CMAKE_OSX_DEPLOYMENT_TARGET ${RQBEHAVIOR_IOS_DEPLOYMENT_TARGET})
  set(rqbehavior_ios_target arm64-apple-ios${RQBEHAVIOR_IOS_DEPLOYMENT_TARGET})
  set(RQBEHAVIOR_IOS_MINIMUM_OS ${RQBEHAVIOR_IOS_DEPLOYMENT_TARGET})
elseif(RQBEHAVIOR_IOS_PLATFORM STREQUAL "simulator")
  # The version goes in the target alone: CMake would add the device's
  # -miphoneos-version-min for a system root named iPhoneOS. iOS 14 is the
  # first with arm64 simulators, so clang writes 14.0 at least into the
  # objects, as Xcode's does.
  set(CMAKE_OSX_DEPLOYMENT_TARGET "")
  set(rqbehavior_ios_target arm64-apple-ios${RQBEHAVIOR_IOS_DEPLOYMENT_TARGET}-simulator)
  set(RQBEHAVIOR_IOS_MINIMUM_OS ${RQBEHAVIOR_IOS_DEPLOYMENT_TARGET})
  if(RQBEHAVIOR_IOS_MINIMUM_OS VERSION_LESS 14.0)
    set(RQBEHAVIOR_IOS_MINIMUM_OS 14.0)
  endif()
  # CMake's checks compile without linking: the SDK links for the device only.
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
else()
  message(FATAL_ERROR "RQBEHAVIOR_IOS_PLATFORM must be device or simulator, got '${RQBEHAVIOR_IOS_PLATFORM}'")
endif()

set(RQBEHAVIOR_IOS_SDK "" CACHE PATH "The iOS SDK folder to build against, e.g. .../iPhoneOS15.6.sdk")
if(NOT RQBEHAVIOR_IOS_SDK OR NOT EXISTS "${RQBEHAVIOR_IOS_SDK}/SDKSettings.json")
  message(FATAL_ERROR "RQBEHAVIOR_IOS_SDK must name an iOS SDK folder (one holding SDKSettings.json), "
                      "got '${RQBEHAVIOR_IOS_SDK}'")
endif()
set(CMAKE_OSX_SYSROOT "${RQBEHAVIOR_IOS_SDK}")
# try_compile projects read this file again and need the SDK and platform too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RQBEHAVIOR_IOS_SDK RQBEHAVIOR_IOS_PLATFORM
     RQBEHAVIOR_IOS_DEPLOYMENT_TARGET)

# By full path: with the SDK as system root, CMake does not find the
# compilers by their bare names.
find_program(RQBEHAVIOR_CLANG NAMES clang-14 clang NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_program(RQBEHAVIOR_CLANGXX NAMES clang++-14 clang++ NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_program(CMAKE_AR NAMES llvm-ar-14 llvm-ar NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_program(CMAKE_RANLIB NAMES llvm-ranlib-14 llvm-ranlib NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool-14 llvm-install-name-tool
             NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_program(CMAKE_OTOOL NAMES llvm-otool-14 llvm-otool NO_CMAKE_FIND_ROOT_PATH REQUIRED)

foreach(lang C CXX OBJC OBJCXX)
  set(CMAKE_${lang}_COMPILER_TARGET ${rqbehavior_ios_target})
endforeach()
set(CMAKE_C_COMPILER ${RQBEHAVIOR_CLANG})
set(CMAKE_CXX_COMPILER ${RQBEHAVIOR_CLANGXX})
set(CMAKE_OBJC_COMPILER ${RQBEHAVIOR_CLANG})
set(CMAKE_OBJCXX_COMPILER ${RQBEHAVIOR_CLANGXX})

set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++")
set(CMAKE_OBJCXX_FLAGS_INIT "-stdlib=libc++")
# For Apple targets clang's -fuse-ld=lld runs ld64.lld.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld")

# Libraries and headers come from the SDK only, programs from this machine.
set(CMAKE_FIND_ROOT_PATH "${RQBEHAVIOR_IOS_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
