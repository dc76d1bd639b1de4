#include "sondex/Movie.h"

#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mp4/GPSInfo.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/LocationBoxes.h"
#include "mp4/PlanRoads.h"
#include "sondex/inside/BoxPath.h"
#include "sondex/inside/Opening.h"
#include "support/Endian.h"
#include "support/WideText.h"

namespace sondex {

using namespace inside;

namespace {

/// From 1904-01-01 to 1970-01-01.
constexpr std::int64_t epochDistance = 2082844800;

Error refusal(std::string why) {
    return {ErrorCode::refused, std::move(why)};
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

/// Keeps the last line for people, which is the reason of a failure.
class Reasons final : public WEKU::Console::Sink {
  public:
    explicit Reasons(const Options& options) : lines(options) {}
    void write(std::string_view bytes) override { lines.write(bytes); }
    void warn(std::string_view line) override {
        last = line;
        lines.warn(line);
    }

    Lines lines;
    std::string last;

  private:
    WEKU::Console::Redirect redirect{*this};
};

ErrorCode codeOf(MP4::Container::Failure::Kind kind) {
    using Failure = MP4::Container::Failure;
    switch (kind) {
        case Failure::busy:
            return ErrorCode::busy;
        case Failure::changed:
            return ErrorCode::changed;
        case Failure::unreadable:
            return ErrorCode::damaged;
        default:
            return ErrorCode::refused;
    }
}

}  // namespace

class Movie::Inside {
  public:
    explicit Inside(const Options& options) : options(options) {}

    Status change(std::string_view path, std::string_view boxes,
                  const std::function<Status(MP4::BOX&, std::string)>& make);
    Status append(const MP4::UUID& box, const char* name);
    Status save(Road road, std::string_view target);
    void forget();

    const Options options;
    MP4::Container movie;
    /// The changes of boxes, in the order in which they were asked for.
    std::vector<std::function<void(MP4::SplicePlan&)>> changes;
    std::optional<std::uint64_t> creationTime;
    std::optional<GPSInfo> position;

