#include "builder/Carry.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "builder/Refusal.h"
#include "builder/SensorCut.h"
#include "builder/SpatialAudio.h"
#include "builder/TiltCut.h"
#include "mp4/LocationBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "support/Truncate.h"

namespace {

struct UserDataBox {
    const char* code;
    const char* name;
    bool isPosition = false;
};
constexpr UserDataBox userDataBoxes[] = {
    {"@mod", "model"},
    {"KMKN", "maker note"},
    {"@xyz", "position", true},
    {"\xA9xyz", "location text", true},
    {"loci", "location information", true},
};
constexpr char unread[] = "the source could not be read in full";
constexpr const char* sensorBoxes[] = {"KDTB", "KDTC", "KDTD", "KDTG"};

std::vector<VideoSamples> open(const std::vector<std::unique_ptr<MP4::Container>>& movies) {
    std::vector<VideoSamples> opened;
    for (std::size_t i = 0; i < movies.size(); ++i) {
        if (!movies[i]->isWhole()) throw Refusal{unread};
        opened.emplace_back(*movies[i],
                            movies.size() == 1 ? "the source" : "source " + std::to_string(i + 1));
    }
    return opened;
}

const MP4::UUID* uuidOf(const MP4::Container& movie, const MP4::UserType& type) {
    const MP4::UUID* found = nullptr;
    movie.findEach<MP4::UUID>("uuid", [&](const MP4::UUID& uuid) {
        if (found == nullptr && uuid.is(type)) found = &uuid;
        return found == nullptr;
    });
    return found;
}

std::uint64_t nanoseconds(double seconds) {
    return WEKU::truncateToUint64(seconds * 1e9 + 0.5);
}

/// The nanoseconds from the first frame to each.
std::vector<std::uint64_t> frameClock(const VideoSamples& video) {
    std::vector<std::uint64_t> times;
    const double first = video.secondsOf(video.shown.front());
    for (const std::uint32_t sample : video.shown)
        times.push_back(nanoseconds(video.secondsOf(sample) - first));
    return times;
}

}  // namespace

Carry::Carry(const std::vector<std::unique_ptr<MP4::Container>>& sources, MP4::Container& target,
             const Options& options)
    : sources(sources),
      target(target),
      options(options),
      present(options.replace ? Present::replace : Present::keep),
      videos(open(sources)),
      cut(target, "the target"),
      map(FrameMap::of(videos, cut, options.from, options.to)),
      edit(target) {
    carryUserData();
    carryMotion();
    carryUuids();
    carryTilt();
    carrySpatialAudio();
    if (fates.empty()) throw Refusal{"the source has no metadata of the camera"};
}

void Carry::note(const std::string& name, bool done) {
    fates.push_back({name, done ? Fate::carried : Fate::present});
}

void Carry::leaveOut(const std::string& name, const std::string& why) {
    fates.push_back({name, Fate::notCarried, why});
}

void Carry::carryUserData() {
    for (const UserDataBox& each : userDataBoxes) {
        const MP4::FourCC type = MP4::fourCCAt(each.code);
        std::string boxes;
        bool whole = true;
        first().find((std::string("moov.udta.") + each.code).c_str(), [&](MP4::BOX& box) {
            std::string payload = first().payload(box);
            whole = whole && payload.size() + 8 == box.size();
            if (!whole && box.end() <= first().root->size()) throw Refusal{unread};
            if (type == MP4::fourCC("KMKN")) {
                Privacy::stripTiff(payload, Privacy::TiffIn::makerNoteBox, options.drop);
            }
            boxes += MP4::boxOf(type, payload);
            return true;
        });
        if (boxes.empty() || (each.isPosition && options.drop.gps)) continue;
        if (whole) {
            note(each.name, edit.putUserData(type, boxes, present));
        } else {
            leaveOut(each.name, "it is cut off");
        }
    }
}

