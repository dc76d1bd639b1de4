#include "sondex/Movie.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "builder/XmpPosition.h"
#include "mp4/GPSInfo.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/LocationBoxes.h"
#include "mp4/MetadataEdit.h"
#include "mp4/PlanRoads.h"
#include "sondex/inside/BoxPath.h"
#include "sondex/inside/Editing.h"
#include "sondex/inside/MakerNote.h"
#include "sondex/inside/Opening.h"
#include "support/Endian.h"
#include "support/Failure.h"
#include "support/WideText.h"

namespace sondex {

using namespace inside;

namespace {

using Present = MP4::MetadataEdit::Present;

/// From 1904-01-01 to 1970-01-01.
constexpr std::int64_t epochDistance = 2082844800;

/// Runs `visit` for each header of movie, tracks and media that has a creation time.
template <class Visit>
void eachHeader(const MP4::Container& movie, Visit visit) {
    for (const char* path : {"moov.mvhd", "moov.trak.tkhd", "moov.trak.mdia.mdhd"}) {
        movie.findEach<MP4::TimedBox>(path, [&](const MP4::TimedBox& header) {
            visit(header);
            return true;
        });
    }
}

/// Whether the bytes are whole boxes, one behind the other (ISO/IEC 14496-12).
bool areBoxes(std::string_view bytes) {
    while (!bytes.empty()) {
        if (bytes.size() < 8) return false;
        std::uint64_t size = WEKU::loadBig<std::uint32_t>(bytes.data());
        const bool large = size == 1;
        if (large && bytes.size() >= 16) size = WEKU::loadBig<std::uint64_t>(bytes.data() + 8);
        if (size < (large ? 16U : 8U) || size > bytes.size()) return false;
        bytes.remove_prefix(size);
    }
    return true;
}

MP4::Road roadOf(Road road) {
    switch (road) {
        case Road::inPlace:
            return MP4::Road::inPlace;
        case Road::movieRoom:
            return MP4::Road::movieRoom;
        case Road::rewrite:
            return MP4::Road::rewrite;
        default:
            return MP4::Road::cheapest;
    }
}

}  // namespace

class Movie::Inside {
  public:
    explicit Inside(const Options& options) : options(options) {}

    void note(const char* sentence);
    Status change(std::string_view path, std::string_view boxes,
                  const std::function<Status(MP4::BOX&, std::string)>& make);
    /// The packet in the file's own box; nothing when there is none.
    std::optional<std::string> packet() const;
    /// The packet that was given or the file's own, with the position that was given.
    void putPacket();
    Status save(Road road, std::string_view target);

    const Options options;
    MP4::Container movie;
    Done asked;
    /// The changes of boxes that a caller named, in the order in which they were asked for.
    std::vector<std::function<void(MP4::SplicePlan&)>> changes;
    /// Those of boxes that are known.
    std::optional<MP4::MetadataEdit> edit{std::in_place, movie};
    std::optional<std::uint64_t> creationTime;
    std::optional<GPSInfo> position;
    std::optional<std::string> xmp, makerNote;
    bool putsPacket = false;

