# Run by cpack on the tree it is about to pack: Debian's zsh looks for the completions of packages
# in a folder of its own, and Debian's manuals are compressed.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
file(MAKE_DIRECTORY ${share}/zsh/vendor-completions)
file(RENAME ${share}/zsh/site-functions/_Sondex ${share}/zsh/vendor-completions/_Sondex)
file(REMOVE_RECURSE ${share}/zsh/site-functions)
execute_process(COMMAND gzip -9n ${share}/man/man1/Sondex.1 COMMAND_ERROR_IS_FATAL ANY)
