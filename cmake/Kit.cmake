# The program sondexkit, where what it stands on beside the library is there.
find_package(CLI11 QUIET)
find_package(nlohmann_json QUIET)
if(NOT CLI11_FOUND OR NOT nlohmann_json_FOUND)
    message(NOTICE "-- sondexkit is not built: CLI11 or nlohmann-json was not found (Debian: "
                   "libcli11-dev nlohmann-json3-dev).")
    return()
endif()

file(GLOB_RECURSE kit_program_sources CONFIGURE_DEPENDS kit/*.cpp)
list(REMOVE_ITEM kit_program_sources ${PROJECT_SOURCE_DIR}/kit/main.cpp)
include(cmake/MotionPage.cmake)
add_library(sondexkit_parts OBJECT ${kit_program_sources} ${motion_page})
# Its headers are not ours to mend.
target_include_directories(sondexkit_parts SYSTEM PUBLIC
    $<TARGET_PROPERTY:CLI11::CLI11,INTERFACE_INCLUDE_DIRECTORIES>
    $<TARGET_PROPERTY:nlohmann_json::nlohmann_json,INTERFACE_INCLUDE_DIRECTORIES>)
target_link_libraries(sondexkit_parts PUBLIC sondex PRIVATE sondex_flags)
if(SONDEX_SANITIZE)
    # Half a minute a file goes into optimising the checks in CLI11's code.
    target_compile_options(sondexkit_parts PRIVATE -O0)
endif()
add_executable(sondexkit kit/main.cpp)
target_compile_definitions(sondexkit PRIVATE SONDEX_VERSION="${PROJECT_VERSION}")
target_link_libraries(sondexkit PRIVATE sondexkit_parts sondex sondex_flags)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    find_package(PkgConfig QUIET)
    if(PKG_CONFIG_FOUND)
        pkg_check_modules(seccomp QUIET IMPORTED_TARGET libseccomp)
    endif()
    if(seccomp_FOUND)
        target_compile_definitions(sondexkit_parts PRIVATE SONDEXKIT_SECCOMP)
        target_link_libraries(sondexkit_parts PUBLIC PkgConfig::seccomp)
    else()
        message(NOTICE "-- sondexkit is built without a filter of system calls (Debian: "
                       "libseccomp-dev).")
    endif()
endif()

if(NOT SONDEX_INSTALL)
    return()
endif()
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)
install(TARGETS sondexkit)
install(FILES completions/sondexkit.bash RENAME sondexkit
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completions/_sondexkit DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
find_program(SCDOC scdoc)
if(SCDOC)
    set(manual ${PROJECT_BINARY_DIR}/package/sondexkit.1)
    add_custom_command(OUTPUT ${manual}
        COMMAND sh -c [["$0" <"$1" >"$2"]] ${SCDOC} ${PROJECT_SOURCE_DIR}/docs/sondexkit.1.scd
                ${manual}
        DEPENDS docs/sondexkit.1.scd VERBATIM)
    add_custom_target(sondexkit_manual ALL DEPENDS ${manual})
    install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
    message(NOTICE "-- sondexkit's manual is not made: scdoc was not found (Debian: scdoc).")
endif()
