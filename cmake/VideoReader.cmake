# Chooses what stands behind probe/VideoReader.h and takes the other one out of `sources`.
set(SONDEX_VIDEO_READER auto CACHE STRING
    "ffmpeg: decode the first picture; header: take the headers' word; auto: ffmpeg where found")
set_property(CACHE SONDEX_VIDEO_READER PROPERTY STRINGS auto ffmpeg header)

if(PROJECT_IS_TOP_LEVEL)
    # Every program of the build tree, tests included, finds the reader's module beside itself.
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
endif()

set(reader ${SONDEX_VIDEO_READER})
if(NOT reader MATCHES "^(auto|ffmpeg|header)$")
    message(FATAL_ERROR "SONDEX_VIDEO_READER is \"${reader}\": say auto, ffmpeg or header.")
endif()
if(NOT reader STREQUAL "header")
    find_package(PkgConfig QUIET)
    if(PKG_CONFIG_FOUND)
        pkg_check_modules(libav QUIET IMPORTED_TARGET
                          libavformat>=59 libavcodec>=59 libavutil>=57 libswscale>=6)
    endif()
    if(libav_FOUND)
        set(reader ffmpeg)
    elseif(reader STREQUAL "ffmpeg")
        message(FATAL_ERROR "FFmpeg's development packages were not found (Debian: pkg-config "
                            "libavformat-dev libavcodec-dev libavutil-dev libswscale-dev).")
    else()
        set(reader header)
    endif()
endif()

if(reader STREQUAL "header")
    if(NOT SONDEX_VIDEO_READER STREQUAL "header")
        message(WARNING "FFmpeg's development packages were not found (Debian: pkg-config "
                        "libavformat-dev libavcodec-dev libavutil-dev libswscale-dev).")
    endif()
    message(NOTICE "-- Video reader: headers only. No picture will be decoded: a movie's size and "
                   "frame rate are what its headers claim, and one whose pictures are damaged "
                   "passes as readable.")
    list(REMOVE_ITEM sources ${PROJECT_SOURCE_DIR}/probe/DecodingVideoReader.cpp
         ${PROJECT_SOURCE_DIR}/probe/DecoderLoader.cpp)
    return()
endif()

message(STATUS "Video reader: FFmpeg, libavcodec ${libav_libavcodec_VERSION}")
list(REMOVE_ITEM sources ${PROJECT_SOURCE_DIR}/probe/NoDecoder.cpp)

# A module of its own, opened when the first movie is described: linked into the program, FFmpeg
# would make every start pay for loading it.
file(GLOB module_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/probe/ffmpeg/*.cpp)
add_library(sondex_video MODULE ${module_sources})
target_include_directories(sondex_video PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(sondex_video PRIVATE PkgConfig::libav sondex_flags)
set_target_properties(sondex_video PROPERTIES
    PREFIX "" OUTPUT_NAME sondex-video
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}
    CXX_VISIBILITY_PRESET hidden)
cmake_language(DEFER CALL add_dependencies sondex sondex_video)

# Where the library looks for the module: where this build installs it, where an installation has it
# as seen from library or program, and beside them (a build folder).
set(SONDEX_MODULE_FOLDER ${CMAKE_INSTALL_LIBDIR}/sondex)
cmake_path(ABSOLUTE_PATH SONDEX_MODULE_FOLDER BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE
           OUTPUT_VARIABLE module_folder)
file(RELATIVE_PATH from_program ${CMAKE_INSTALL_FULL_BINDIR} ${module_folder})
file(RELATIVE_PATH from_library ${CMAKE_INSTALL_FULL_LIBDIR} ${module_folder})
if(NOT PROJECT_IS_TOP_LEVEL)
    set(module_folder ${PROJECT_BINARY_DIR})
endif()
set_source_files_properties(${PROJECT_SOURCE_DIR}/probe/DecoderLoader.cpp PROPERTIES
    COMPILE_DEFINITIONS "SONDEX_MODULE_FOLDER=\"${module_folder}\";SONDEX_MODULE_FROM_PROGRAM=\"${from_program}\";SONDEX_MODULE_FROM_LIBRARY=\"${from_library}\"")
