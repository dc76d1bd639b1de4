#include <gtest/gtest.h>

#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/SensorBoxes.h"

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
const std::string twoPlaces = zeros(8) + u32(0xFFFF8000) + u32(0x00018000);

}  // namespace

TEST(BoxTree, SizesOfEveryForm) {
    const std::string skip = box("skip"), first = "<'free': start=0 bytes=8 >\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {largeBox("mdat", "abcd") + skip,
         "<'mdat': start=0 bytes=20 >\n<'skip': start=20 bytes=8 >\n"},
        // Size 0 reaches to the end of the file.
        {boxClaiming(0, "mdat", skip), "<'mdat': start=0 bytes=16 >\n"},
        // Below the header's length: the end of the sequence, without a line.
        {boxClaiming(7, "free") + skip, ""},
        {largeBoxClaiming(15, "free") + skip, ""},
        // More than the file, and more than an offset can be: listed as claimed, then the end.
        {boxClaiming(0xFFFFFFF0, "free") + skip, "<'free': start=0 bytes=4294967280 >\n"},
        {box("free") + largeBoxClaiming(UINT64_MAX, "free") + skip,
         first + "<'free': start=8 bytes=18446744073709551615 >\n"},
        {box("free") + box(zeros(4)) + skip, first},
        // A code with a zero byte is shown up to it.
        {box(std::string_view("ab\0c", 4)), "<'ab': start=0 bytes=8 >\n"},
    };
    for (const auto& [bytes, lines] : cases)
        EXPECT_EQ(dumpOf(bytes), lines);
}

TEST(BoxTree, DispatchFollowsTheParent) {
    const std::string leaf = box("leaf");
    const std::string hdlr = box("hdlr", zeros(8) + "vide" + zeros(12) + std::string("cam\0", 4));
    const std::string bytes =
        box("meta", u32(0) + hdlr) +
        box("moov", box("udta", box("meta", u32(0) + hdlr)) +
                        trackOf(tkhd(2, 1), box("hvc1", zeros(78) + leaf) +
                                                visualEntry("avc1", 2, 1, leaf) +
                                                box("sowt", zeros(28) + leaf)));
    EXPECT_EQ(dumpOf(bytes),
              "<'meta': start=0 bytes=48 children=1 >\n"
              "    <'hdlr': start=12 bytes=36 handler=vide name=cam(4) >\n"
              "<'moov': start=48 bytes=436 children=2 >\n"
              "    <'udta': start=56 bytes=56 children=1 >\n"
              "        <'meta': start=64 bytes=48 >\n"
              "    <'trak': start=112 bytes=372 children=2 >\n"
              "        <'tkhd': start=120 bytes=92 timeStamp=0 width=2 height=1 >\n"
              "        <'mdia': start=212 bytes=272 children=1 >\n"
              "            <'minf': start=220 bytes=264 children=1 >\n"
              "                <'stbl': start=228 bytes=256 children=1 >\n"
              "                    <'stsd': start=236 bytes=248 children=3 >\n"
              "                        <'hvc1': start=252 bytes=94 >\n"
              "                        <'avc1': start=346 bytes=94 children=1 >\n"
              "                            <'leaf': start=432 bytes=8 >\n"
              "                        <'sowt': start=440 bytes=44 data_reference_index=0 "
              "channel_count=0 sample_size=0 pre_defined=0 samplelate=0>\n"
              "                            <'leaf': start=476 bytes=8 >\n");
}

TEST(BoxTree, FindReachesEveryMatchAndStopsOneLevel) {
    const std::string twoHeaders = tkhd(1, 1) + tkhd(0, 0);
    const OpenedMovie opened(box("moov", box("trak", twoHeaders) + box("trak", twoHeaders)) +
                             box("moov", box("udta", box("\xA9xyz", zeros(8)))) + box("mdat"));
    const auto count = [&](const char* path, bool onward) {
        int n = 0;
        opened.movie.find(path, [&](MP4::BOX&) { return ++n, onward; });
        return n;
    };
    EXPECT_EQ(count("moov.trak.tkhd", true), 4);
    EXPECT_EQ(count("moov.trak.tkhd", false), 2);
    EXPECT_EQ(count("moov.udta.\xA9xyz", true), 1);
    for (const char* path : {"moov.trak.tkhd.tkhd", "moov/trak", "moo", "moovs", "", "moov."})
        EXPECT_EQ(count(path, true), 0) << path;
    EXPECT_EQ(opened.movie.first("moov.trak.tkhd")->start, 16U);
    EXPECT_EQ(opened.movie.moov->start, 0U);
    EXPECT_EQ(opened.movie.videoTrack->start, 8U + 8 + 2 * 92);
}

