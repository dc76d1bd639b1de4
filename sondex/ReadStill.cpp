#include <cmath>

#include "probe/StillFacts.h"
#include "sondex/inside/FactsOf.h"
#include "sondex/inside/Opening.h"
#include "sondex/inside/Texts.h"

namespace sondex {

using namespace inside;

namespace {

std::optional<float> known(float value) {
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace

Camera inside::cameraOf(const ExifParser::ZELVA& record) {
    return {text(record.model), text(record.software), text(record.version), text(record.serial)};
}

Result<StillFacts> inside::stillFacts(const MP4::Container& file) {
    const Kind kind = kindOf(file);
    if (kind != Kind::jpeg && kind != Kind::tiff) {
        return Error{ErrorCode::notAStill, "no JPEG and no DNG; " + looksLike(file)};
    }
    ::StillFacts still;
    const char* failure = nullptr;
    bool readable = false;
    file.open([&](WEKU::FileIO& opened) {
        try {
            ExifParser parser;
            readable =
                kind == Kind::jpeg ? still.readJPEG(opened, parser) : still.readDNG(opened, parser);
        } catch (WEKU::Failure message) {
            failure = message;
        }
    });
    if (failure != nullptr) {
        return Error{ErrorCode::noCameraRecord, std::string("no camera record: ") + failure};
    }
    if (!readable) return Error{ErrorCode::ioFailed, "it cannot be read"};

    StillFacts facts;
    facts.camera = cameraOf(still.stillRecord);
    facts.yaw = known(still.stillRecord.yaw);
    facts.pitch = known(still.stillRecord.pitch);
    facts.roll = known(still.stillRecord.roll);
    if (kind == Kind::tiff) {
        facts.format = StillFormat::dng;
        facts.imageData = Extent{still.strip.offset, still.strip.length};
    }
    return facts;
}

Result<StillFacts> readStill(std::string_view path, const Options& options) {
    return readFile<StillFacts>(path, options, 0, stillFacts);
}

Result<Facts> read(std::string_view path, const Options& options) {
    const auto either = [&](const MP4::Container& file) -> Result<Facts> {
        const Kind kind = kindOf(file);
        if (kind == Kind::jpeg || kind == Kind::tiff) {
            Result<StillFacts> still = stillFacts(file);
            if (!still) return still.error();
            return Facts(*std::move(still));
        }
        Result<MovieFacts> movie = movieFacts(file, options.decode);
        if (!movie) return movie.error();
        return Facts(*std::move(movie));
    };
    return readFile<Facts>(path, options, MP4::Container::wholeFile, either);
}

}  // namespace sondex
