#include <gtest/gtest.h>

#include "mp4/AbsoluteOffsets.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "tests/kit/Movies.h"

using namespace kit;

namespace {

/// The dump of a movie's boxes, with "MP4: " left out of every line.
std::string dumpOf(const std::string& bytes) {
    const OpenedMovie opened(bytes);
    std::string text = captureOutput([&] { opened.movie.dump(); });
    for (std::size_t at = 0; (at = text.find("MP4: ", at)) != std::string::npos;)
        text.erase(at, 5);
    const std::string root = "== 'root': start=0 bytes=" + std::to_string(bytes.size()) + " ==\n";
    EXPECT_TRUE(text.starts_with(root)) << text;
    return text.substr(root.size());
}

std::string locations(std::size_t announced, const std::string& text) {
    return box("\xA9xyz", u16(announced) + u16(0x15C7) + text);
}

const std::string tables = "moovtrakmdiaminfstbl";

}  // namespace

TEST(BoxTree, SizesOfEveryForm) {
    const std::string skip = box("skip"), first = "<'free': start=0 bytes=8 >\n";
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {largeBox("mdat", "abcd") + skip, "<'mdat': start=0 bytes=20 >\n<'skip': start=20 bytes=8 >\n"},
        // Size 0 reaches to the end of the file.
        {boxClaiming(0, "mdat", skip), "<'mdat': start=0 bytes=16 >\n"},
        {box("moov", boxClaiming(0, "udta")) + skip,
         "<'moov': start=0 bytes=16 children=1 >\n    <'udta': start=8 bytes=16 children=1 >\n        <'skip': start=16 bytes=8 >\n<'skip': start=16 bytes=8 >\n"},
        // Below the header's length: the end of the sequence, without a line.
        {boxClaiming(7, "free") + skip, ""},
        {largeBoxClaiming(15, "free") + skip, ""},
        // More than the file, and more than an offset can be: listed as claimed, then the end.
        {boxClaiming(0xFFFFFFF0, "free") + skip, "<'free': start=0 bytes=4294967280 >\n"},
        {box("free") + largeBoxClaiming(UINT64_MAX, "free") + skip, first + "<'free': start=8 bytes=18446744073709551615 >\n"},
        {box("free") + box(zeros(4)) + skip, first},
        // A code with a zero byte is shown up to it.
        {box(std::string_view("ab\0c", 4)), "<'ab': start=0 bytes=8 >\n"},
        {box("a\nbc"), "<'a bc': start=0 bytes=8 >\n"},
        {box("\xE2\x80\xA8z"), "<' z': start=0 bytes=8 >\n"},
    };
    // clang-format on
    for (const auto& [bytes, lines] : cases)
        EXPECT_EQ(dumpOf(bytes), lines);
}

TEST(BoxTree, FindReachesEveryMatchAndStopsOneLevel) {
    const std::string twoHeaders = tkhd(1, 1) + tkhd(0, 0);
    const OpenedMovie opened(
        box("moov", box("trak", twoHeaders) + box("trak", twoHeaders) + box("trak", tkhd(0, 9))) +
        box("moov", box("udta", box("\xA9xyz", zeros(8)))) + box("mdat"));
    const auto count = [&](const char* path, bool onward) {
        int n = 0;
        opened.movie.find(path, [&](MP4::BOX&) { return ++n, onward; });
        return n;
    };
    EXPECT_EQ(count("moov.trak.tkhd", true), 5);
    EXPECT_EQ(count("moov.trak.tkhd", false), 3);
    EXPECT_EQ(count("moov.udta.\xA9xyz", true), 1);
    for (const char* path : {"moov.trak.tkhd.tkhd", "moov/trak", "moo", "moovs", "", "moov."})
        EXPECT_EQ(count(path, true), 0) << path;
    EXPECT_EQ(opened.movie.first("moov.trak.tkhd")->start, 16U);
    EXPECT_EQ(opened.movie.moov->start, 0U);
    EXPECT_EQ(opened.movie.videoTrack->start, 8U + 8 + 2 * 92);
}

TEST(BoxTree, EndsAtADepthAndCopiesVisitors) {
    // Each box whole in its parent, and more of them than a stack has room for.
    constexpr std::size_t pairs = 65536;
    const std::string head = uuidBox(MP4::spatialDataType);
    std::string chain(pairs * (head.size() + 8) + 8, '\0');
    for (std::size_t at = 0, i = 0; i < pairs; ++i) {
        const auto left = [&] { return u32(chain.size() - at); };
        chain.replace(at, head.size(), head).replace(at, 4, left());
        at += head.size();
        chain.replace(at, 8, left() + "KATR");
        at += 8;
    }
    const OpenedMovie deep(box("moov", box("trak", chain)));
    const MP4::NestedBox* parent = deep.movie.root.get();
    while (!parent->children.empty())
        parent = static_cast<MP4::NestedBox*>(parent->children[0].get());
    EXPECT_EQ(parent->depth, MP4::deepestParent);
    deep.movie.open([](WEKU::FileIO& file) {
        MP4::BinFile reader(file);
        EXPECT_NE(MP4::AbsoluteOffsets::inTheWay(reader, false), 0U);
    });

    const OpenedMovie opened(
        box("moov", box("trak", tkhd(1, 1) + tkhd(1, 1)) + box("trak", tkhd(1, 1) + tkhd(1, 1))));
    std::vector<int> counts;
    opened.movie.find("moov.trak.tkhd", [&, n = 0](MP4::BOX&) mutable {
        counts.push_back(++n);
        return true;
    });
    EXPECT_EQ(counts, (std::vector<int>{1, 2, 1, 2}));
}

