#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "mp4/Container.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"

using namespace kit;

namespace {

namespace fs = std::filesystem;
constexpr auto whole = MP4::Container::wholeFile;

const std::string ftyp = box("ftyp", "isom");
const std::string media = "MEDIADATA";
const std::string mdat = box("mdat", media);

/// The movie of most tests, and what `moovFirst` makes of it.
const std::string source = mdatFirst(media);
const std::string moved =
    ftyp + movieBox(stco(source.size() - media.size()), box("udta", box("free"))) + mdat;

class Edited {
  public:
    explicit Edited(const std::string& bytes) : before(bytes), path(folder.write("m.mp4", bytes)) {
        movie.attach(path, whole);
    }
    std::string after() const { return readFile(path); }
    std::string name() const { return (folder.path() / "m.mp4").string(); }
    /// Expects that `edit` fails with the source as it was and nothing beside it.
    template <class Action>
    void expectRefused(Action edit) {
        captureOutput([&] { EXPECT_FALSE(edit(movie)); });
        EXPECT_EQ(after(), before);
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
    }

    const std::string before;
    TempFolder folder;
    std::wstring path;
    MP4::Container movie;
};

}  // namespace

TEST(MoovFirst, RefusesWhatItCannotKeep) {
    const std::uint64_t at = ftyp.size() + 8;
    const std::string cases[] = {
        ftyp + movieBox(stco(at)) + mdat,                // in order already
        ftyp + mdat + movieBox({}),                      // no chunk offsets
        ftyp + mdat + movieBox(stco(UINT32_MAX - 100)),  // would leave 32 bits
        ftyp + mdat + movieBox(co64(UINT64_MAX - 100)),  // would leave 64 bits
        ftyp + mdat + movieBox(stco(at, 3)),             // announces more than the box holds
        ftyp + mdat + movieBox(u32(32) + stco(at, 4).substr(4)),  // claims its parents' neighbours
        ftyp + mdat + boxClaiming(1000, "moov", mvhd(1, 1))       // claims more than the file
    };
    for (const std::string& bytes : cases) {
        Edited edited(bytes);
        EXPECT_FALSE(edited.movie.servesMoovFirst());
        edited.expectRefused([](MP4::Container& movie) { return movie.moovFirst(); });
    }
    // A movie box that reached to the end of its file must not swallow the media data.
    Edited open(ftyp + mdat + boxClaiming(0, "moov", source.substr(ftyp.size() + mdat.size() + 8)));
    EXPECT_TRUE(open.movie.servesMoovFirst() && open.movie.moovFirst());
    EXPECT_EQ(open.after(), moved);

    // Layouts that it writes although frames are lost, which is what the query is for.
    for (const std::string& bytes :
         {ftyp + mdat + box("free") + movieBox(stco(at)), source + mdat, source + "x",
          source + movieBox(stco(at)), ftyp + mdat + movieBox(stco(3)), source + box("mfra")}) {
        EXPECT_FALSE(Edited(bytes).movie.servesMoovFirst());
    }
}

TEST(MoovFirst, CountsBeyondFourGiB) {
    // Nearly all of it is a hole, in the copy as well.
    constexpr std::uint64_t length = (std::uint64_t{1} << 32) - 100;
    const std::string head = ftyp + largeBoxClaiming(length + 16, "mdat");
    const std::uint64_t at = head.size() + length - media.size();
    const TempFolder folder;
    const std::wstring path = folder.write("m.mp4", head);
    std::fstream file(folder.path() / "m.mp4");
    file.seekp(static_cast<std::streamoff>(at)) << media << movieBox(co64(at)) << std::flush;
    MP4::Container movie;
    ASSERT_TRUE(movie.attach(path, whole));
    EXPECT_TRUE(movie.servesMoovFirst() && movie.moovFirst());
    std::string moved(media.size(), '\0');
    std::ifstream(folder.path() / "m.mp4")
        .seekg(static_cast<std::streamoff>(at + movie.moov->size()))
        .read(moved.data(), static_cast<std::streamsize>(moved.size()));
    EXPECT_EQ(moved, media);
}

TEST(Rewrite, RefusesDamagedAnchorsAndOtherOffsets) {
    const std::pair<std::string, const char*> cases[] = {
        {ftyp + boxClaiming(99, "free"), "free"},
        {ftyp + boxClaiming(0, "free"), "free"},  // would swallow the new box
        // A child that claims more than its parent.
        {ftyp + box("moov", boxClaiming(20, "udta")) + mdat + mdat, "moov.udta"},
        {ftyp + movieBox(stco(0)) + box("moof") + mdat, "moov.trak"},
        {ftyp + movieBox(stco(0)) + mdat + box("mfra"), "moov.trak"},
        {ftyp + movieBox(stco(0)) + mdat + fullBox("meta", 0, box("iloc")), "moov.trak"},
        {ftyp + movieBox({}) + mdat, "moov.trak"},
        {ftyp + movieBox(stco(UINT32_MAX)) + mdat, "moov.trak"},
    };
    for (const auto& [bytes, anchor] : cases) {
        Edited edited(bytes);
        ASSERT_NE(edited.movie.first(anchor), nullptr) << anchor;
        edited.expectRefused([a = anchor](MP4::Container& movie) {
            return insertInto(movie, *movie.first(a), false, box("skip"));
        });
    }
}

