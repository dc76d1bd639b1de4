# The page that `sondexkit motion --html` writes: its frame, the charts of the page in web/, and the
# library that draws them, put together and compiled in.
set(page_frame ${PROJECT_SOURCE_DIR}/kit/motion/page.html)
set(page_scripts ${PROJECT_SOURCE_DIR}/web/src/dom.js ${PROJECT_SOURCE_DIR}/web/src/motion.js)
set(uplot ${PROJECT_SOURCE_DIR}/third-party/uplot)
set(motion_page ${PROJECT_BINARY_DIR}/motion-page.cpp)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page_frame} ${page_scripts})

# Modules become one script: what they take from each other is there already.
set(MOTION_JS "")
foreach(script IN LISTS page_scripts)
    file(READ ${script} text)
    string(REGEX REPLACE "import [^\n]*\n" "" text "${text}")
    string(REPLACE "export " "" text "${text}")
    string(APPEND MOTION_JS "${text}")
endforeach()
file(READ ${uplot}/uPlot.iife.min.js UPLOT_JS)
file(READ ${uplot}/uPlot.min.css UPLOT_CSS)
file(READ ${uplot}/LICENSE UPLOT_LICENSE)

file(READ ${page_frame} page)
foreach(part UPLOT_LICENSE UPLOT_CSS UPLOT_JS MOTION_JS)
    string(REPLACE "@${part}@" "${${part}}" page "${page}")
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/motion-page.html "${page}")
file(READ ${PROJECT_BINARY_DIR}/motion-page.html bytes HEX)
string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
file(CONFIGURE OUTPUT ${motion_page} @ONLY CONTENT [[
#include <cstddef>

namespace kit {

extern const unsigned char motionPage[];
extern const std::size_t motionPageSize;
const unsigned char motionPage[] = {@bytes@};
const std::size_t motionPageSize = sizeof motionPage;

}  // namespace kit
]])
