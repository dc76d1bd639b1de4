#include <cmath>

#include "exif/ExifParser.h"
#include "mp4/GPSInfo.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/LocationBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/MetadataEdit.h"
#include "sondex/Edit.h"
#include "sondex/inside/Editing.h"
#include "sondex/inside/Stills.h"
#include "support/Failure.h"
#include "support/NumberText.h"

namespace sondex {

using namespace inside;

namespace {

using MP4::MetadataEdit;
using Present = MetadataEdit::Present;

/// Seconds from 1904-01-01, where movies begin to count, to 1970-01-01.
constexpr std::int64_t from1904 = 2082844800;

GPSInfo infoOf(const Position& position) {
    GPSInfo info;
    info.latitude = {true, position.latitude};
    info.longitude = {true, position.longitude};
    if (position.altitude) info.altitude = {true, *position.altitude};
    return info;
}

/// The camera's own position text, which has the altitude as well.
std::string cameraText(const GPSInfo& info) {
    std::string text = info.to_CXYZ_string();
    if (!info.altitude.valid) return text;
    text.pop_back();
    return text + (info.altitude.value < 0 ? "" : "+") +
           std::to_string(std::lround(info.altitude.value)) + "/";
}

bool changesMakerNote(const Changes& changes) {
    return changes.stabilization || changes.projection || changes.zenith;
}

/// Sets what the changes say in a bare TIFF structure or a maker note.
void setMakerNote(std::string& bytes, std::size_t from, const Changes& changes) {
    auto* const raw = reinterpret_cast<unsigned char*>(bytes.data() + from);
    const std::uint64_t size = bytes.size() - from;
    if (changes.projection) {
        ExifParser::updateProjectionType(
            raw, size, static_cast<ExifParser::PROJECTION_TYPE>(*changes.projection));
    }
    if (changes.zenith) {
        ExifParser::updateSphereAdjZenith(
            raw, size, static_cast<ExifParser::TOPBOTTOM_CORRECTION_TYPE>(*changes.zenith));
    }
    if (changes.stabilization) {
        ExifParser::updateVideoStabilization(
            raw, size, static_cast<ExifParser::VIDEO_STABILIZATION>(*changes.stabilization));
    }
}

Result<Done> changeStill(std::string_view path, Kind kind, const Changes& changes) {
    if (changes.position || changes.created || changes.xmp || changes.axis ||
        changes.baselineFlag) {
        return refused("of a still only the settings of the maker note can be set");
    }
    const Result<bool> done = overwriteStill(path, [&](const std::string& file) {
        std::size_t tiff = 0;
        if (kind == Kind::jpeg) {
            ExifParser parser;
            parser.attachBytes(reinterpret_cast<const unsigned char*>(file.data()), file.size());
            parser.seekToZELVA();
            tiff = parser.tiffOffset;
        }
        std::string after = file;
        setMakerNote(after, tiff, changes);
        Overwrites difference;
        difference.addDifference(0, file, after);
        return difference;
    });
    if (!done) return done.error();
    return *done ? Done{"maker note set"} : Done();
}

/// Collects the changes of a movie; throws a WEKU::Failure where one cannot be made.
class MovieChange {
  public:
    MovieChange(MP4::Container& movie, const Changes& changes)
        : movie(movie), changes(changes), edit(movie) {
        if (changes.position) setPosition();
        if (changes.xmp) put(MP4::XMP(*changes.xmp), "XMP set");
        if (changes.axis) put(MP4::AXIS(*changes.axis), "tilt stream set");
        if (changesMakerNote(changes)) setNote();
        boxesChange = !edit.isEmpty();
        if (changes.created) setTime();
    }

    Done done;

    [[nodiscard]] bool apply() {
        // One write of eight bytes a header needs no copy of the movie.
        if (!boxesChange) return done.empty() || movie.updateTimeStamp(time);
        return edit.apply(L"appendLocations");
    }

