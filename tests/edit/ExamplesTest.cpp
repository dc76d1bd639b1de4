#include <gtest/gtest.h>

#include <filesystem>

#include "mp4/AVCC.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"

/// The programs of docs/editing.md.
using namespace kit;

namespace {

namespace fs = std::filesystem;

struct Example {
    const char* name;
    std::vector<std::string> words;
    std::function<bool(const MP4::Container&)> changed;
    const char* result = "m.mp4";
    bool camera = false;
};

bool hasUuid(const MP4::Container& movie, const MP4::UserType& type) {
    const auto* last = static_cast<const MP4::UUID*>(movie.root->children.back().get());
    return last->type == MP4::UUID::code && last->is(type);
}

const Example examples[] = {
    {"startFast", {}, [](auto& movie) { return movie.moov->start < movie.mdat->start; }},
    {"setTime",
     {},
     [](auto& movie) {
         return movie.template first<MP4::TKHD>("moov.trak.tkhd")->timeStamp > 3800000000;
     }},
    {"addXmp", {"+35.6895+139.6917/"}, [](auto& movie) { return hasUuid(movie, MP4::XMP::_UUID); }},
    {"addTilt", {}, [](auto& movie) { return hasUuid(movie, MP4::AXIS::_UUID); }},
    {"addLocation",
     {"+35.6895+139.6917/"},
     [](auto& movie) {
         const auto* box = movie.template first<MP4::XYZ>("moov.udta.\xA9xyz");
         return box != nullptr && box->text == "+35.6895+139.6917/";
     }},
    {"withoutUserData",
     {"out.mp4"},
     [](auto& movie) { return movie.moov != nullptr && movie.first("moov.udta") == nullptr; },
     "out.mp4"},
    {"setStabilization",
     {"9"},
     [](auto& movie) {
         return movie.payload(*movie.first(MP4::path::makerNote))
                    .find(u16(0x1014) + u16(3) + u32(1) + u16(9)) != std::string::npos;
     },
     "m.mp4",
     true},
    {"setFlag",
     {},
     [](auto& movie) {
         const auto* box =
             movie.template first<MP4::AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
         return (box->record[2] & box->record[10] & 0x40) != 0;
     }},
    {"dropLastFree",
     {},
     [](auto& movie) { return movie.root->children.back()->type != MP4::fourCC("free"); }},
};

}  // namespace

TEST(Examples, EachEditsAMovie) {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not there";
    for (const Example& example : examples) {
        const TempFolder folder;
        MP4::Container made;
        made.attach(folder.write("m.mp4", (example.camera ? cameraMovie() : plainClip()) +
                                              box("free", zeros(20))),
                    MP4::Container::wholeFile);
        ASSERT_TRUE(unsetBaselineFlag(made, false));
        std::vector<std::string> words = {std::string(SONDEX_EXAMPLES "/") + example.name,
                                          (folder.path() / "m.mp4").string()};
        for (const std::string& word : example.words)
            words.push_back(word.ends_with(".mp4") ? (folder.path() / word).string() : word);
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << example.name << ": " << outcome.out << outcome.err;
        MP4::Container edited;
        ASSERT_TRUE(edited.attach(folder.wide(example.result), MP4::Container::wholeFile));
        EXPECT_TRUE(example.changed(edited)) << example.name;
    }
}

TEST(Examples, ThePageShowsThemAsTheyAre) {
    const fs::path sources = SONDEX_SOURCES;
    const std::string page = readFile(sources / "docs/editing.md");
    std::size_t count = 0;
    for (const auto& file : fs::directory_iterator(sources / "examples/edit")) {
        const std::string block = "```cpp\n" + readFile(file.path()) + "```\n";
        EXPECT_NE(page.find(block), std::string::npos) << file.path();
        ++count;
    }
    EXPECT_EQ(count, std::size(examples));
}
