#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/kit/Fuzzing.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/Container.h"
#include "mp4/SampleTableBoxes.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"

namespace {

using MP4::BOX;
using MP4::Container;

void collect(MP4::NestedBox& parent, std::vector<BOX*>& boxes) {
    for (const auto& child : parent.children) {
        boxes.push_back(child.get());
        if (auto* nested = dynamic_cast<MP4::NestedBox*>(child.get())) collect(*nested, boxes);
    }
}

/// The file under edit, its tree, and what a player would find through the chunk offsets.
struct Movie {
    explicit Movie(const std::wstring& path) : path(path) { read(); }

    void read() {
        fuzz::require(tree.attach(path, Container::wholeFile), "the file opens");
        bytes = kit::readFile(path);
        boxes.clear();
        collect(*tree.root, boxes);
        offsets.clear();
        tree.open([&](WEKU::FileIO& opened) {
            MP4::BinFile file(opened);
            for (const char* prefix :
                 {MP4::ChunkOffsets::movieTracks, MP4::ChunkOffsets::spatialTrack}) {
                MP4::ChunkOffsets::all(*tree.root, prefix, file,
                                       [&](std::uint64_t at, std::uint64_t) {
                                           offsets.push_back(at);
                                           return true;
                                       });
            }
        });
    }

    /// What stands at an offset: a few bytes of media data, up to the end of their box and not
    /// into `gone`; nothing for an offset that leads elsewhere.
    std::string sampleAt(std::uint64_t offset, const BOX* gone) const {
        if (gone != nullptr && offset >= gone->start && offset < gone->end()) return {};
        for (const auto& box : tree.root->children) {
            const std::uint64_t end = std::min<std::uint64_t>(box->end(), bytes.size());
            const std::uint64_t start = box->start + box->headerLength();
            if (box->type != MP4::fourCC("mdat") || offset < start || offset >= end) continue;
            return bytes.substr(offset, std::min<std::uint64_t>(end - offset, 16));
        }
        return {};
    }

    std::wstring path;
    Container tree;
    std::string bytes;
    std::vector<BOX*> boxes;
    std::vector<std::uint64_t> offsets;
};

/// A table of chunk offsets stands in the box, or a part of one.
bool touchesTable(const Movie& movie, const BOX& anchor) {
    return std::any_of(movie.boxes.begin(), movie.boxes.end(), [&](const BOX* box) {
        return dynamic_cast<const MP4::STCO*>(box) != nullptr && box->start < anchor.end() &&
               anchor.start < box->end();
    });
}

bool edit(Movie& movie, std::uint8_t operation, const BOX* anchor, std::uint8_t amount) {
    switch (operation) {
        case 0:
        case 1:
            // Whoever replaces a table wants other offsets.
            if (anchor == nullptr || (operation == 1 && touchesTable(movie, *anchor))) return false;
            return kit::insertInto(movie.tree, *anchor, operation == 1,
                                   kit::box("free", kit::zeros(amount)));
        case 2:
            return movie.tree.moovFirst();
        case 3:
            return movie.tree.appendXMP(std::string(amount, 'x'));
        case 4:
            return movie.tree.appendAxis(std::string(amount, 'a'));
        case 5:
            return movie.tree.updateTimeStamp(amount);
        default:
            return movie.tree.appendFullRangeAndConstrainedSet1Flag(amount % 2 == 1);
    }
}

}  // namespace

/// The rewrite engine: an edit that the first three bytes choose. Either the source is as it was,
/// or every chunk offset that led to media data leads to the same bytes.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const kit::TempFolder folder;
    fuzz::Input input(data, size);
    const std::uint8_t operation = input.take8() % 7;
    const std::uint8_t chosen = input.take8();
    const std::uint8_t amount = input.take8();
    const std::wstring path = folder.write("movie.mp4", input.rest());

    Movie before(path);
    Movie movie(path);
    const auto pick = movie.boxes.empty() ? 0 : chosen % movie.boxes.size();
    const bool done =
        edit(movie, operation, movie.boxes.empty() ? nullptr : movie.boxes[pick], amount);
    if (!done) {
        fuzz::require(kit::readFile(path) == before.bytes, "a failed edit changes nothing");
        return 0;
    }
    movie.read();
    const BOX* gone = operation == 1 ? before.boxes[pick] : nullptr;
    for (std::size_t i = 0; i < before.offsets.size(); ++i) {
        const std::string sample = before.sampleAt(before.offsets[i], gone);
        if (sample.empty()) continue;
        fuzz::require(i < movie.offsets.size(), "the tables stay");
        fuzz::require(movie.bytes.compare(movie.offsets[i], sample.size(), sample) == 0,
                      "a chunk offset leads to the same sample");
    }
    return 0;
}