  private:
    template <class Step>
    void noting(const char* sentence, Step step) {
        const std::size_t before = edit.count();
        step();
        if (edit.count() != before) done.emplace_back(sentence);
    }

    void put(const MP4::UUID& box, const char* sentence) {
        noting(sentence, [&] { (void)edit.putTopLevel(box, Present::replace); });
    }

    void setPosition() {
        const GPSInfo info = infoOf(*changes.position);
        noting("position set", [&] {
            (void)edit.putUserData(MP4::XYZ::code, MP4::xyzBox(info), Present::replace);
            (void)edit.putUserData(MP4::LOCI::code, MP4::lociBox(info), Present::replace);
            const MP4::BOX* own = movie.first(MP4::path::position);
            if (own == nullptr) return;
            const std::string box = MP4::boxOf(own->type, cameraText(info));
            (void)edit.putUserData(own->type, box, Present::replace);
        });
    }

    void setNote() {
        const MP4::BOX* note = movie.first(MP4::path::makerNote);
        if (note == nullptr) throw WEKU::Failure("the movie has no maker note");
        std::string payload = movie.payload(*note);
        if (payload.size() + 8 != note->size()) throw WEKU::Failure("the maker note is cut off");
        setMakerNote(payload, 0, changes);
        noting("maker note set", [&] {
            (void)edit.putUserData(note->type, MP4::boxOf(note->type, payload), Present::replace);
        });
    }

    void setTime() {
        time = static_cast<std::uint64_t>(*changes.created + from1904);
        bool differs = false;
        const auto look = [&](MP4::BOX& box) {
            const auto& header = static_cast<const MP4::TimedBox&>(box);
            if (header.version != 1 && time > UINT32_MAX) {
                throw WEKU::Failure("its headers hold times up to 2040 only");
            }
            // Of a media header of version 1 the tree knows the time of the last change instead.
            const bool unknown = box.type == MP4::MDHD::code && header.version == 1;
            differs = differs || (!unknown && header.timeStamp != time);
            return true;
        };
        movie.find("moov.mvhd", look);
        movie.find("moov.trak.tkhd", look);
        movie.find("moov.trak.mdia.mdhd", look);
        if (!differs) return;
        done.emplace_back("creation time set");
        edit.addFix([moment = time](MP4::Container& copy, MP4::BinFile& file) {
            bool all = true;
            const auto set = [&](MP4::BOX& box) {
                const auto& header = static_cast<const MP4::TimedBox&>(box);
                all = all && header.timeStampFits(file.fileLength()) &&
                      header.setTimeStamp(file, moment);
                return true;
            };
            copy.find("moov.mvhd", set);
            copy.find("moov.trak.tkhd", set);
            copy.find("moov.trak.mdia.mdhd", set);
            return all;
        });
    }

    MP4::Container& movie;
    const Changes& changes;
    MetadataEdit edit;
    bool boxesChange = false;
    std::uint64_t time = 0;
};

Result<Done> changeMovie(std::string_view path, const Changes& changes, const Reasons& reasons) {
    MP4::Container movie;
    if (auto error = attachMovie(movie, path)) return *error;
    try {
        MovieChange change(movie, changes);
        if (!change.apply()) return reasons.error(path);
        return change.done;
    } catch (WEKU::Failure message) {
        return refused(message);
    }
}

Result<Done> setFlag(std::string_view path, const Reasons& reasons) {
    MP4::Container movie;
    if (auto error = attachMovie(movie, path)) return *error;
    const WEKU::FileStamp before = WEKU::FileIO::stampOf(movie.path);
    if (!movie.appendFullRangeAndConstrainedSet1Flag(true)) return reasons.error(path);
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
        return changeMovie(path, changes, reasons);
    });
}

Result<Done> startFast(std::string_view path) {
    return quietly<Done>([&](const Reasons& reasons) -> Result<Done> {
        MP4::Container movie;
        if (auto error = attachMovie(movie, path)) return *error;
        if (movie.startsFast()) return Done();
        if (!movie.moovFirst()) return reasons.error(path);
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