void Carry::carryMotion() {
    const auto has = [](const MP4::Container& movie) {
        return std::any_of(std::begin(sensorBoxes), std::end(sensorBoxes), [&](const char* name) {
            return movie.first((std::string("moov.udta.") + name).c_str()) != nullptr;
        });
    };
    if (options.drop.motion || !has(first())) return;
    // One stream is read by another's clock: streams of two origins would contradict each other.
    if (present == Present::keep && has(target)) return note("motion", false);
    std::optional<SensorCut> all;
    for (const FrameMap::Part& part : map.parts) {
        const VideoSamples& video = videos[part.source];
        const SensorCut own(video.movie, part.frames, static_cast<std::uint32_t>(video.size()),
                            frameClock(video));
        if (all) {
            all->join(own, nanoseconds(part.at));
        } else {
            all = own;
        }
    }
    const std::vector<std::string> boxes = all->boxes();
    for (const std::string& why : all->leftOut)
        leaveOut("motion", why);
    for (const char* name : sensorBoxes) {
        target.find((std::string("moov.udta.") + name).c_str(), [&](MP4::BOX& old) {
            edit.remove(old);
            return true;
        });
    }
    for (const std::string& box : boxes) {
        edit.putUserData(MP4::fourCCAt(&box[4]), box, present);
        note("motion " + box.substr(4, 4), true);
    }
}

void Carry::carryUuids() {
    if (const MP4::UUID* spherical = MP4::sphericalVideoBox(first())) {
        note("spherical video", edit.putSphericalXml(spherical->payload, present));
    }
    if (const MP4::UUID* xmp = uuidOf(first(), MP4::xmpType)) {
        std::string packet = xmp->payload;
        Privacy::stripXmp(packet, options.drop);
        note("XMP", edit.putTopLevel(MP4::XMP(packet), present));
    }
}

void Carry::carryTilt() {
    if (options.drop.motion || uuidOf(first(), MP4::AXIS::_UUID) == nullptr) return;
    std::string all;
    for (const FrameMap::Part& part : map.parts) {
        const MP4::UUID* box = uuidOf(*sources[part.source], MP4::AXIS::_UUID);
        const std::string own =
            box == nullptr ? std::string()
                           : cutTilt(box->payload, part.frames,
                                     static_cast<std::uint32_t>(videos[part.source].size()));
        if (own.empty()) {
            return leaveOut("tilt", box == nullptr ? "not every source has it" : "it is damaged");
        }
        all = all.empty() ? own : joinTilt(all, own);
    }
    note("tilt", edit.putTopLevel(MP4::AXIS(all), present));
}

void Carry::carrySpatialAudio() {
    if (first().first("uuid.KATR") == nullptr) return;
    const auto* old = uuidOf(target, MP4::spatialDataType);
    if (old != nullptr && present == Present::keep) return note("spatial audio", false);
    // What the edit list hides of the pictures sounds ahead of the beginning as well.
    const double ahead = cut.secondsOf(cut.shown.front());
    std::optional<SpatialAudio> all;
    try {
        for (std::size_t i = 0; i < map.parts.size(); ++i) {
            const FrameMap::Part& part = map.parts[i];
            const double end = i + 1 < map.parts.size() ? map.parts[i + 1].at : cut.seconds();
            const double begin = i == 0 ? -ahead : std::max(part.at, -ahead);
            if (begin >= end) continue;
            std::optional<SpatialAudio> own = SpatialAudio::cut(
                videos[part.source].movie, part.from + begin - part.at, end - begin);
            if (!own) throw Refusal{"the source has none at that time"};
            if (all) {
                all->join(*own);
            } else {
                all = std::move(own);
            }
        }
        if (!all) throw Refusal{"the target shows nothing"};
        // Built once to see that it can be.
        (void)all->box(0, cut.table.movieTimeScale);
    } catch (const Refusal& refusal) {
        return leaveOut("spatial audio", refusal.reason);
    }
    if (old != nullptr) edit.remove(*old);
    const auto firstSample = std::make_shared<std::uint64_t>(0);
    const std::uint32_t timeScale = cut.table.movieTimeScale;
    edit.addTail(
        [all, firstSample](MP4::BinFile& file) { return all->writeMedia(file, *firstSample); },
        [all, firstSample, timeScale](MP4::BinFile& file) {
            return file.put(all->box(*firstSample, timeScale));
        });
    note("spatial audio", true);
}

bool Carry::apply() {
    // Nothing to do still means a copy, where one was asked for.
    return (edit.isEmpty() && target.outputPath.empty()) || edit.apply(L"carry");
}
