#include <vector>

#include "h264/AvcFlagPatch.h"
#include "mp4/AVCC.h"
#include "mp4/SplicePlan.h"
#include "support/Console.h"
#include "support/Failure.h"
#include "support/WideText.h"

/// The flag patch: H.264 baseline records get constraint_set1_flag and a stated full-range flag.
namespace MP4 {
namespace {

/// A record that changes, with its new payload.
struct Change {
    const AVCC* box;
    std::string payload;

    std::int64_t growth() const {
        return static_cast<std::int64_t>(payload.size() - box->record.size());
    }
    void addTo(SplicePlan& plan) const {
        plan.replace(*box, box->start + box->headerLength(), box->record.size(), payload);
    }
};

/// Whether the spare box can give so many bytes and stay a box, or vanish. Bytes it is given
/// (a negative number) always find room.
bool canGive(const BOX& spare, std::int64_t bytes) {
    const std::uint64_t content = spare.size() - spare.headerLength();
    const auto wanted = static_cast<std::uint64_t>(bytes);
    return !spare.openEnded && (bytes <= 0 || wanted <= content || wanted == spare.size());
}

void addGift(SplicePlan& plan, const BOX& spare, std::int64_t bytes) {
    const std::uint64_t contentStart = spare.start + spare.headerLength();
    if (bytes < 0) {
        plan.replace(spare, contentStart, 0, std::string(static_cast<std::size_t>(-bytes), '\0'));
    } else if (static_cast<std::uint64_t>(bytes) == spare.size()) {
        plan.replace(*spare.parent, spare.start, spare.size(), {});
    } else {
        plan.replace(spare, contentStart, static_cast<std::uint64_t>(bytes), {});
    }
}

/// The spare box that stands right behind the record in its sample entry, or null.
const BOX* spareBehind(const AVCC& record) {
    for (const auto& box : static_cast<const NestedBox*>(record.parent)->children) {
        if (box->start == record.end() && box->isSpare()) return box.get();
    }
    return nullptr;
}

/// A spare box of the user data or of the movie box itself that can give the bytes, or null.
const BOX* spareInMovie(const Container& movie, std::int64_t bytes) {
    const BOX* found = nullptr;
    for (const char* path : {"moov.udta.free", "moov.udta.skip", "moov.free", "moov.skip"}) {
        movie.find(path, [&](BOX& box) {
            if (found == nullptr && canGive(box, bytes)) found = &box;
            return found == nullptr;
        });
    }
    return found;
}

/// The records that change. Throws a WEKU::Failure where one cannot be read.
std::vector<Change> changesOf(const Container& movie, bool fullRange) {
    std::vector<Change> changes;
    WEKU::Failure cut = nullptr;
    movie.find("moov.trak.mdia.minf.stbl.stsd.avc1.avcC", [&](BOX& box) {
        const auto& avcC = static_cast<const AVCC&>(box);
        if (avcC.record.size() != avcC.size() - avcC.headerLength()) cut = "the record is cut off";
        const ByteArray patched = H264::setConstraintSet1AndFullRange(avcC.bytes(), fullRange);
        std::string payload(reinterpret_cast<const char*>(patched.data()), patched.length());
        if (payload != avcC.record) changes.push_back({&avcC, std::move(payload)});
        return true;
    });
    if (cut != nullptr) throw cut;
    return changes;
}

/// The change with every record in the room that it and its spare neighbour have.
bool planInPlace(const std::vector<Change>& changes, SplicePlan& plan) {
    for (const Change& change : changes) {
        change.addTo(plan);
        if (change.growth() == 0) continue;
        const BOX* spare = spareBehind(*change.box);
        if (spare == nullptr || !canGive(*spare, change.growth())) return false;
        addGift(plan, *spare, change.growth());
    }
    return true;
}

}  // namespace

bool Container::appendFullRangeAndConstrainedSet1Flag(bool fullRange) {
    readAgainIfTouched();
    const auto* firstRecord = first<AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
    if (firstRecord == nullptr) return false;
    try {
        H264::AvcRecord record;
        record.parse(firstRecord->bytes());
        const H264::AvcFlags before = H264::flagsOfFirstSet(record);
        if (before.profile_idc != 66 && !before.constraint_set1_flag) {
            throw WEKU::Failure{"the first parameter set is not of the baseline profile"};
        }
        const std::vector<Change> changes = changesOf(*this, fullRange);
        WEKU::Console::out(
            L"Container::appendFullRangeAndConstrainedSet1Flag: %d - %d, constrained_set1_flag:  "
            L"%d - 1\n",
            before.video_full_range_flag ? 1 : 0, fullRange ? 1 : 0,
            before.constraint_set1_flag ? 1 : 0);
        // An output receives its movie even when nothing changes in it.
        if (changes.empty() && outputPath.empty()) return true;

        SplicePlan inPlace;
        if (planInPlace(changes, inPlace) && inPlace.finish(stamp.length)) {
            return modifyContainer(L"appendFullRangeAndConstrainedSet1Flag_EnoughSpaces",
                                   inPlace.edit());
        }
        SplicePlan rewrite;
        std::int64_t growth = 0;
        for (const Change& change : changes) {
            change.addTo(rewrite);
            growth += change.growth();
        }
        const wchar_t* name = L"appendFullRangeAndConstrainedSet1Flag_NoSpaces";
        if (const BOX* spare = spareInMovie(*this, growth)) {
            name = L"appendFullRangeAndConstrainedSet1Flag_ReuseUdta";
            addGift(rewrite, *spare, growth);
        }
        const auto nothing = [](Container&, BinFile&) { return true; };
        const bool sound = rewrite.finish(stamp.length);
        return modifyContainer(
            name,
            [&](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
                return sound && rewrite.copy()(src, dst, insertAt);
            },
            nothing, rewrite.fixOffsets());
    } catch (WEKU::Failure message) {
        WEKU::Console::warn("%s: %s", WEKU::wchar::narrow(path).c_str(), message);
        return false;
    }
}

}  // namespace MP4
