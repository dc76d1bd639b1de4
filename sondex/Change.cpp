#include <cmath>

#include "exif/ExifParser.h"
#include "mp4/GPSInfo.h"
#include "sondex/Edit.h"
#include "sondex/inside/Editing.h"
#include "sondex/inside/MakerNote.h"
#include "sondex/inside/Stills.h"
#include "support/NumberText.h"

namespace sondex {

using namespace inside;

namespace {

Result<Done> changeStill(std::string_view path, Kind kind, const Changes& changes) {
    if (changes.position || changes.created || changes.xmp || changes.axis ||
        changes.baselineFlag) {
        return refused("of a still only the settings of the maker note can be set");
    }
    const Result<bool> done = overwriteStill(path, Where::safely, [&](const std::string& file) {
        std::size_t tiff = 0;
        if (kind == Kind::jpeg) {
            ExifParser parser;
            parser.attachBytes(reinterpret_cast<const unsigned char*>(file.data()), file.size());
            parser.seekToZELVA();
            tiff = parser.tiffOffset;
        }
        std::string after = file;
        setMakerNote(after, tiff, changes.makerNote);
        Overwrites difference;
        difference.addDifference(0, file, after);
        return difference;
    });
    if (!done) return done.error();
    return *done ? Done{"maker note set"} : Done();
}

Result<Done> changeMovie(std::string_view path, const Changes& changes) {
    Result<Movie> movie = Movie::open(path);
    if (!movie) return movie.error();
    Status status;
    const auto set = [&](const auto& value, auto setter) {
        if (status && value) status = ((*movie).*setter)(*value);
    };
    set(changes.position, &Movie::setPosition);
    set(changes.xmp, &Movie::setXmp);
    set(changes.axis, &Movie::setAxis);
    set(changes.created, &Movie::setCreationTime);
    const MakerNoteSettings& note = changes.makerNote;
    if (status && (note.stabilization || note.projection || note.zenith)) {
        status = movie->setMakerNote(note);
    }
    const Done done = movie->changes();
    if (status) status = movie->save();
    if (!status) return status.error();
    return done;
}

Result<Done> setFlag(std::string_view path, const Reasons& reasons) {
    MP4::Container movie;
    if (auto error = attachMovie(movie, path)) return *error;
    const WEKU::FileStamp before = WEKU::FileIO::stampOf(movie.path);
    if (!movie.appendFullRangeAndConstrainedSet1Flag(true)) return reasons.error(movie);
    return WEKU::FileIO::stampOf(movie.path) == before ? Done() : Done{"flag set"};
}

/// A decimal number that is the whole text.
std::optional<double> numberOf(std::string_view text) {
    const bool plain = !text.empty() && text.find_first_not_of("+-.0123456789") == text.npos;
    if (!plain) return {};
    if (text.front() == '+') text.remove_prefix(1);
    double value = 0;
    if (WEKU::readNumber(text, value) != text.size()) return {};
    return value;
}

std::optional<Position> onEarth(const Position& position) {
    const bool is = std::fabs(position.latitude) <= 90 && std::fabs(position.longitude) <= 180 &&
                    std::fabs(position.altitude.value_or(0)) < 32768;
    return is ? std::optional(position) : std::nullopt;
}

}  // namespace

Result<Done> change(std::string_view path, const Changes& changes) {
    return quietly<Done>([&](const Reasons& reasons) -> Result<Done> {
        const Result<Kind> kind = kindAt(path);
        if (!kind) return kind.error();
        if (*kind == Kind::jpeg || *kind == Kind::tiff) return changeStill(path, *kind, changes);
        if (changes.baselineFlag) return setFlag(path, reasons);
        return changeMovie(path, changes);
    });
}

Result<Done> startFast(std::string_view path) {
    return quietly<Done>([&](const Reasons& reasons) -> Result<Done> {
        MP4::Container movie;
        if (auto error = attachMovie(movie, path)) return *error;
        if (movie.startsFast()) return Done();
        if (!movie.moovFirst()) return reasons.error(movie);
        return Done{"movie box moved to the front"};
    });
}

std::optional<Position> positionOf(std::string_view text) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) {
        // The reader takes what it can; a text is a position only when nothing is left over.
        const bool whole = !text.empty() && text.back() == '/' &&
                           text.find_first_not_of("+-.0123456789/") == text.npos;
        GPSInfo info;
        info.attachRXYZ(std::string(text).c_str());
        if (!whole || !info.latitude.valid || !info.longitude.valid) return {};
        Position position{info.latitude.value, info.longitude.value, {}};
        if (info.altitude.valid) position.altitude = info.altitude.value;
        return onEarth(position);
    }
    const std::size_t second = text.find(',', comma + 1);
    const auto latitude = numberOf(text.substr(0, comma));
    const auto longitude = numberOf(text.substr(comma + 1, second - comma - 1));
    if (!latitude || !longitude) return {};
    Position position{*latitude, *longitude, {}};
    if (second != std::string_view::npos) {
        position.altitude = numberOf(text.substr(second + 1));
        if (!position.altitude) return {};
    }
    return onEarth(position);
}

}  // namespace sondex