TEST(LeafBox, PrintsItsFields) {
    const struct {
        std::string parents, bytes, line;
    } rows[] = {
        {"moov", mvhd(600, 900, 77), "bytes=108 timeStamp=77 >"},
        // Signed 16.16, truncated toward zero; the long form's fields lie 12 bytes further on.
        {"moovtrak",
         fullBox("tkhd", 1, u64(9) + zeros(24 + 52) + u32(0xFFFE8000) + u32(0x00018000)),
         "bytes=104 timeStamp=9 width=4294967295 height=1 >"},
        {"moovtrakmdia", fullBox("mdhd", 0, u32(1) + u32(2) + u32(3) + u32(4)),
         "bytes=28 timeStamp=1 duration=4.000000 time_scale=3.000000 >"},
        // Version 1 keeps the modification time.
        {"moovtrakmdia", fullBox("mdhd", 1, u64(1) + u64(2) + u32(3) + u64(4)),
         "bytes=40 timeStamp=2 duration=4.000000 time_scale=3.000000 >"},
        // A name that does not fit is not read; its announced length stays.
        {"meta", boxClaiming(132, "hdlr", zeros(8) + "soun"), "bytes=132 handler= name=(100) >"},
        {tables, fullBox("stsz", 0, u32(0) + u32(2) + u32(0xFFFFFFFF) + u32(2)),
         "bytes=28 sampleSize=0 sample_count=2 sample_total=4294967297 >"},
        // One size for all: the product wraps at 32 bits.
        {tables, fullBox("stsz", 0, u32(100000) + u32(50000)),
         "bytes=20 sampleSize=100000 sample_count=50000 sample_total=705032704 >"},
        {"moovudta", locations(2, "+1"), "bytes=14 xyz=+1 15c7 >"},
        {"moovudta", box("loci", twoPlaces), "bytes=24 loci=-0.500000 1.500000 0.000000 >"},
        {"moovtrak", uuidBox(MP4::sphericalVideoType, "text"),
         "bytes=28 uuid=FFCC8263-F855-4A93-8814-587A02521FDD >"},
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
        box("moov", fullBox("mvhd", 1, u64(1) + u64(2) + u32(10) + u64(1ULL << 33)) +
                        box("udta", locations(700, std::string(700, 'x')) +
                                        box("loci", twoPlaces + u32(65536))) +
                        trackOf(tkhd(1, 1), {},
                                fullBox("stts", 0, u32(1) + u32(30) + u32(1001)) +
                                    fullBox("stsc", 0, u32(1) + u32(1) + u32(7) + u32(2)) +
                                    // Announced rows beyond the file are kept up to a bound.
                                    fullBox("stsz", 0, u32(0) + u32(0xFFFFFFFF) + u32(7)))) +
        // With a 64-bit size the identifier stands 8 bytes further on.
        largeBox("uuid", std::string(MP4::xmpType.begin(), MP4::xmpType.end()) + "text"));
    const MP4::Container& movie = opened.movie;
    EXPECT_FLOAT_EQ(movie.first<MP4::MVHD>("moov.mvhd")->duration, 858993459.2F);
    EXPECT_EQ(movie.first<MP4::XYZ>("moov.udta.\xA9xyz")->text.size(), 512U);
    EXPECT_TRUE(movie.first<MP4::LOCI>("moov.udta.loci")->hasThird);
    const auto* table = movie.first<MP4::NestedBox>("moov.trak.mdia.minf.stbl");
    EXPECT_EQ(table->first<MP4::STTS>("stts")->entries.at(0).sampleDelta, 1001U);
    EXPECT_EQ(table->first<MP4::STSC>("stsc")->entries.at(0).samplesPerChunk, 7U);
    EXPECT_EQ(table->first<MP4::STSZ>("stsz")->sampleSizes.size(), 1 + MP4::mostRowsBeyondFile);
    EXPECT_EQ(movie.first<MP4::UUID>("uuid")->payload, "text");
}
