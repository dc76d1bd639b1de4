#include "sondex/Result.h"

namespace sondex {

std::string_view toString(ErrorCode code) {
    switch (code) {
        case ErrorCode::notFound:
            return "notFound";
        case ErrorCode::noPermission:
            return "noPermission";
        case ErrorCode::notRegularFile:
            return "notRegularFile";
        case ErrorCode::notAMovie:
            return "notAMovie";
        case ErrorCode::notAStill:
            return "notAStill";
        case ErrorCode::noCameraRecord:
            return "noCameraRecord";
        case ErrorCode::damaged:
            return "damaged";
        case ErrorCode::notDecodable:
            return "notDecodable";
        case ErrorCode::noSuchFrame:
            return "noSuchFrame";
        case ErrorCode::decoderMissing:
            return "decoderMissing";
        case ErrorCode::busy:
            return "busy";
        case ErrorCode::changed:
            return "changed";
        case ErrorCode::refused:
            return "refused";
        case ErrorCode::noSpace:
            return "noSpace";
        case ErrorCode::outOfMemory:
            return "outOfMemory";
        case ErrorCode::ioFailed:
            return "ioFailed";
    }
    return "";
}

}  // namespace sondex
