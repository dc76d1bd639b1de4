#include <gtest/gtest.h>

#include "app/MetaReader.h"
#include "mp4/Container.h"
#include "sondex/sondex.h"
#include "tests/faults/Faults.h"
#include "tests/kit/BuiltMovie.h"
#include "tests/kit/Movies.h"

using namespace kit;

namespace {

namespace fs = std::filesystem;
using MP4::Container;

const std::string source = mdatFirst("media");

struct Scene : OpenedMovie {
    Scene() : OpenedMovie(source) {}
    fs::path at(const char* file) const { return folder.path() / file; }
};

}  // namespace

/// What another process may do between two calls of an edit, as a forced order of steps.
TEST(EditRace, ARewriteEndsBetweenOpeningAndLocking) {
    Scene scene;
    const std::string newer = source + box("free");
    fs::create_hard_link(scene.at("m.mp4"), scene.at("old"));
    faults::before("flock", [&] {
        scene.folder.write("new", newer);
        fs::rename(scene.at("new"), scene.at("m.mp4"));
    });
    EXPECT_FALSE(scene.movie.updateTimeStamp(1));
    EXPECT_EQ(readFile(scene.at("m.mp4")), newer);
    EXPECT_EQ(readFile(scene.at("old")), source);
}

TEST(EditRace, TheTemporaryFileIsExchangedForALink) {
    Scene scene;
    scene.folder.write("victim", "secret");
    fs::permissions(scene.at("victim"), fs::perms{0600});
    fs::permissions(scene.at("m.mp4"), fs::perms{0666});
    bool swapped = false;
    faults::nameAllFiles(true);
    captureOutput([&] {
        EXPECT_FALSE(scene.movie.insertBox(
            L"test", *scene.movie.moov, false, [](auto&) { return true; },
            [](auto&, auto&) { return true; },
            [&](auto&, auto&) {
                for (const auto& entry : fs::directory_iterator(scene.folder.path())) {
                    if (!entry.path().filename().string().starts_with(".sondex-")) continue;
                    fs::remove(entry.path());
                    fs::create_symlink("victim", entry.path());
                    swapped = true;
                    break;
                }
                return true;
            }));
    });
    faults::nameAllFiles(false);
    EXPECT_TRUE(swapped);
    EXPECT_EQ(readFile(scene.at("victim")), "secret");
    EXPECT_EQ(fs::status(scene.at("victim")).permissions(), fs::perms{0600});
    EXPECT_TRUE(!fs::is_symlink(scene.at("m.mp4")) && scene.bytes() == source);
}

TEST(EditRace, AnotherFileGetsTheNewNameFirst) {
    for (const bool named : {false, true}) {
        Scene scene;
        scene.movie.outputPath = scene.folder.wide("out.mp4");
        faults::nameAllFiles(named);
        faults::before("linkat", [&] { scene.folder.write("out.mp4", "mine"); });
        captureOutput([&] { EXPECT_FALSE(scene.movie.moovFirst()); });
        faults::nameAllFiles(false);
        EXPECT_EQ(readFile(scene.at("out.mp4")), "mine");
    }
}

/// What no kill can show: that the new movie box is on the disk before the old one goes.
TEST(EditRace, TheNewMovieBoxIsFlushedAheadOfTheNextStep) {
    Scene scene;
    std::vector<std::string> atFlush;
    std::function<void()> look = [&] {
        Container now;
        ASSERT_TRUE(now.attach(scene.path, Container::wholeFile));
        atFlush.emplace_back();
        for (const auto& box : now.root->children)
            atFlush.back() += box->name() + ' ';
        faults::before("fsync", look);
    };
    faults::before("fsync", look);
    EXPECT_TRUE(insertInto(scene.movie, *scene.movie.first("moov.udta"), true,
                           box("udta", box("skip", zeros(500))), MP4::Road::movieRoom));
    faults::before("", {});
    // The last is the edit's own, when all is done.
    EXPECT_EQ(atFlush, (std::vector<std::string>{"ftyp mdat moov moov ", "ftyp mdat free moov ",
                                                 "ftyp mdat free moov "}));
}

TEST(EditRace, FilesAreFlushedAheadOfTheirNames) {
    const Scene scene;
    const std::string path = scene.at("f").string();
    std::string atFlush;
    const auto look = [&] { atFlush = readFile(scene.at("f")); };
    scene.folder.write("f", "old");
    faults::before("fsync", look);
    auto made = sondex::NewFile::make(path, true);
    EXPECT_TRUE(made && made->append("new") && made->finish());
    EXPECT_EQ(atFlush, "old");
    scene.folder.write("f", CameraTiff().jpeg());
    faults::before("fsync", look);
    EXPECT_TRUE(sondex::change(path, {.makerNote = {.zenith = 3}}));
    EXPECT_EQ(atFlush, readFile(scene.at("f")));
    faults::before("", {});
}

/// An edit in place under the program's reading, ahead of each of its reads: no answer may be half
/// of the old movie and half of the new.
TEST(ReadRace, TheAnswerIsOneMovies) {
    const TempFolder folder;
    BuiltMovie movie;
    const std::string older = movie.bytes();
    movie.model = "other", movie.position = "+1+2/", movie.tracks[0].width *= 2;
    const std::string newer = movie.bytes() + box("free");
    const auto answerTo = [&](const std::string& bytes) {
        const std::wstring path = folder.write("m.mp4", bytes);
        return captureOutput([&] {
            const wchar_t* words[] = {L"Sondex", path.c_str()};
            EXPECT_EQ(MetaReader::process(2, words), 0);
        });
    };
    const std::string now = answerTo(newer), before = answerTo(older);
    int reads = 0, last = 1;
    for (int at = 1; at <= last; ++at) {
        reads = 0;
        const std::function<void()> step = [&] {
            if (++reads == at) folder.write("m.mp4", newer);
            faults::before("pread", step);
        };
        faults::before("pread", step);
        const std::string told = answerTo(older);
        faults::before("", {});
        last = std::max(last, reads);
        EXPECT_EQ(told, reads < at ? before : now) << "ahead of read " << at;
    }
    EXPECT_GT(last, 2);
}
