# What consumers see: the front door for everyone (Sondex::sondex), the classes behind it for those
# who build on them (Sondex::parts). A build lays it out as an installation has it.
set(staged ${PROJECT_BINARY_DIR}/include)

set(parts
    support/ByteArray.h support/Console.h support/Endian.h support/FileIO.h support/Geometry.h support/WideText.h
    h264/AvcRecord.h h264/BitStream.h h264/GolombBitStream.h h264/SequenceParameterSet.h
    exif/CameraRecord.h exif/ExifParser.h
    mp4/AVCC.h mp4/Container.h mp4/GPSInfo.h mp4/HeaderBoxes.h mp4/SampleTableBoxes.h
    sensor/AccelSensorStreamEmbed.h exif/CameraVersion.h sensor/Filters.h
    sensor/VideoStabilizationMode.h sensor/ViewHeading.h sensor/YawStabilizer.h
    probe/Sondex.h
    builder/AxisTiltStream.h)

file(GLOB_RECURSE every_header CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
     ${PROJECT_SOURCE_DIR}/sondex/*.h)
foreach(folder IN LISTS SONDEX_FOLDERS)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h)
    list(APPEND every_header ${found})
endforeach()
set(stamp ${staged}/stamp)
add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DDESTINATION=${staged}
            "-DPARTS=${parts}" -P ${PROJECT_SOURCE_DIR}/cmake/StageHeaders.cmake
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${every_header} ${PROJECT_SOURCE_DIR}/cmake/StageHeaders.cmake
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
add_custom_target(sondex_headers DEPENDS ${stamp})
add_dependencies(sondex sondex_headers)

# What is part of this tree includes the files themselves, so that an edit of one is seen at once.
if(PROJECT_IS_TOP_LEVEL)
    target_include_directories(sondex PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
else()
    target_include_directories(sondex PRIVATE ${PROJECT_SOURCE_DIR}
                                      PUBLIC $<BUILD_INTERFACE:${staged}>)
endif()
add_library(sondex_parts INTERFACE)
add_library(Sondex::parts ALIAS sondex_parts)
set_target_properties(sondex_parts PROPERTIES EXPORT_NAME parts)
target_include_directories(sondex_parts INTERFACE $<BUILD_INTERFACE:${staged}>)
target_link_libraries(sondex_parts INTERFACE sondex)
