#include <gtest/gtest.h>

#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/SensorBoxes.h"

using namespace kit;

namespace {

/// A movie of one box under the parents that give it its class.
std::string within(std::string path, std::string bytes) {
    while (path.size() > 4) {
        path.resize(path.size() - 5);
        const std::string code = path.substr(path.size() - 4);
        bytes = code == "meta" ? fullBox(code, 0, bytes) : box(code, bytes);
    }
    return bytes;
}

std::string locations(std::size_t announced, const std::string& text) {
    return box("\xA9xyz", u16(announced) + u16(0x15C7) + text);
}

const std::string tables = "moov.trak.mdia.minf.stbl.";
const std::string twoPlaces = zeros(8) + u32(0xFFFF8000) + u32(0x00018000);

}  // namespace

TEST(LeafBox, PrintsItsFields) {
    const struct {
        std::string path, bytes, line;
    } rows[] = {
        {"moov.mvhd", mvhd(600, 900, 77), "bytes=108 timeStamp=77 >"},
        // Signed 16.16, truncated toward zero; the long form's fields lie 12 bytes further on.
        {"moov.trak.tkhd",
         fullBox("tkhd", 1, u64(9) + zeros(24 + 52) + u32(0xFFFE8000) + u32(0x00018000)),
         "bytes=104 timeStamp=9 width=4294967295 height=1 >"},
        {"moov.trak.mdia.mdhd", fullBox("mdhd", 0, u32(1) + u32(2) + u32(3) + u32(4)),
         "bytes=28 timeStamp=1 duration=4.000000 time_scale=3.000000 >"},
        // Version 1 keeps the modification time.
        {"moov.trak.mdia.mdhd", fullBox("mdhd", 1, u64(1) + u64(2) + u32(3) + u64(4)),
         "bytes=40 timeStamp=2 duration=4.000000 time_scale=3.000000 >"},
        // A name that does not fit is not read; its announced length stays.
        {"meta.hdlr", boxClaiming(132, "hdlr", zeros(8) + "soun"),
         "bytes=132 handler= name=(100) >"},
        {tables + "stsz", fullBox("stsz", 0, u32(0) + u32(2) + u32(0xFFFFFFFF) + u32(2)),
         "bytes=28 sampleSize=0 sample_count=2 sample_total=4294967297 >"},
        // One size for all: the product wraps at 32 bits.
        {tables + "stsz", fullBox("stsz", 0, u32(100000) + u32(50000)),
         "bytes=20 sampleSize=100000 sample_count=50000 sample_total=705032704 >"},
        {"moov.udta.\xA9xyz", locations(2, "+1"), "bytes=14 xyz=+1 15c7 >"},
        {"moov.udta.loci", box("loci", twoPlaces), "bytes=24 loci=-0.500000 1.500000 0.000000 >"},
        {"moov.trak.uuid", uuidBox(MP4::sphericalVideoType, "text"),
         "bytes=28 uuid=FFCC8263-F855-4A93-8814-587A02521FDD >"},
    };
    for (const auto& [path, bytes, line] : rows) {
        const OpenedMovie opened(within(path, bytes));
        const std::string text = captureOutput([&] { opened.movie.first(path.c_str())->dump(); });
        EXPECT_EQ(text.substr(text.find("bytes=")), line + "\n") << path;
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