TEST(LeafBox, PrintsItsFields) {
    const struct {
        std::string parents, bytes, line;
    } rows[] = {
        // clang-format off
        {"moov", mvhd(600, 900, 77), "bytes=108 timeStamp=77 >"},
        // Signed 16.16, truncated toward zero; the long form's fields lie 12 bytes further on.
        {"moovtrak", fullBox("tkhd", 1, u64(9) + zeros(24 + 52) + u32(0xFFFE8000) + u32(0x00018000)), "bytes=104 timeStamp=9 width=4294967295 height=1 >"},
        {"moovtrakmdia", fullBox("mdhd", 0, u32(1) + u32(2) + u32(3) + u32(4)), "bytes=28 timeStamp=1 duration=4.000000 time_scale=3.000000 >"},
        // Version 1 keeps the modification time.
        {"moovtrakmdia", fullBox("mdhd", 1, u64(1) + u64(2) + u32(3) + u64(4)), "bytes=40 timeStamp=2 duration=4.000000 time_scale=3.000000 >"},
        // A name that does not fit is not read; its announced length stays.
        {"meta", boxClaiming(132, "hdlr", zeros(8) + "soun"), "bytes=132 handler= name=(100) >"},
        {"meta", boxClaiming(132, "hdlr", zeros(8) + "soun" + zeros(12) + "abc"), "bytes=132 handler=soun name=(100) >"},
        // What would end the line is blank.
        {"meta", box("hdlr", zeros(8) + "s\nun" + zeros(12) + "a\rb"), "bytes=35 handler=s un name=a b(3) >"},
        {"moovudta", locations(3, "+\n1"), "bytes=15 xyz=+ 1 15c7 >"},
        {tables, fullBox("stsz", 0, u32(0) + u32(2) + u32(0xFFFFFFFF) + u32(2)), "bytes=28 sampleSize=0 sample_count=2 sample_total=4294967297 >"},
        {tables, fullBox("stsz", 0, u32(1) + u32(7)), "bytes=20 sampleSize=1 sample_count=7 sample_total=7 >"},
        // One size for all: the product wraps at 32 bits.
        {tables, fullBox("stsz", 0, u32(100000) + u32(50000)), "bytes=20 sampleSize=100000 sample_count=50000 sample_total=705032704 >"},
        {"moovudta", locations(2, "+1"), "bytes=14 xyz=+1 15c7 >"},
        {"moovudta", box("loci", zeros(8) + u32(0xFFFF8000) + u32(0x00018000)), "bytes=24 loci=-0.500000 1.500000 0.000000 >"},
        {"moovtrak", uuidBox(MP4::sphericalVideoType, "text"), "bytes=28 uuid=FFCC8263-F855-4A93-8814-587A02521FDD >"},
        // What a box holds depends on where it stands, and whether the result needs it.
        {"", fullBox("meta", 0, box("leaf")), "bytes=8 >"},
        {"moovudta", fullBox("meta", 0, box("leaf")), "bytes=20 >"},
        {tables, fullBox("stsd", 0, u32(1) + visualEntry("avc1", 2, 1, box("leaf"))), "bytes=8 >"},
        // Too short for its fields, it has none.
        {tables, fullBox("stsd", 0, u32(1) + box("avc1", box("leaf"))), "bytes=8 >"},
        {tables, fullBox("stsd", 0, u32(1) + visualEntry("hvc1", 2, 1, box("leaf"))), "bytes=94 >"},
        {tables, fullBox("stsd", 0, u32(1) + box("sowt", zeros(24) + u32(0xBB800102))), "bytes=36 data_reference_index=0 channel_count=0 sample_size=0 pre_defined=0 samplelate=102>"},
        // clang-format on
    };
    for (const auto& [parents, bytes, line] : rows) {
        std::string movie = bytes;
        for (std::string path = parents; !path.empty(); path.resize(path.size() - 4)) {
            const std::string code = path.substr(path.size() - 4);
            movie = code == "meta" ? fullBox(code, 0, movie) : box(code, movie);
        }
        const std::string text = dumpOf(movie);
        EXPECT_EQ(text.substr(text.rfind("bytes=")), line + "\n");
    }
}

TEST(LeafBox, KeepsWhatItDoesNotPrint) {
    const OpenedMovie opened(
        box("moov",
            fullBox("mvhd", 1, u64(1) + u64(2) + u32(10) + u64(1ULL << 33)) +
                box("udta", locations(700, std::string(700, 'x'))) +
                // Announced rows beyond the file are kept up to a bound.
                trackOf(tkhd(1, 1), {}, fullBox("stsz", 0, u32(0) + u32(0xFFFFFFFF) + u32(7)))) +
        // With a 64-bit size the identifier stands 8 bytes further on.
        largeBox("uuid", std::string(MP4::xmpType.begin(), MP4::xmpType.end()) + "text"));
    const MP4::Container& movie = opened.movie;
    EXPECT_FLOAT_EQ(movie.first<MP4::MVHD>("moov.mvhd")->duration, 858993459.2F);
    EXPECT_EQ(movie.first<MP4::XYZ>("moov.udta.\xA9xyz")->text.size(), 512U);
    const auto* sizes = movie.first<MP4::STSZ>("moov.trak.mdia.minf.stbl.stsz");
    EXPECT_EQ(sizes->sampleSizes.size(), 1 + MP4::mostRowsBeyondFile);
    EXPECT_EQ(movie.first<MP4::UUID>("uuid")->payload, "text");
}
