#include "probe/MovieView.h"

#include <algorithm>

#include "mp4/MetadataBoxes.h"

namespace {

constexpr std::uint64_t typeOffset = 4;
constexpr std::uint64_t typeLength = 4;
constexpr unsigned char shownType[typeLength] = {'f', 'r', 'e', 'e'};

bool isUserData(MP4::FourCC type) {
    return type == MP4::UDTA::code || type == MP4::UUID::code || type == MP4::META::code;
}

void collectHiddenTypes(const MP4::NestedBox& parent, bool isFragmented,
                        std::vector<std::uint64_t>& types) {
    for (const auto& child : parent.children) {
        const auto* nested = dynamic_cast<const MP4::NestedBox*>(child.get());
        // For a track without a number libav searches a second per fragment, in vain.
        const bool isNameless = isFragmented && child->type == MP4::TRAK::code &&
                                nested != nullptr && nested->first("tkhd") == nullptr;
        if (isUserData(child->type) || isNameless) {
            types.push_back(child->start + typeOffset);
        } else if (nested != nullptr) {
            collectHiddenTypes(*nested, isFragmented, types);
        }
    }
}

}  // namespace

MovieView::MovieView(const MP4::Container& movie, const WEKU::FileIO& file)
    : file(file), fileLength(file.length()) {
    if (movie.root) {
        collectHiddenTypes(*movie.root, movie.first("moof") != nullptr, hiddenTypes);
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
