# The library and the program's contract as WebAssembly, for the page in web/. Included when the
# compiler is emscripten's; nothing else of the tree is built then.
add_executable(sondex-page web/bridge/Bridge.cpp)
target_link_libraries(sondex-page PRIVATE sondex_app sondex sondex_flags)
target_include_directories(sondex-page PRIVATE ${PROJECT_SOURCE_DIR})
set(pread ${PROJECT_SOURCE_DIR}/web/bridge/pread.js)
set_target_properties(sondex-page PROPERTIES SUFFIX .mjs LINK_DEPENDS ${pread})
# The file is read where it lies: WORKERFS asks the browser for the bytes that are wanted.
target_link_options(sondex-page PRIVATE
    -Oz --no-entry --js-library ${pread} -lworkerfs.js -sALLOW_MEMORY_GROWTH -sDYNAMIC_EXECUTION=0 -sENVIRONMENT=worker
    -sEXPORT_ES6 -sFORCE_FILESYSTEM -sMODULARIZE -sTEXTDECODER=2
    -sEXPORTED_RUNTIME_METHODS=FS,WORKERFS,ccall)
