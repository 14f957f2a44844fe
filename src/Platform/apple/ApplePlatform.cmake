# The iOS platform layer, included from src/CMakeLists.txt: Objective-C++
# providers (ARC) over the system's frameworks, and the privacy manifest that
# describes exactly what they read.

set(RQBEHAVIOR_PLATFORM_SOURCES
  Platform/apple/AppleAccessibility.mm
  Platform/apple/AppleApplicationServices.mm
  Platform/apple/AppleBridge.mm
  Platform/apple/AppleCaptiveNetwork.mm
  Platform/apple/AppleDevice.mm
  Platform/apple/AppleDeviceCalendar.mm
  Platform/apple/AppleDispatchQueues.mm
  Platform/apple/AppleFileSystem.mm
  Platform/apple/AppleLibraryBundle.mm
  Platform/apple/AppleLocationServices.mm
  Platform/apple/AppleLogSink.mm
  Platform/apple/AppleNetworkReachability.mm
  Platform/apple/AppleNotificationPoster.mm
  Platform/apple/AppleOperatingSystem.mm
  Platform/apple/ApplePlatform.mm
  Platform/apple/AppleRandomSource.mm
  Platform/apple/AppleTelephony.mm
  Platform/apple/AppleUrlSession.mm
  Platform/apple/AppleUserDefaults.mm
  Platform/apple/AppleUserLocale.mm
)
if(RQBEHAVIOR_IOS_DISK_AND_KEYBOARD_READINGS)
  list(APPEND RQBEHAVIOR_PLATFORM_SOURCES Platform/apple/AppleOptInReadings.mm)
else()
  list(APPEND RQBEHAVIOR_PLATFORM_SOURCES Platform/apple/AppleOptInReadingsOff.mm)
endif()
set_source_files_properties(${RQBEHAVIOR_PLATFORM_SOURCES} PROPERTIES COMPILE_OPTIONS -fobjc-arc)

# The Objective-C interface: the class RQBehavior and the constants as
# NSString objects. Built apart from the rest so that its sources, and only
# they, find the Objective-C headers of include/apple/ before the C++ headers
# of the same names in include/.
add_library(RQBehaviorObjCInterface OBJECT
  Platform/apple/Framework/RQBConstants.mm
  Platform/apple/Framework/RQBehavior.mm)
target_include_directories(RQBehaviorObjCInterface PRIVATE
  ${PROJECT_SOURCE_DIR}/include/apple
  ${CMAKE_CURRENT_SOURCE_DIR}
  ${PROJECT_SOURCE_DIR}/include)
target_compile_options(RQBehaviorObjCInterface PRIVATE -fobjc-arc)
set_target_properties(RQBehaviorObjCInterface PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  OBJCXX_VISIBILITY_PRESET hidden)
set(RQBEHAVIOR_PLATFORM_OBJECTS $<TARGET_OBJECTS:RQBehaviorObjCInterface>)
# A CMake host finds the Objective-C headers first, as in the framework.
set(RQBEHAVIOR_PUBLIC_INCLUDE_DIRS ${PROJECT_SOURCE_DIR}/include/apple ${PROJECT_SOURCE_DIR}/include)

# What a host links with the library.
set(RQBEHAVIOR_PLATFORM_LIBRARIES
  "-framework AdSupport"
  "-framework CoreFoundation"
  "-framework CoreLocation"
  "-framework CoreTelephony"
  "-framework Foundation"
  "-framework StoreKit"
  "-framework SystemConfiguration"
  "-framework UIKit"
)

# The privacy manifest of this build: the disk-space category and the note on
# the keyboard list appear only when those readings are compiled in.
if(RQBEHAVIOR_IOS_DISK_AND_KEYBOARD_READINGS)
  message(WARNING "RQBEHAVIOR_IOS_DISK_AND_KEYBOARD_READINGS is ON: the library sends the free disk "
                  "space off the device and reads the system's keyboard list, uses that no approved "
                  "privacy reason covers. Its manifest declares the disk-space API without a reason; "
                  "none of the approved reasons covers these uses, so an App Store upload may be refused (ITMS-91053).")
  set(RQBEHAVIOR_MANIFEST_DISK_SPACE [=[
		<dict>
			<key>NSPrivacyAccessedAPIType</key>
			<string>NSPrivacyAccessedAPICategoryDiskSpace</string>
			<key>NSPrivacyAccessedAPITypeReasons</key>
			<array/>
		</dict>]=])
else()
  set(RQBEHAVIOR_MANIFEST_DISK_SPACE "")
endif()
set(RQBEHAVIOR_PRIVACY_MANIFEST ${CMAKE_CURRENT_BINARY_DIR}/PrivacyInfo.xcprivacy)
configure_file(Platform/apple/PrivacyInfo.xcprivacy.in ${RQBEHAVIOR_PRIVACY_MANIFEST} @ONLY)
# For the host example and the tests.
set(RQBEHAVIOR_PRIVACY_MANIFEST ${RQBEHAVIOR_PRIVACY_MANIFEST} PARENT_SCOPE)

# Installed beside the archive for hosts that link it without the framework:
# a static library has no bundle of its own, so the manifest ships in a
# resource bundle that the host copies into its app. The framework carries
# it at its root.
install(FILES ${RQBEHAVIOR_PRIVACY_MANIFEST}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/RQBehavior/RQBehavior.bundle)
