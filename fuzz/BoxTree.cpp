#include <algorithm>
#include <vector>

#include "fuzz/kit/Fuzzing.h"
#include "mp4/AVCC.h"
#include "probe/MovieView.h"
#include "probe/Sondex.h"

namespace {

struct Totals {
    std::uint64_t boxes = 0;
    std::int32_t deepest = 0;
    std::uint64_t payloadBytes = 0;
};

void countBoxes(const MP4::NestedBox& parent, Totals& totals) {
    totals.boxes += parent.children.size();
    for (const auto& child : parent.children) {
        totals.deepest = std::max(totals.deepest, child->depth);
        if (const auto* uuid = dynamic_cast<const MP4::UUID*>(child.get())) {
            totals.payloadBytes += uuid->payload.size();
        }
        if (const auto* nested = dynamic_cast<const MP4::NestedBox*>(child.get())) {
            countBoxes(*nested, totals);
        }
    }
}

/// What the demuxer reads is the file with some types renamed, however it is cut into reads.
void readThroughView(const MP4::Container& movie, const WEKU::FileIO& file, std::uint64_t piece) {
    const MovieView view(movie, file);
    std::vector<unsigned char> whole(view.length());
    fuzz::require(view.readAt(0, whole.data(), whole.size()) == whole.size(), "one read has all");
    std::vector<unsigned char> pieces(whole.size());
    for (std::uint64_t at = 0; at < pieces.size(); at += piece)
        view.readAt(at, pieces.data() + at, std::min<std::uint64_t>(piece, pieces.size() - at));
    fuzz::require(pieces == whole, "reads in pieces give the same bytes");
}

void lookEverywhere(const MP4::Container& movie) {
    Sondex probe;
    probe.readModel(movie);
    probe.readKMKN(movie);
    probe.readCodec(movie);
    probe.readSphericalXML(movie);
    probe.readXMP(movie);
    probe.detectGyroData(movie);
    probe.detectBitRate(movie);
    for (const char* path : {"moov.udta.\xA9xyz", "meta.hdlr", "moov.trak.mdia.minf.stbl.stsd.avc1",
                             "uuid.KATR.mdia.minf.stbl.stsd.sowt.SA3D", "moov.tr", "moov.", ""}) {
        movie.find(path, [](MP4::BOX&) { return true; });
    }
    movie.find("moov.trak.mdia.minf.stbl.stsd.avc1.avcC", [](MP4::BOX& box) {
        unsigned char profile = 0;
        bool set1 = false, fullRange = false;
        static_cast<MP4::AVCC&>(box).get_profile_idc_and_constrained_set1_flag(profile, set1,
                                                                               fullRange);
        return true;
    });
}

}  // namespace

/// The box tree of a movie: parse, print, look up. The first two bytes bound the parse.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint16_t bound = input.take16();
    const std::wstring& path = fuzz::memoryFile(input.rest());
    MP4::Container movie;
    if (!movie.attach(path, bound == 0 ? MP4::Container::wholeFile : bound)) return 0;

    Totals totals;
    countBoxes(*movie.root, totals);
    const std::uint64_t length = input.rest().size();
    fuzz::require(totals.boxes <= MP4::ParseBudget::forFile(length).boxes, "boxes are bounded");
    fuzz::require(totals.deepest <= MP4::deepestParent + 1, "depth is bounded");
    fuzz::require(totals.payloadBytes <= length, "payloads are bounded");

    movie.dump();
    lookEverywhere(movie);
    movie.open([&](WEKU::FileIO& file) { readThroughView(movie, file, 64 + bound % 61); });
    return 0;
}
