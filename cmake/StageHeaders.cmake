# Lays out what consumers include, in DESTINATION: <sondex/…> as it is, and under <sondex-parts/…>
# the headers named in PARTS with all that they include, so that what is nobody's business stays
# out. They name one another from the root of the tree; the copies name one another under the
# prefix, which no folder of a consumer's own can hide.
# usage: cmake -DSOURCE=… -DDESTINATION=… -DPARTS=a.h;b.h -P StageHeaders.cmake
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${DESTINATION}/sondex ${DESTINATION}/sondex-parts)
file(GLOB door ${SOURCE}/sondex/*.h)
file(COPY ${door} DESTINATION ${DESTINATION}/sondex)

set(seen)
while(PARTS)
    list(POP_FRONT PARTS header)
    if(header IN_LIST seen)
        continue()
    endif()
    list(APPEND seen ${header})
    file(READ ${SOURCE}/${header} text)
    string(REGEX MATCHALL "#include \"[^\"]+\"" lines "${text}")
    list(TRANSFORM lines REPLACE "#include \"([^\"]+)\"" "\\1")
    list(APPEND PARTS ${lines})
    string(REGEX REPLACE "#include \"" "#include \"sondex-parts/" text "${text}")
    file(WRITE ${DESTINATION}/sondex-parts/${header} "${text}")
endwhile()
