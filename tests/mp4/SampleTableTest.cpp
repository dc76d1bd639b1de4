#include "mp4/SampleTable.h"

#include <gtest/gtest.h>

#include "support/Failure.h"
#include "tests/kit/Movies.h"

using namespace kit;
using MP4::SampleTable;

namespace {

/// The boxes of a track of four samples in two chunks, of which any may be exchanged.
struct Track {
    std::string mdhd = fullBox("mdhd", 0, u32(0) + u32(0) + u32(100) + u32(40) + u32(0));
    std::string stts = fullBox("stts", 0, u32(2) + u32(3) + u32(10) + u32(1) + u32(20));
    std::string ctts = fullBox("ctts", 1, u32(2) + u32(2) + u32(30) + u32(2) + u32(0));
    std::string stsc =
        fullBox("stsc", 0, u32(2) + u32(1) + u32(3) + u32(1) + u32(2) + u32(1) + u32(2));
    std::string stsz = fullBox("stsz", 0, u32(0) + u32(4) + u32(5) + u32(6) + u32(7) + u32(8));
    std::string stco = fullBox("stco", 0, u32(2) + u32(8) + u32(100));
    std::string elst =
        fullBox("elst", 0, u32(2) + u32(50) + u32(~0U) + u32(0) + u32(1) + u32(30) + u32(0));
    std::string stss = fullBox("stss", 0, u32(4) + u32(0) + u32(1) + u32(3) + u32(5));
    std::string elsewhere;

    std::string movie() const {
        const std::string stbl =
            box("stbl", fullBox("stsd", 0, u32(0)) + stts + ctts + stsc + stsz + stco + stss);
        return box("mdat", zeros(200)) +
               box("moov", mvhd(50, 100) +
                               box("trak", tkhd(2, 1) + box("edts", elst) +
                                               box("mdia", mdhd + box("minf", stbl))) +
                               elsewhere);
    }
};

SampleTable read(const Track& track) {
    const OpenedMovie opened(track.movie());
    SampleTable table;
    opened.movie.open([&](WEKU::FileIO& file) {
        MP4::BinFile reader(file);
        table = SampleTable::read(opened.movie, *opened.movie.videoTrack, reader);
    });
    return table;
}

std::string failureOf(const Track& track) {
    try {
        read(track);
        return "";
    } catch (WEKU::Failure message) {
        return message;
    }
}

}  // namespace

TEST(SampleTable, TellsWhereAndWhenEachSampleIs) {
    const std::string compact[] = {"", u32(4) + u32(4) + u8(0x56) + u8(0x78),
                                   u32(8) + u32(4) + "\5\6\7\10",
                                   u32(16) + u32(4) + u16(5) + u16(6) + u16(7) + u16(8)};
    for (const std::string& sizes : compact) {
        Track track;
        if (!sizes.empty()) {
            track.stsz = fullBox("stz2", 0, sizes);
            track.stco = fullBox("co64", 0, u32(2) + u64(8) + u64(100));
            track.elst = fullBox(
                "elst", 1, u32(2) + u64(50) + u64(UINT64_MAX) + u32(0) + u64(1) + u64(30) + u32(0));
        }
        const SampleTable table = read(track);
        std::string text;
        for (const auto& sample : table.samples()) {
            text += std::to_string(sample.offset) + "+" + std::to_string(sample.size) + "@" +
                    std::to_string(sample.decodeTime) + "/" + std::to_string(sample.shownAt()) +
                    " ";
        }
        EXPECT_EQ(text, "8+5@0/30 13+6@10/40 19+7@20/20 100+8@30/30 ");
        EXPECT_EQ(table.chunks[1].description, 2U);
        EXPECT_EQ(table.shownFirst(), 30);
        EXPECT_EQ(table.startsAfter(), 1);
        EXPECT_EQ(table.syncSamples, (std::vector<std::uint32_t>{0, 2}));
        EXPECT_FALSE(table.everySampleIsSync);
        EXPECT_EQ(table.decodeTimeOf(4), 50U);
        EXPECT_EQ(MP4::shownOrder(table.samples()), (std::vector<std::uint32_t>{2, 0, 3, 1}));
    }
}

TEST(SampleTable, RefusesTablesThatContradictEachOtherOrTheFile) {
    const auto with = [](std::string Track::*box, const std::string& bytes) {
        Track track;
        track.*box = bytes;
        return failureOf(track);
    };
    EXPECT_EQ(failureOf({}), "");
    EXPECT_EQ(with(&Track::stsz, ""), "a sample table is missing");
    EXPECT_EQ(with(&Track::stsz, fullBox("stsz", 0, u32(0) + u32(~0U) + u32(5))),
              "a sample table ends early");
    EXPECT_EQ(with(&Track::stco, fullBox("stco", 0, u32(1) + u32(8))),
              "the chunks hold another number of samples");
    EXPECT_EQ(with(&Track::stco, fullBox("stco", 0, u32(2) + u32(8) + u32(1000000))),
              "samples lie behind the end of the file");
    EXPECT_EQ(with(&Track::stsz, fullBox("stsz", 0, u32(900) + u32(4))),
              "samples lie behind the end of the file");
    Track doubled;
    doubled.stco = fullBox("stco", 0, u32(2) + u32(8) + u32(8));
    doubled.stsz = fullBox("stsz", 0, u32(0) + u32(4) + u32(500) + u32(0) + u32(0) + u32(500));
    EXPECT_EQ(failureOf(doubled), "samples lie one over the other");
    EXPECT_EQ(with(&Track::stsc, fullBox("stsc", 0, u32(0))), "a chunk has no number of samples");
    EXPECT_EQ(with(&Track::stts, fullBox("stts", 0, u32(1) + u32(3) + u32(10))),
              "the decoding times are those of another number of samples");
    EXPECT_EQ(with(&Track::elsewhere, box("mvex")), "the movie is fragmented");
}
