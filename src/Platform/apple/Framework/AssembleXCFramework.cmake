# cmake -P script: puts the device and simulator frameworks together as
# RQBehavior.xcframework, zips it, and writes the zip's SHA-256, a
# Package.swift and a podspec into DIST. Run by RQBehaviorXCFramework.cmake.
#
# The zip holds its files in name order with one fixed time stamp, so that the
# same frameworks give the same zip and the same checksum.

foreach(variable DEVICE_FRAMEWORK SIMULATOR_FRAMEWORK XCFRAMEWORK DIST VERSION DEPLOYMENT_TARGET
                 DOWNLOAD_URL FRAMEWORKS TEMPLATES)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "AssembleXCFramework.cmake needs -D${variable}=...")
  endif()
endforeach()

file(REMOVE_RECURSE ${XCFRAMEWORK} ${DIST})
file(MAKE_DIRECTORY ${XCFRAMEWORK}/ios-arm64 ${XCFRAMEWORK}/ios-arm64-simulator ${DIST})
file(COPY ${DEVICE_FRAMEWORK} DESTINATION ${XCFRAMEWORK}/ios-arm64)
file(COPY ${SIMULATOR_FRAMEWORK} DESTINATION ${XCFRAMEWORK}/ios-arm64-simulator)
configure_file(${TEMPLATES}/XCFrameworkInfo.plist.in ${XCFRAMEWORK}/Info.plist @ONLY)

get_filename_component(parent ${XCFRAMEWORK} DIRECTORY)
get_filename_component(name ${XCFRAMEWORK} NAME)
file(GLOB_RECURSE files RELATIVE ${parent} ${XCFRAMEWORK}/*)
list(SORT files)
list(JOIN files "\n" listing)
file(WRITE ${DIST}/zip-contents.txt "${listing}\n")
set(zip ${DIST}/${name}.zip)
execute_process(
  COMMAND ${CMAKE_COMMAND} -E tar cf ${zip} --format=zip "--mtime=2000-01-01 00:00:00 UTC"
          --files-from=${DIST}/zip-contents.txt
  WORKING_DIRECTORY ${parent}
  RESULT_VARIABLE result)
file(REMOVE ${DIST}/zip-contents.txt)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "could not zip ${XCFRAMEWORK}")
endif()

file(SHA256 ${zip} CHECKSUM)
file(WRITE ${zip}.sha256 "${CHECKSUM}\n")

# The podspec's list of system frameworks, as Ruby strings.
string(REPLACE "," "', '" PODSPEC_FRAMEWORKS "'${FRAMEWORKS}'")
string(REGEX REPLACE "\\.0$" "" SWIFTPM_IOS_VERSION "${DEPLOYMENT_TARGET}")
configure_file(${TEMPLATES}/Package.swift.in ${DIST}/Package.swift @ONLY)
configure_file(${TEMPLATES}/RQBehavior.podspec.in ${DIST}/RQBehavior.podspec @ONLY)
