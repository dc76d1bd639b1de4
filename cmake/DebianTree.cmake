# Run by cpack on the trees that it is about to pack, a folder a package: what Debian wants in
# another place or another form than an installation by hand.
set(names_program sondex)
set(names_development libsondex-dev)
set(names_python python3-sondex)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(entry "sondex (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * The project's own package.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

foreach(component program development python)
    set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share)
    set(doc ${share}/doc/${names_${component}})
    file(MAKE_DIRECTORY ${doc})
    file(WRITE ${doc}/changelog.Debian "${entry}")
    file(COPY_FILE ${CPACK_SONDEX_CHANGES} ${doc}/changelog)
    file(CHMOD ${doc}/changelog PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    file(GLOB packed ${doc}/changelog* ${share}/man/man1/*)
    execute_process(COMMAND gzip -9n ${packed} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# Debian's zsh looks for the completions of packages in a folder of its own.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/program/usr/share)
file(MAKE_DIRECTORY ${share}/zsh)
file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