  private:
    void plan(MP4::SplicePlan& plan) const;
    void planTimes(MP4::SplicePlan& plan, std::uint64_t time) const;
    void planPosition(MP4::SplicePlan& plan, const GPSInfo& where) const;
};

Status Movie::Inside::change(std::string_view path, std::string_view boxes,
                             const std::function<Status(MP4::BOX&, std::string)>& make) {
    if (!areBoxes(boxes)) return refusal("the bytes are no whole boxes");
    MP4::BOX* box = boxAt(*movie.root, path);
    if (box == nullptr) return refusal("there is no box " + std::string(path));
    return make(*box, std::string(boxes));
}

Status Movie::Inside::append(const MP4::UUID& box, const char* name) {
    bool stands = false;
    movie.find("uuid", [&](MP4::BOX& found) {
        stands = stands || static_cast<MP4::UUID&>(found).is(box.uuid);
        return !stands;
    });
    if (stands) return refusal(std::string("it has ") + name + " already");
    if (!box.sizeFits(box.size())) return refusal(std::string(name) + " is too long for a box");
    ByteArray bytes;
    box.to_byteArray(bytes);
    changes.push_back(
        [this, text = std::string(reinterpret_cast<const char*>(bytes.data()), bytes.length())](
            MP4::SplicePlan& plan) { plan.insertBehind(*movie.root->children.back(), text); });
    return {};
}

void Movie::Inside::planTimes(MP4::SplicePlan& plan, std::uint64_t time) const {
    for (const char* path : {"moov.mvhd", "moov.trak.tkhd", "moov.trak.mdia.mdhd"}) {
        movie.find(path, [&](MP4::BOX& box) {
            const auto& header = static_cast<const MP4::TimedBox&>(box);
            const std::uint64_t at = header.start + header.headerLength() + 4;
            std::string field(header.version == 1 ? 8 : 4, '\0');
            if (header.version == 1) {
                WEKU::storeBig<std::uint64_t>(field.data(), time);
            } else {
                WEKU::storeBig<std::uint32_t>(field.data(), static_cast<std::uint32_t>(time));
            }
            plan.replace(header, at, field.size(), field);
            return true;
        });
    }
}

void Movie::Inside::planPosition(MP4::SplicePlan& plan, const GPSInfo& where) const {
    const std::string xyz = MP4::xyzBox(where);
    const auto* userData = movie.first<MP4::UDTA>("moov.udta");
    if (userData == nullptr) {
        const std::string made = MP4::boxOf(MP4::UDTA::code, xyz);
        const auto& moov = static_cast<const MP4::NestedBox&>(*movie.moov);
        if (moov.children.empty()) return plan.insertFirst(moov, made);
        return plan.insertBehind(*moov.children.back(), made);
    }
    bool placed = false;
    for (const auto& box : userData->children) {
        if (box->type == MP4::XYZ::code) {
            plan.replace(*box, placed ? std::string() : xyz);
            placed = true;
        } else if (box->type == MP4::LOCI::code) {
            plan.replace(*box, MP4::lociBox(where));
        }
    }
    if (!placed) plan.insertFirst(*userData, xyz);
}

void Movie::Inside::plan(MP4::SplicePlan& plan) const {
    for (const auto& make : changes)
        make(plan);
    if (creationTime) planTimes(plan, *creationTime);
    if (position) planPosition(plan, *position);
}

void Movie::Inside::forget() {
    changes.clear();
    creationTime.reset();
    position.reset();
}

Status Movie::Inside::save(Road road, std::string_view target) {
    Reasons reasons(options);
    std::string reason;
    bool done = false;
    try {
        MP4::SplicePlan all;
        plan(all);
        movie.outputPath = WEKU::wchar::widen(target);
        done = MP4::carryOut(movie, L"Movie::save", all, roadOf(road), reason);
        movie.outputPath.clear();
    } catch (const std::bad_alloc&) {
        movie.outputPath.clear();
        return Error{ErrorCode::outOfMemory, "not enough memory"};
    }
    reasons.lines.finish();
    // The boxes that the changes name are gone with the tree of before.
    forget();
    if (done) return {};
    const auto& failure = movie.lastFailure();
    if (!reason.empty()) return refusal(reason);
    if (failure.kind == MP4::Container::Failure::system) return systemError(failure.error);
    return Error{codeOf(failure.kind), reasons.last};
}

Movie::Movie(std::unique_ptr<Inside> given) : inside(std::move(given)) {}
Movie::Movie(Movie&&) noexcept = default;
Movie& Movie::operator=(Movie&&) noexcept = default;
Movie::~Movie() = default;

Result<Movie> Movie::open(std::string_view path, const Options& options) {
    auto opened = std::make_unique<Inside>(options);
    Lines lines(options);
    try {
        if (auto error = attach(opened->movie, path, MP4::Container::wholeFile)) {
            return std::move(*error);
        }
        if (opened->movie.moov == nullptr) return whyNoMovie(opened->movie);
    } catch (const std::bad_alloc&) {
        return Error{ErrorCode::outOfMemory, "not enough memory"};
    }
    lines.finish();
    return Movie(std::move(opened));
}

Status Movie::insertBehind(std::string_view boxPath, std::string_view boxes) {
    return inside->change(boxPath, boxes, [&](MP4::BOX& box, std::string bytes) -> Status {
        if (box.parent == nullptr) return refusal("nothing stands behind the file");
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
            return refusal("no boxes are known to stand in " + std::string(parentPath));
        }
        inside->changes.push_back([parent, bytes = std::move(bytes)](MP4::SplicePlan& plan) {
            plan.insertFirst(*parent, bytes);
        });
        return {};
    });
}

Status Movie::replace(std::string_view boxPath, std::string_view boxes) {
    return inside->change(boxPath, boxes, [&](MP4::BOX& box, std::string bytes) -> Status {
        if (box.parent == nullptr) return refusal("the file itself is no box");
        if (&box == inside->movie.moov && bytes.empty()) return refusal("a movie needs its box");
        inside->changes.push_back(
            [&box, bytes = std::move(bytes)](MP4::SplicePlan& plan) { plan.replace(box, bytes); });
        return {};
    });
}

Status Movie::remove(std::string_view boxPath) {
    return replace(boxPath, {});
}

Status Movie::setCreationTime(std::int64_t unixSeconds) {
    if (unixSeconds < -epochDistance) return refusal("no time ahead of 1904 can be stored");
    const auto time = static_cast<std::uint64_t>(unixSeconds) + epochDistance;
    bool fits = true;
    for (const char* path : {"moov.mvhd", "moov.trak.tkhd", "moov.trak.mdia.mdhd"}) {
        inside->movie.find(path, [&](MP4::BOX& box) {
            fits = fits && (time <= UINT32_MAX || static_cast<MP4::TimedBox&>(box).version == 1);
            return true;
        });
    }
    if (!fits) return refusal("its headers hold no time behind February 2040");
    inside->creationTime = time;
    return {};
}

Status Movie::setPosition(const Position& position) {
    const auto within = [](double degrees, double most) {
        return std::isfinite(degrees) && std::abs(degrees) <= most;
    };
    if (!within(position.latitude, 90) || !within(position.longitude, 180) ||
        (position.altitude && !within(*position.altitude, 32767))) {
        return refusal("no place on earth");
    }
    GPSInfo where;
    where.latitude = {true, position.latitude};
    where.longitude = {true, position.longitude};
    if (position.altitude) where.altitude = {true, *position.altitude};
    inside->position = where;
    return {};
}

Status Movie::appendXmp(std::string_view xmp) {
    return inside->append(MP4::XMP(std::string(xmp)), "an XMP packet");
}

Status Movie::appendAxis(std::string_view stream) {
    return inside->append(MP4::AXIS(std::string(stream)), "a tilt stream");
}

bool Movie::hasChanges() const {
    return !inside->changes.empty() || inside->creationTime || inside->position;
}

Status Movie::save(Road road) {
    return hasChanges() ? inside->save(road, {}) : Status();
}

Status Movie::saveTo(std::string_view path) {
    if (path.empty() || path.find('\0') != std::string_view::npos ||
        path.size() >= WEKU::wchar::maxNarrow) {
        return Error{ErrorCode::notFound, "no name for a file"};
    }
    return inside->save(Road::rewrite, path);
}

}  // namespace sondex
