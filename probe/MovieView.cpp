#include "probe/MovieView.h"

#include <algorithm>
#include <string_view>

#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"

namespace {

constexpr std::uint64_t typeOffset = 4;
constexpr std::uint64_t typeLength = 4;
constexpr unsigned char shownType[typeLength] = {'f', 'r', 'e', 'e'};

bool isUserData(MP4::FourCC type) {
    return type == MP4::UDTA::code || type == MP4::UUID::code || type == MP4::META::code;
}

/// The box's only child of the type, or null.
const MP4::BOX* onlyChild(const MP4::NestedBox& parent, MP4::FourCC type) {
    const MP4::BOX* found = nullptr;
    for (const auto& child : parent.children) {
        if (child->type != type) continue;
        if (found != nullptr) return nullptr;
        found = child.get();
    }
    return found;
}

class HiddenTypes {
  public:
    HiddenTypes(const MP4::Container& movie, const WEKU::FileIO& file)
        : file(file), isFragmented(movie.first("moof") != nullptr) {
        movie.find("moov.trak", [&](MP4::BOX&) { return ++tracks < 2; });
    }

    void collect(const MP4::NestedBox& parent) {
        for (const auto& child : parent.children) {
            const auto* nested = dynamic_cast<const MP4::NestedBox*>(child.get());
            const bool isTrack = child->type == MP4::TRAK::code && nested != nullptr;
            if (isUserData(child->type) || (isTrack && isNoHelp(*nested))) {
                offsets.push_back(child->start + typeOffset);
            } else if (nested != nullptr) {
                collect(*nested);
            }
        }
    }

    std::vector<std::uint64_t> offsets;

  private:
    bool isNoHelp(const MP4::NestedBox& track) const {
        // For a track without a number libav searches a second per fragment, in vain.
        if (isFragmented) return track.first("tkhd") == nullptr;
        // The index of an hour's sound takes it longer than all that is looked for.
        return tracks > 1 && isSound(track);
    }

    bool isSound(const MP4::NestedBox& track) const {
        constexpr std::uint64_t handlerOffset = 16;
        constexpr std::string_view sound = "soun";
        const auto* media = dynamic_cast<const MP4::NestedBox*>(onlyChild(track, MP4::MDIA::code));
        const MP4::BOX* handler = media != nullptr ? onlyChild(*media, MP4::HDLR::code) : nullptr;
        unsigned char type[sound.size()];
        return handler != nullptr && handler->size() >= handlerOffset + sizeof type &&
               file.readAt(handler->start + handlerOffset, type, sizeof type) == sizeof type &&
               std::equal(sound.begin(), sound.end(), type);
    }

    const WEKU::FileIO& file;
    const bool isFragmented;
    unsigned tracks = 0;
};

}  // namespace

MovieView::MovieView(const MP4::Container& movie, const WEKU::FileIO& file)
    : file(file), fileLength(file.length()) {
    if (movie.root) {
        HiddenTypes types(movie, file);
        types.collect(*movie.root);
        hiddenTypes = std::move(types.offsets);
    }
    // Boxes that overlap are listed out of order and more than once, tens of thousands of times in
    // a hostile file, which every read of the place would have to go through.
    std::sort(hiddenTypes.begin(), hiddenTypes.end());
    hiddenTypes.erase(std::unique(hiddenTypes.begin(), hiddenTypes.end()), hiddenTypes.end());
}

std::uint64_t MovieView::readAt(std::uint64_t offset, unsigned char* bytes,
                                std::uint64_t count) const {
    const std::uint64_t got = file.readAt(offset, bytes, count);
    const std::uint64_t firstTouching = offset < typeLength ? 0 : offset - typeLength + 1;
    auto type = std::lower_bound(hiddenTypes.begin(), hiddenTypes.end(), firstTouching);
    for (; type != hiddenTypes.end() && *type < offset + got; ++type) {
        for (std::uint64_t i = 0; i < typeLength; ++i) {
            const std::uint64_t at = *type + i;
            if (at >= offset && at - offset < got) bytes[at - offset] = shownType[i];
        }
    }
    return got;
}
