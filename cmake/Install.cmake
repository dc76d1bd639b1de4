# What `cmake --install` and `cpack` put where; every path is relative to the prefix, so that a
# tree can be moved after it was installed.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Sondex)
set(generated ${PROJECT_BINARY_DIR}/package)

# Which of the packages of cmake/Package.cmake a file goes to.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

install(TARGETS sondex sondex_parts EXPORT SondexTargets
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${staged}/sondex ${staged}/sondex-parts DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)
if(TARGET sondex_video)
    install(TARGETS sondex_video LIBRARY DESTINATION ${SONDEX_MODULE_FOLDER})
endif()
if(TARGET Sondex)
    if(BUILD_SHARED_LIBS)
        file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
        set_target_properties(Sondex PROPERTIES INSTALL_RPATH $ORIGIN/${to_library})
    endif()
    install(TARGETS Sondex)
endif()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

# The CMake package and the pkg-config file. A static library passes its own needs on.
install(EXPORT SondexTargets NAMESPACE Sondex:: DESTINATION ${package_folder})
configure_package_config_file(cmake/SondexConfig.cmake.in ${generated}/SondexConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${generated}/SondexConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${generated}/SondexConfig.cmake ${generated}/SondexConfigVersion.cmake
        DESTINATION ${package_folder})

file(RELATIVE_PATH to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH library_path ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH header_path ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
list(TRANSFORM CMAKE_DL_LIBS PREPEND "-l" OUTPUT_VARIABLE dl_words)
string(JOIN " " library_needs -pthread ${dl_words})
if(BUILD_SHARED_LIBS)
    set(library_words "-L\${libdir} -lsondex")
else()
    set(library_words "-L\${libdir} -lsondex ${library_needs}")
endif()
configure_file(cmake/sondex.pc.in ${generated}/sondex.pc @ONLY)
install(FILES ${generated}/sondex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The manual and the shells' completions.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)
configure_file(docs/Sondex.1.in ${generated}/Sondex.1 @ONLY)
install(FILES ${generated}/Sondex.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES completions/Sondex.bash RENAME Sondex
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completions/_Sondex DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)

include(cmake/Package.cmake)
