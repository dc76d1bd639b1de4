#include <gtest/gtest.h>

#include <cmath>

#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/SensorBoxes.h"

using namespace kit;

namespace {

/// One box as it is read under the parents that give it its class.
template <class T>
class Parsed {
  public:
    Parsed(const std::string& path, const std::string& bytes)
        : opened(within(path, bytes)), leaf(opened.movie.first<T>(path.c_str())) {}
    T* operator->() const { return leaf; }
    std::string line() const {
        const std::string text = captureOutput([this] { leaf->dump(); });
        return text.substr(text.find(" bytes="));
    }

  private:
    static std::string within(std::string parents, std::string bytes) {
        while (parents.size() > 4) {
            parents.resize(parents.size() - 5);
            const std::string code = parents.substr(parents.size() - 4);
            bytes = code == "meta" ? fullBox(code, 0, bytes) : box(code, bytes);
        }
        return bytes;
    }

    OpenedMovie opened;
    T* leaf;
};

const std::string tables = "moov.trak.mdia.minf.stbl.";

}  // namespace

TEST(LeafBox, MovieTrackAndMediaHeaders) {
    const Parsed<MP4::MVHD> shortForm("moov.mvhd", mvhd(600, 900, 77));
    EXPECT_FLOAT_EQ(shortForm->duration, 1.5F);
    EXPECT_EQ(shortForm.line(), " bytes=108 timeStamp=77 >\n");
    const Parsed<MP4::MVHD> longForm(
        "moov.mvhd", fullBox("mvhd", 1, u64(1) + u64(2) + u32(10) + u64(1ULL << 33)));
    EXPECT_EQ(longForm->timeStamp, 1U);
    EXPECT_FLOAT_EQ(longForm->duration, 858993459.2F);
    EXPECT_TRUE(std::isinf(Parsed<MP4::MVHD>("moov.mvhd", mvhd(0, 9))->duration));

    // Signed 16.16, truncated toward zero; the long form's fields lie 12 bytes further on.
    const Parsed<MP4::TKHD> odd(
        "moov.trak.tkhd",
        fullBox("tkhd", 1, u64(9) + zeros(24 + 52) + u32(0xFFFE8000) + u32(0x00018000)));
    EXPECT_EQ(odd.line(), " bytes=104 timeStamp=9 width=4294967295 height=1 >\n");

    // Version 1 keeps the modification time.
    const std::string first = fullBox("mdhd", 0, u32(1) + u32(2) + u32(3) + u32(4));
    const std::string second = fullBox("mdhd", 1, u64(1) + u64(2) + u32(3) + u64(4));
    EXPECT_EQ(Parsed<MP4::MDHD>("moov.trak.mdia.mdhd", first).line(),
              " bytes=28 timeStamp=1 duration=4.000000 time_scale=3.000000 >\n");
    EXPECT_EQ(Parsed<MP4::MDHD>("moov.trak.mdia.mdhd", second).line(),
              " bytes=40 timeStamp=2 duration=4.000000 time_scale=3.000000 >\n");
}

TEST(LeafBox, SampleTables) {
    const Parsed<MP4::STSZ> sizes(tables + "stsz",
                                  fullBox("stsz", 0, u32(0) + u32(2) + u32(0xFFFFFFFF) + u32(2)));
    EXPECT_EQ(sizes->sampleSizes, (std::vector<std::uint32_t>{0xFFFFFFFF, 2}));
    EXPECT_EQ(sizes.line(), " bytes=28 sampleSize=0 sample_count=2 sample_total=4294967297 >\n");
    // One size for all: the product wraps at 32 bits.
    const Parsed<MP4::STSZ> wrapped(tables + "stsz", fullBox("stsz", 0, u32(100000) + u32(50000)));
    EXPECT_EQ(wrapped->sampleTotal, 705032704U);
    const Parsed<MP4::STTS> times(tables + "stts",
                                  fullBox("stts", 0, u32(1) + u32(30) + u32(1001)));
    EXPECT_EQ(times->entries.at(0).sampleDelta, 1001U);
    const Parsed<MP4::STSC> chunks(tables + "stsc",
                                   fullBox("stsc", 0, u32(1) + u32(1) + u32(7) + u32(2)));
    EXPECT_EQ(chunks->entries.at(0).samplesPerChunk, 7U);

    // Announced rows beyond the file are kept up to a bound.
    const Parsed<MP4::STSZ> few(tables + "stsz", fullBox("stsz", 0, u32(0) + u32(10) + u32(7)));
    EXPECT_EQ(few->sampleSizes.size(), 10U);
    EXPECT_EQ(few->sampleTotal, 7U);
    const Parsed<MP4::STSC> many(tables + "stsc", fullBox("stsc", 0, u32(0xFFFFFFFF)));
    EXPECT_EQ(many->entryCount, 0xFFFFFFFFU);
    EXPECT_EQ(many->entries.size(), MP4::mostRowsBeyondFile);
}

TEST(LeafBox, LocationsHandlerAndUuid) {
    const auto xyz = [](const std::string& text) {
        return Parsed<MP4::XYZ>("moov.udta.\xA9xyz",
                                box("\xA9xyz", u16(text.size()) + u16(0x15C7) + text));
    };
    EXPECT_EQ(xyz(std::string(700, 'x'))->text.size(), 512U);
    EXPECT_EQ(xyz("+1").line(), " bytes=14 xyz=+1 15c7 >\n");

    const std::string two = zeros(8) + u32(0xFFFF8000) + u32(0x00018000);
    const Parsed<MP4::LOCI> pair("moov.udta.loci", box("loci", two));
    EXPECT_FALSE(pair->hasThird);
    EXPECT_EQ(pair.line(), " bytes=24 loci=-0.500000 1.500000 0.000000 >\n");
    EXPECT_TRUE(Parsed<MP4::LOCI>("moov.udta.loci", box("loci", two + u32(65536)))->hasThird);

    // A name that does not fit is not read; its announced length stays.
    const Parsed<MP4::HDLR> cut("meta.hdlr", boxClaiming(132, "hdlr", zeros(8) + "soun"));
    EXPECT_EQ(cut.line(), " bytes=132 handler= name=(100) >\n");

    const std::string inside = box("KATR", tkhd(1, 1));
    const Parsed<MP4::UUID> other("moov.trak.uuid", uuidBox(MP4::sphericalVideoType, inside));
    EXPECT_EQ(other->payload, inside);
    EXPECT_EQ(other.line(), " bytes=124 uuid=FFCC8263-F855-4A93-8814-587A02521FDD >\n");
    const Parsed<MP4::UUID> spatial("uuid", uuidBox(MP4::spatialDataType, inside));
    EXPECT_NE(spatial->first("KATR.tkhd"), nullptr);
    // With a 64-bit size the identifier stands 8 bytes further on.
    const std::string wide(MP4::xmpType.begin(), MP4::xmpType.end());
    EXPECT_EQ(Parsed<MP4::UUID>("uuid", largeBox("uuid", wide + "text"))->payload, "text");
    EXPECT_FALSE(Parsed<MP4::UUID>("uuid", boxClaiming(12, "uuid", wide))->is(MP4::xmpType));
}
