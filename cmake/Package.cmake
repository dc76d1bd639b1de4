# The Debian packages: programs, library with headers, Python module.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sondex)
set(CPACK_PACKAGE_CONTACT "The Sondex project <sondex@example.org>")
# Each package has its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program development python)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# No release of Debian's.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0local1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

# Dependencies are those that the linker saw, the decoder module's included.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME sondex)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "facts of the movies and stills of a dual-lens 360-degree camera
Sondex prints one line of facts a file and is made to be driven by other
programs. The program sondexkit shows facts and boxes to people, and scans
any number of files in sandboxed worker processes.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libsondex-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS sondex)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "library that reads and edits movies of a dual-lens 360-degree camera
The static library with its headers, for CMake and pkg-config. Programs that
are linked to it find the decoder of pictures in the package sondex.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-sondex)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), sondex (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-distributed)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/python/postinst ${PROJECT_SOURCE_DIR}/cmake/python/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "facts of the movies and stills of a 360-degree camera for Python
A typed module that asks the program sondexkit about any number of files, on
one machine or on a Dask cluster.")

# Only packages have a place for it: pip installs it elsewhere.
install(DIRECTORY python/sondex DESTINATION lib/python3/dist-packages COMPONENT python
        EXCLUDE_FROM_ALL PATTERN __pycache__ EXCLUDE)

# What belongs into /usr/share/doc/PACKAGE, laid out as here, since the pages point at each other.
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/sondex COMPONENT program
        FILES_MATCHING PATTERN *.md PATTERN *.json PATTERN *.png PATTERN *.svg)
install(FILES README.md SECURITY.md CONTRIBUTING.md CHANGELOG.md
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/sondex COMPONENT program)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/sondex COMPONENT program)

set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianTree.cmake)
set(CPACK_SONDEX_CHANGES ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
include(CPack)
