#include <gtest/gtest.h>

#include "mp4/Container.h"
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
