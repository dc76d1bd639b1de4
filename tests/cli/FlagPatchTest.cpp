#include <gtest/gtest.h>

#include "sondex/sondex.h"
#include "tests/kit/BuiltMovie.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

using namespace kit;

TEST(FlagPatch, EveryWayKeepsTheFrames) {
    if (!haveFfmpeg()) GTEST_SKIP() << "the ffmpeg program makes the movies";
    // A box ahead of the records, and one that can give room. A stated range changes bits in place;
    // else the set grows by less than an empty box has.
    const std::pair<const char*, std::string> rooms[] = {
        {nullptr, {}},
        {"moov.trak.mdia.minf.stbl.stsd.avc1.avcC", box("free", zeros(20))},
        {"moov.udta.meta", box("skip", zeros(20))},
        {"moov.mvhd", box("free")}};
    for (const int layout : {0, 1, 2, 3}) {
        const bool fullRange = (layout & 2) != 0;
        const std::string bytes =
            clip((layout & 1) != 0 ? "front.mp4" : "last.mp4",
                 {"-t", "0.5", "-c:v", "libx264", "-profile:v", "baseline", "-pix_fmt", "yuv420p",
                  "-c:a", "aac", "-movflags", (layout & 1) != 0 ? "faststart" : "0"});
        for (const auto& [anchor, room] : rooms) {
            if (fullRange && anchor != nullptr) continue;
            SCOPED_TRACE(testing::Message() << "layout " << layout << " room " << room);
            OpenedMovie clip(bytes);
            unsetBaselineFlag(clip.movie, fullRange);
            if (anchor != nullptr) insertInto(clip.movie, *clip.movie.first(anchor), false, room);

            std::string before = clip.bytes();
            // The set decides, not the profile that the record names for it.
            if (fullRange) before[before.find("avcC\x01\x42") + 5] = 88;
            clip.folder.write("m.mp4", before);
            const std::string hashes = frames(clip.path);
            const Outcome patched = runSondex({"-set1", clip.name});
            const std::string after = clip.bytes();
            const std::string line = std::string(fullRange ? ": 1 - 1" : ": 0 - 0") +
                                     ", constrained_set1_flag:  0 - 1\n"
                                     "set constrained_set1_flag to";
            EXPECT_NE(patched.out.find(line), std::string::npos) << patched.out;
            EXPECT_EQ(member(resultLine(patched.out), "dxvaDecodable"), "true");
            EXPECT_EQ(frames(clip.path), hashes);
            EXPECT_EQ(after.size() == before.size(), fullRange || room.size() > 8);

            const Outcome again = runSondex({"-set1", clip.name});
            EXPECT_NE(again.out.find("constrained_set1_flag = 1, not 0.\n"), std::string::npos);
            EXPECT_EQ(clip.bytes(), after);
        }
    }
}

TEST(FlagPatch, TakesAWholeSpareBoxAndLeavesOtherProfiles) {
    BuiltMovie movie;
    movie.tracks.resize(4);
    movie.moreUserData = box("free");
    H264::SequenceParameterSet set = movie.set();
    set.vui_parameters_present_flag = false;
    using Case = std::pair<std::uint8_t, bool>;
    for (const auto& [profile, flag] : {Case{66, false}, {77, true}, {77, false}}) {
        set.profile_idc = profile;
        set.constraint_set1_flag = flag;
        movie.put(set);
        const std::string before = movie.bytes();
        const OpenedMovie file(before);
        // Two bytes a record: as many as the empty box has.
        const std::string out = runSondex({"-set1", file.name}).out;
        const std::string after = file.bytes();
        EXPECT_EQ(after.size(), before.size());
        EXPECT_EQ(after == before, profile == 77);
        EXPECT_EQ(after.find("free") == after.npos, profile == 66);
        EXPECT_EQ(out.find("\nprofile_idc = 77, not 66.\nresult: ") != out.npos, profile == 77);
        EXPECT_EQ(out.find("\nconstrained_set1_flag = 1, not 0.\nprofile") != out.npos, flag);
        const sondex::Changes asked{.baselineFlag = true};
        const auto done = sondex::change(file.name, asked);
        EXPECT_EQ(
            done ? "" : done.error().message,
            profile == 66 || flag ? "" : "the first parameter set is not of the baseline profile");
        EXPECT_TRUE(!done || sondex::change(file.name, asked)->empty());
    }
}