TEST(Rewrite, KeepsThePermissionsAndFollowsLinks) {
    Edited edited(source);
    fs::permissions(edited.name(), fs::perms{0640});
    fs::create_directory(edited.folder.path() / "links");
    fs::create_symlink("../m.mp4", edited.folder.path() / "links/l.mp4");
    MP4::Container linked;
    ASSERT_TRUE(linked.attach(edited.folder.wide("links/l.mp4"), whole));
    EXPECT_TRUE(linked.moovFirst());
    EXPECT_TRUE(fs::is_symlink(edited.folder.path() / "links/l.mp4"));
    EXPECT_EQ(edited.after(), moved);
    EXPECT_EQ(fs::status(edited.name()).permissions(), fs::perms{0640});
}

TEST(Rewrite, AnOutputPathReceivesTheResult) {
    Edited edited(source);
    const std::wstring target = edited.folder.write("out.mp4", "before");
    edited.movie.outputPath = target;
    EXPECT_TRUE(edited.movie.moovFirst());
    EXPECT_EQ(edited.after(), source);
    EXPECT_EQ(readFile(target), moved);
    EXPECT_TRUE(edited.movie.path == target && edited.movie.outputPath.empty());

    // The source, under any name and as the temporary file, and what is no regular file.
    const TempFolder folder;
    MP4::Container own;
    ASSERT_TRUE(own.attach(folder.write("m.mp4.tmp.mp4", source), whole));
    fs::create_hard_link(folder.path() / "m.mp4.tmp.mp4", folder.path() / "same.mp4");
    ASSERT_EQ(::mkfifo((folder.path() / "fifo").c_str(), 0600), 0);
    for (const char* name : {"m.mp4.tmp.mp4", "same.mp4", "m.mp4", "fifo"}) {
        own.outputPath = folder.wide(name);
        captureOutput([&] { EXPECT_FALSE(own.moovFirst()) << name; });
        EXPECT_EQ(readFile(folder.path() / "m.mp4.tmp.mp4"), source) << name;
    }
    EXPECT_TRUE(fs::is_fifo(folder.path() / "fifo"));
}

TEST(Rewrite, FailuresSayWhichFiles) {
    Edited edited(source);
    const std::string name = edited.name();
    fs::create_directories(name + ".tmp.mp4/full");
    EXPECT_EQ(captureOutput([&] { EXPECT_FALSE(edited.movie.moovFirst()); }),
              "open(" + name + ".tmp.mp4, 'w') failed.\n" +
                  "Container::modifyContainer::moovFirst(" + name + " to " + name +
                  ".tmp.mp4) failed.\n");
    EXPECT_EQ(edited.after(), edited.before);
    fs::remove_all(name + ".tmp.mp4");

    // A file that is no longer the one that was parsed is left alone, even when another one takes
    // its place while the copy is made.
    const std::string newer = edited.before + box("free");
    const auto exchange = [&](auto&...) {
        edited.folder.write("new", newer);
        fs::rename(edited.folder.path() / "new", name);
        return true;
    };
    exchange();
    captureOutput([&] {
        EXPECT_FALSE(edited.movie.updateTimeStamp(1));
        EXPECT_FALSE(edited.movie.moovFirst());
        EXPECT_FALSE(edited.movie.insertBox(
            L"test", *edited.movie.moov, false, exchange, [](auto&, auto&) { return true; },
            [](auto&, auto&) { return true; }));
    });
    EXPECT_EQ(edited.after(), newer);
}

TEST(InPlace, TimeStampsAreAllSetOrNone) {
    Edited edited(source);
    EXPECT_TRUE(edited.movie.updateTimeStamp(0x1234567890));
    for (const char* header : {"mvhd", "tkhd"})
        EXPECT_EQ(edited.after().substr(edited.before.find(header) + 8, 4), u32(0x34567890));
    const std::string mdhd1 = fullBox("mdhd", 1, u64(1) + u64(2) + u32(3) + u64(4));
    Edited versionOne(box("moov", box("trak", box("mdia", mdhd1))));
    EXPECT_TRUE(versionOne.movie.updateTimeStamp(0x1122334455667788));
    EXPECT_EQ(versionOne.after().substr(36, 16), u64(0x1122334455667788) + u64(2));

    for (const std::string& damaged :
         {boxClaiming(300, "trak", boxClaiming(92, "tkhd", zeros(7))),
          box("trak", largeBox("tkhd", zeros(84))),
          box("trak", boxClaiming(92, "tkhd")) + box("free", zeros(99))}) {
        Edited refused(box("moov", mvhd(1, 1) + damaged));
        refused.expectRefused([](auto& movie) { return movie.updateTimeStamp(1); });
    }
}

TEST(InPlace, AppendsOneBoxOfEachKind) {
    Edited edited(source + uuidBox(MP4::sphericalVideoType, "other"));
    EXPECT_EQ(captureOutput([&] {
                  for (const char* text : {"first", "second"})
                      EXPECT_TRUE(edited.movie.appendXMP(text) && edited.movie.appendAxis(text));
              }),
              "MP4: XMP is existed.\nMP4: AXIS is existed.\n");
    EXPECT_EQ(edited.after(), edited.before + uuidBox(MP4::XMP::_UUID, "first") +
                                  uuidBox(MP4::AXIS::_UUID, "first"));

    // A parse that was cut short does not decide where the end is.
    Edited bounded(ftyp + box("free"));
    bounded.movie.attach(bounded.path, 8);
    EXPECT_TRUE(bounded.movie.appendXMP("x"));
    EXPECT_EQ(bounded.after(), bounded.before + uuidBox(MP4::XMP::_UUID, "x"));

    // Behind these a reader would not find the box.
    for (const std::string& tail :
         {boxClaiming(0, "mdat"), boxClaiming(90, "mdat"), std::string("junk"), zeros(16)}) {
        Edited refused(ftyp + tail);
        refused.expectRefused([](auto& movie) { return movie.appendXMP("x"); });
    }
}