  private:
    bool make(Road road, std::string& reason);
    void planTimes(MP4::SplicePlan& plan, std::uint64_t time) const;
    void forget();
};

void Movie::Inside::note(const char* sentence) {
    if (std::find(asked.begin(), asked.end(), sentence) == asked.end()) asked.push_back(sentence);
}

Status Movie::Inside::change(std::string_view path, std::string_view boxes,
                             const std::function<Status(MP4::BOX&, std::string)>& make) {
    if (!areBoxes(boxes)) return refused("the bytes are no whole boxes");
    MP4::BOX* box = boxAt(*movie.root, path);
    if (box == nullptr) return refused("there is no box " + std::string(path));
    Status status = make(*box, std::string(boxes));
    if (status) note("boxes changed");
    return status;
}

std::optional<std::string> Movie::Inside::packet() const {
    std::optional<std::string> found;
    movie.findEach<MP4::UUID>("uuid", [&](const MP4::UUID& box) {
        if (box.is(MP4::xmpType)) found = movie.payload(box).substr(box.uuid.size());
        return !found;
    });
    return found;
}

void Movie::Inside::putPacket() {
    const std::optional<std::string> now = packet();
    std::string wanted = xmp ? *xmp : now.value_or("");
    if (position) wanted = withPosition(std::move(wanted), *position);
    // One that is asked for again as it stands takes back what was asked for before.
    putsPacket = putsPacket || xmp || (now && wanted != *now);
    if (putsPacket) {
        (void)edit->putTopLevel(MP4::XMP(wanted), Present::replace);
    }
}

void Movie::Inside::planTimes(MP4::SplicePlan& plan, std::uint64_t time) const {
    eachHeader(movie, [&](const MP4::TimedBox& header) {
        const std::uint64_t at = header.start + header.headerLength() + 4;
        std::string field(header.version == 1 ? 8 : 4, '\0');
        if (header.version == 1) {
            WEKU::storeBig<std::uint64_t>(field.data(), time);
        } else {
            WEKU::storeBig<std::uint32_t>(field.data(), static_cast<std::uint32_t>(time));
        }
        plan.replace(header, at, field.size(), field);
    });
}

void Movie::Inside::forget() {
    asked.clear();
    changes.clear();
    edit.emplace(movie);
    creationTime.reset();
    position.reset();
    xmp.reset();
    makerNote.reset();
    putsPacket = false;
}

bool Movie::Inside::make(Road road, std::string& reason) {
    const bool timesAlone = creationTime && changes.empty() && edit->isEmpty();
    if (timesAlone && road == Road::cheapest) {
        const bool done = movie.updateTimeStamp(*creationTime);
        return movie.attach(std::wstring(movie.path), MP4::Container::wholeFile) && done;
    }
    MP4::SplicePlan plan;
    for (const auto& add : changes)
        add(plan);
    edit->addTo(plan);
    if (creationTime) planTimes(plan, *creationTime);
    return MP4::carryOut(movie, L"Movie::save", plan, roadOf(road), reason);
}

Status Movie::Inside::save(Road road, std::string_view target) {
    Reasons reasons(options);
    std::string reason;
    bool done = false;
    try {
        movie.outputPath = WEKU::wchar::widen(target);
        done = make(road, reason);
        movie.outputPath.clear();
    } catch (const std::bad_alloc&) {
        movie.outputPath.clear();
        return Error{ErrorCode::outOfMemory, "not enough memory"};
    }
    reasons.lines.finish();
    // The boxes that the changes name are gone with the tree of before.
    forget();
    movie.keepFirstMovie();
    if (done) return {};
    return reason.empty() ? reasons.error(movie) : refused(reason);
}

Movie::Movie(std::unique_ptr<Inside> given) : inside(std::move(given)) {}
Movie::Movie(Movie&&) noexcept = default;
Movie& Movie::operator=(Movie&&) noexcept = default;
Movie::~Movie() = default;

Result<Movie> Movie::open(std::string_view path, const Options& options) {
    auto opened = std::make_unique<Inside>(options);
    Lines lines(options);
    try {
        if (auto error = attachMovie(opened->movie, path)) return std::move(*error);
    } catch (const std::bad_alloc&) {
        return Error{ErrorCode::outOfMemory, "not enough memory"};
    }
    lines.finish();
    return Movie(std::move(opened));
}

Status Movie::insertBehind(std::string_view boxPath, std::string_view boxes) {
    return inside->change(boxPath, boxes, [&](MP4::BOX& box, std::string bytes) -> Status {
        if (box.parent == nullptr) return refused("nothing stands behind the file");
        inside->changes.push_back([&box, bytes = std::move(bytes)](MP4::SplicePlan& plan) {
            plan.insertBehind(box, bytes);
        });
        return {};
    });
}

Status Movie::insertFirst(std::string_view parentPath, std::string_view boxes) {
    return inside->change(parentPath, boxes, [&](MP4::BOX& box, std::string bytes) -> Status {
        auto* parent = dynamic_cast<MP4::NestedBox*>(&box);
        if (parent == nullptr || (box.depth >= 0 && !box.hasChild())) {
            return refused("no boxes are known to stand in " + std::string(parentPath));
        }
        inside->changes.push_back([parent, bytes = std::move(bytes)](MP4::SplicePlan& plan) {
            plan.insertFirst(*parent, bytes);
        });
        return {};
    });
}

Status Movie::replace(std::string_view boxPath, std::string_view boxes) {
    return inside->change(boxPath, boxes, [&](MP4::BOX& box, std::string bytes) -> Status {
        if (box.parent == nullptr) return refused("the file itself is no box");
        if (&box == inside->movie.moov && bytes.empty()) return refused("a movie needs its box");
        inside->changes.push_back(
            [&box, bytes = std::move(bytes)](MP4::SplicePlan& plan) { plan.replace(box, bytes); });
        return {};
    });
}

Status Movie::remove(std::string_view boxPath) {
    return replace(boxPath, {});
}

Status Movie::setCreationTime(std::int64_t unixSeconds) {
    if (unixSeconds < -epochDistance) return refused("no time ahead of 1904 can be stored");
    const auto time = static_cast<std::uint64_t>(unixSeconds) + epochDistance;
    bool fits = true, differs = false;
    eachHeader(inside->movie, [&](const MP4::TimedBox& header) {
        fits = fits && (time <= UINT32_MAX || header.version == 1);
        // Of a media header of version 1 the tree knows the time of the last change instead.
        const bool unknown = header.type == MP4::MDHD::code && header.version == 1;
        differs = differs || (!unknown && header.timeStamp != time);
    });
    if (!fits) return refused("its headers hold no time behind February 2040");
    if (differs) inside->note("creation time set");
    if (differs || inside->creationTime) inside->creationTime = time;
    return {};
}

Status Movie::setPosition(const Position& position) {
    const auto within = [](double degrees, double most) {
        return std::isfinite(degrees) && std::abs(degrees) <= most;
    };
    if (!within(position.latitude, 90) || !within(position.longitude, 180) ||
        (position.altitude && !within(*position.altitude, 32767))) {
        return refused("no place on earth");
    }
    GPSInfo where;
    where.latitude = {true, position.latitude};
    where.longitude = {true, position.longitude};
    if (position.altitude) where.altitude = {true, *position.altitude};
    const std::size_t before = inside->edit->count();
    inside->position = where;
    (void)inside->edit->putPosition(where);
    inside->putPacket();
    if (inside->edit->count() != before) inside->note("position set");
    return {};
}

Status Movie::setXmp(std::string_view xmp) {
    const MP4::XMP box{std::string(xmp)};
    if (!box.sizeFits(box.size())) return refused("the XMP packet is too long for a box");
    if (inside->packet() != xmp) inside->note("XMP set");
    inside->xmp = xmp;
    inside->putPacket();
    return {};
}

Status Movie::setAxis(std::string_view stream) {
    const MP4::AXIS box{std::string(stream)};
    if (!box.sizeFits(box.size())) return refused("the tilt stream is too long for a box");
    const std::size_t before = inside->edit->count();
    (void)inside->edit->putTopLevel(box, Present::replace);
    if (inside->edit->count() != before) inside->note("tilt stream set");
    return {};
}

Status Movie::appendXmp(std::string_view xmp) {
    return inside->packet() ? refused("it has an XMP packet already") : setXmp(xmp);
}

Status Movie::appendAxis(std::string_view stream) {
    bool stands = false;
    inside->movie.findEach<MP4::UUID>("uuid", [&](const MP4::UUID& box) {
        stands = stands || box.is(MP4::AXIS::_UUID);
        return !stands;
    });
    return stands ? refused("it has a tilt stream already") : setAxis(stream);
}

Status Movie::setMakerNote(const MakerNoteSettings& settings) {
    const MP4::BOX* note = inside->movie.first(MP4::path::makerNote);
    if (note == nullptr) return refused("the movie has no maker note");
    const std::string now = inside->movie.payload(*note);
    std::string wanted = inside->makerNote.value_or(now);
    try {
        inside::setMakerNote(wanted, 0, settings);
    } catch (WEKU::Failure message) {
        return refused(message);
    }
    if (wanted != now) inside->note("maker note set");
    (void)inside->edit->putUserData(note->type, MP4::boxOf(note->type, wanted), Present::replace);
    inside->makerNote = std::move(wanted);
    return {};
}

const Done& Movie::changes() const {
    return inside->asked;
}

Status Movie::save(Road road) {
    return changes().empty() ? Status() : inside->save(road, {});
}

Status Movie::saveTo(std::string_view path) {
    if (path.empty() || path.find('\0') != std::string_view::npos ||
        path.size() >= WEKU::wchar::maxNarrow) {
        return Error{ErrorCode::notFound, "no name for a file"};
    }
    return inside->save(Road::rewrite, path);
}

}  // namespace sondex
