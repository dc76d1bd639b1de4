#include "sondex/inside/MakerNote.h"

#include "exif/ExifParser.h"

namespace sondex::inside {

void setMakerNote(std::string& bytes, std::size_t from, const MakerNoteSettings& settings) {
    auto* const raw = reinterpret_cast<unsigned char*>(bytes.data() + from);
    const std::uint64_t size = bytes.size() - from;
    if (settings.projection) {
        ExifParser::updateProjectionType(
            raw, size, static_cast<ExifParser::PROJECTION_TYPE>(*settings.projection));
    }
    if (settings.zenith) {
        ExifParser::updateSphereAdjZenith(
            raw, size, static_cast<ExifParser::TOPBOTTOM_CORRECTION_TYPE>(*settings.zenith));
    }
    if (settings.stabilization) {
        ExifParser::updateVideoStabilization(
            raw, size, static_cast<ExifParser::VIDEO_STABILIZATION>(*settings.stabilization));
    }
}

}  // namespace sondex::inside
