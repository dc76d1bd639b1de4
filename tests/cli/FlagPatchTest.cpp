#include <gtest/gtest.h>

#include <filesystem>

#include "mp4/AVCC.h"
#include "mp4/ChunkOffsets.h"
#include "support/WideText.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

using namespace kit;

namespace {

constexpr char avcCPath[] = "moov.trak.mdia.minf.stbl.stsd.avc1.avcC";

std::string tracedFlags(const std::string& path) {
    const std::string text =
        run({"ffmpeg", "-v", "verbose", "-i", path, "-map", "0:v", "-c", "copy", "-frames:v", "1",
             "-bsf:v", "trace_headers", "-f", "null", "-"})
            .err;
    const auto value = [&](const std::string& name) {
        const std::size_t at = text.find(name);
        return at == std::string::npos ? '?' : text[text.find('\n', at) - 1];
    };
    return {value("constraint_set1_flag"), value("video_full_range_flag")};
}

}  // namespace

TEST(FlagPatch, EveryWayKeepsTheFrames) {
    if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    enum Room { none, behindRecord, inUserData, exactlyInMovie };
    for (const int layout : {0, 1, 2, 3, 4, 5, 6, 7}) {
        const bool front = (layout & 1) != 0;
        const bool wide = (layout & 2) != 0;
        const bool fullRange = (layout & 4) != 0;
        for (const Room room : {none, behindRecord, inUserData, exactlyInMovie}) {
            if (fullRange && room != none) continue;
            SCOPED_TRACE(testing::Message() << "layout " << layout << " room " << room);
            const TempFolder folder;
            const std::vector<std::string> encoding = {
                "-t",       "0.5",     "-c:v", "libx264", "-profile:v", "baseline",
                "-pix_fmt", "yuv420p", "-c:a", "aac",     "-movflags",  front ? "faststart" : "0"};
            const std::wstring wideName =
                folder.write("m.mp4", clip(front ? "patchFront.mp4" : "patchLast.mp4", encoding));
            const std::string path = WEKU::wchar::narrow(wideName);
            MP4::Container movie;
            ASSERT_TRUE(movie.attach(wideName, MP4::Container::wholeFile));
            unsetBaselineFlag(movie, fullRange);
            if (wide) widenOffsets(movie);
            if (room == behindRecord)
                insertInto(movie, *movie.first(avcCPath), false, box("free", zeros(20)));
            if (room == inUserData)
                insertInto(movie, *movie.first("moov.udta.meta"), false, box("skip", zeros(20)));
            // A stated range changes bits in place; else the set grows by less than this box has.
            if (room == exactlyInMovie)
                insertInto(movie, *movie.first("moov.mvhd"), false, box("free"));

            const std::string before = readFile(wideName);
            const std::string hashes = frames(wideName);
            const Outcome patched = runSondex({"-set1", path});
            const std::string after = readFile(wideName);
            const std::string line =
                fullRange ? ": 1 - 1, constrained_set1_flag:  0 - 1\nset constrained_set1_flag to"
                          : ": 0 - 0, constrained_set1_flag:  0 - 1\nset constrained_set1_flag to";
            EXPECT_NE(patched.out.find(line), std::string::npos) << patched.out;
            EXPECT_EQ(member(resultLine(patched.out), "dxvaDecodable"), "true");
            EXPECT_EQ(tracedFlags(path), fullRange ? "11" : "10");
            EXPECT_EQ(frames(wideName), hashes);
            const bool keepsLength = fullRange || room == behindRecord || room == inUserData;
            EXPECT_EQ(after.size() == before.size(), keepsLength);

            const Outcome again = runSondex({"-set1", path});
            EXPECT_NE(again.out.find("constrained_set1_flag = 1, not 0.\n"), std::string::npos);
            EXPECT_EQ(readFile(wideName), after);
        }
    }
}

TEST(FlagPatch, RefusesMoviesWhoseReferencesItCannotKeep) {
    if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    const std::vector<std::string> encoding = {"-t",         "0.5",       "-c:v",     "libx264",
                                               "-profile:v", "baseline",  "-pix_fmt", "yuv420p",
                                               "-an",        "-movflags", "faststart"};
    for (const std::string& tail : {box("moof"), box("mfra"), box("meta", u32(0) + box("iloc"))}) {
        const TempFolder folder;
        const std::wstring name = folder.write("m.mp4", clip("patchFront2.mp4", encoding));
        MP4::Container movie;
        ASSERT_TRUE(movie.attach(name, MP4::Container::wholeFile));
        unsetBaselineFlag(movie, false);
        const std::string bytes = readFile(name) + tail;
        folder.write("m.mp4", bytes);
        ASSERT_TRUE(movie.attach(name, MP4::Container::wholeFile));
        captureOutput([&] { EXPECT_FALSE(movie.appendFullRangeAndConstrainedSet1Flag(false)); });
        EXPECT_EQ(readFile(name), bytes);
    }
}
