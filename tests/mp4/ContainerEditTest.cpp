#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "mp4/Container.h"
#include "tests/h264/ParameterSets.h"
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

/// Spatial sound with this chunk offset.
std::string soundAt(std::uint64_t offset) {
    const std::string table = box("stbl", stco(offset));
    return uuidBox(MP4::spatialDataType, box("KATR", box("mdia", box("minf", table))));
}

struct Edited : OpenedMovie {
    explicit Edited(const std::string& bytes) : OpenedMovie(bytes), before(bytes) {}
    /// Expects that `edit` fails with the source as it was and nothing beside it.
    template <class Action>
    void expectRefused(Action edit) {
        captureOutput([&] { EXPECT_FALSE(edit(movie)); });
        EXPECT_EQ(bytes(), before);
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
    }

    const std::string before;
};

}  // namespace

TEST(MoovFirst, RefusesWhatItCannotKeep) {
    const std::uint64_t at = ftyp.size() + 8;
    const std::string cases[] = {
        ftyp + movieBox(stco(at)) + mdat,     // in order already
        ftyp + mdat + movieBox({}),           // no chunk offsets
        ftyp + mdat + movieBox(stco(at, 3)),  // announces more than the box holds
        ftyp + mdat + movieBox(u32(32) + stco(at, 4).substr(4)),  // claims its parents' neighbours
        ftyp + mdat + boxClaiming(1000, "moov", mvhd(1, 1)),      // claims more than the file
        ftyp + mdat + movieBox(stco(at + mdat.size())),           // media in the movie box
        source + box("sidx"),                                     // offsets of other kinds
        ftyp + mdat + movieBox(stco(at), fullBox("meta", 0, box("iloc")))};
    for (const std::string& bytes : cases) {
        Edited edited(bytes);
        edited.expectRefused([](MP4::Container& movie) { return movie.moovFirst(); });
    }
    // A movie box that reached to the end of its file must not swallow the media data.
    Edited open(ftyp + mdat + boxClaiming(0, "moov", source.substr(ftyp.size() + mdat.size() + 8)));
    EXPECT_TRUE(open.movie.moovFirst());
    EXPECT_EQ(open.bytes(), moved);
}

/// All else keeps its order; of two movie boxes the first counts.
TEST(MoovFirst, KeepsWhatElseThereIs) {
    const struct {
        std::string front, moves, between, behind, left = behind;
    } layouts[] = {
        {"", "", box("free", "x") + uuidBox(MP4::xmpType, "y"), ""},
        {box("free"), largeBox("mdat", "more"), "", mdat + "x"},
        {"", box("imda"), "", movieBox(stco(7)) + box("skip"),
         box("free", movieBox(stco(7)).substr(8)) + box("skip")},
    };
    for (const auto& [front, moves, between, behind, left] : layouts) {
        const std::string head = ftyp + front, rest = moves + mdat + between;
        const std::uint64_t at = head.size() + moves.size() + 8;
        Edited edited(head + rest + movieBox(stco(at)) + behind);
        EXPECT_TRUE(edited.movie.moovFirst());
        const std::string moov = movieBox(stco(at + movieBox(stco(0)).size()));
        EXPECT_EQ(edited.bytes(), head + moov + rest + left);
    }
}

TEST(MoovFirst, MovesEveryOffset) {
    const auto many = [](std::uint64_t at) {
        std::string offsets = u32(20000);  // more than is read at a time
        while (offsets.size() < 4 + 4 * 20000)
            offsets += u32(at);
        return movieBox(fullBox("stco", 0, offsets));
    };
    const std::uint64_t before = ftyp.size() + 8, after = before + many(0).size();
    const std::string stays = soundAt(after + media.size() + 8 + 2 * soundAt(0).size()) + mdat;
    Edited edited(ftyp + mdat + soundAt(before) + many(before) + stays);
    EXPECT_TRUE(edited.movie.moovFirst());
    EXPECT_TRUE(edited.bytes() == ftyp + many(after) + mdat + soundAt(after) + stays);
}

TEST(MoovFirst, CountsBeyondFourGiB) {
    // Nearly all of it is a hole, in the copy as well.
    constexpr std::uint64_t length = (std::uint64_t{1} << 32) - 100;
    const std::string head = ftyp + largeBoxClaiming(length + 16, "mdat");
    const std::uint64_t at = head.size() + length - media.size();
    const TempFolder folder;
    const std::wstring path = folder.write("m.mp4", head);
    std::fstream file(folder.path() / "m.mp4");
    const auto end = static_cast<std::streamoff>(at);
    MP4::Container movie;
    // The offset would leave its 32 bits.
    file.seekp(end) << media << movieBox(stco(at)) << std::flush;
    ASSERT_TRUE(movie.attach(path, whole));
    testing::internal::CaptureStderr();
    captureOutput([&] { EXPECT_FALSE(movie.moovFirst()); });
    EXPECT_NE(testing::internal::GetCapturedStderr().find("leave its width"), std::string::npos);
    file.seekp(end) << media << movieBox(co64(at)) << std::flush;
    ASSERT_TRUE(movie.attach(path, whole));
    EXPECT_TRUE(movie.moovFirst());
    std::string moved(media.size(), '\0');
    std::ifstream(folder.path() / "m.mp4")
        .seekg(static_cast<std::streamoff>(at + movie.moov->size()))
        .read(moved.data(), static_cast<std::streamsize>(moved.size()));
    EXPECT_EQ(moved, media);
}

TEST(Rewrite, RefusesDamagedAnchorsAndOtherOffsets) {
    const std::pair<std::string, const char*> cases[] = {
        // clang-format off
        {ftyp + boxClaiming(99, "free"), "free"},
        // A child that claims more than its parent.
        {ftyp + box("moov", boxClaiming(20, "udta")) + mdat + mdat, "moov.udta"},
        {ftyp + movieBox(stco(0)) + box("moof") + mdat, "moov.trak"},
        {ftyp + movieBox(stco(0)) + mdat + box("mfra"), "moov.trak"},
        {ftyp + movieBox(stco(0)) + mdat + fullBox("meta", 0, box("iloc")), "moov.trak"},
        {ftyp + movieBox(stco(0), fullBox("meta", 0, box("iloc"))) + mdat, "moov.trak"},
        {ftyp + movieBox(stco(0), box("udta", box("meta", box("hdlr") + box("saio")))) + mdat, "moov.trak"},
        {ftyp + movieBox(stco(0), box("trak", fullBox("meta", 0, box("iloc")))) + mdat, "moov.trak"},
        {ftyp + movieBox(stco(0), box("trak", soundAt(0))) + mdat, "moov.trak"},
        {ftyp + movieBox(stco(0)) + mdat + soundAt(UINT32_MAX), "moov.trak"},
        // What it leads to may lie behind the insertion even when the media data does not move.
        {ftyp + mdat + movieBox(stco(0), fullBox("meta", 0, box("iloc"))), "moov.trak"},
        {ftyp + movieBox({}) + mdat, "moov.trak"},
        {ftyp + movieBox(stco(UINT32_MAX)) + mdat, "moov.trak"},
        // clang-format on
    };
    for (const auto& [bytes, anchor] : cases) {
        Edited edited(bytes);
        ASSERT_NE(edited.movie.first(anchor), nullptr) << anchor;
        edited.expectRefused([a = anchor](MP4::Container& movie) {
            return insertInto(movie, *movie.first(a), false, box("skip"));
        });
    }
}

TEST(Rewrite, AllowsWhatNothingPointsInto) {
    Edited last(source + fullBox("meta", 0, box("iloc"))), spare(ftyp + movieBox({}) + box("free"));
    EXPECT_TRUE(insertInto(last.movie, *last.movie.first("meta"), false, box("skip")));
    EXPECT_TRUE(insertInto(spare.movie, *spare.movie.first("moov.trak"), false, box("skip")));
}

TEST(Rewrite, RefusesABoxThatWouldFallOutOfThoseAroundIt) {
    Edited edited(source), open(ftyp + boxClaiming(0, "mdat"));
    const auto write = [](MP4::BinFile& file) { return file.put(box("skip")); };
    const auto nothing = [](MP4::Container&, MP4::BinFile&) { return true; };
    edited.expectRefused([&](MP4::Container& movie) {
        return movie.insertBox(L"test", *movie.first("moov.udta.free"), false, write, nothing,
                               nothing);
    });
    open.expectRefused([&](MP4::Container& movie) {
        return movie.insertBox(L"test", *movie.mdat, false, write, nothing, nothing);
    });
    // A copy that was made up with other bytes.
    edited.expectRefused([&](MP4::Container& movie) {
        const auto copy = [](auto& src, auto& dst, auto&) { return src.copyTo(dst, 9999) > 0; };
        return movie.modifyContainer(L"test", copy, nothing, nothing);
    });
    const std::string tail = mdat + movieBox(stco(ftyp.size() + 8));
    Edited between(ftyp + mdat + tail);
    const MP4::BOX& anchor = *between.movie.mdat;
    EXPECT_TRUE(between.movie.insertBox(L"test", anchor, false, write, nothing,
                                        MP4::Container::shiftBehind(anchor, 8)));
    EXPECT_EQ(between.bytes(), ftyp + mdat + box("skip") + tail);
}

TEST(Rewrite, KeepsThePermissionsAndFollowsLinks) {
    Edited edited(source);
    fs::permissions(edited.name, fs::perms{0640});
    fs::create_directory(edited.folder.path() / "links");
    fs::create_symlink("../m.mp4", edited.folder.path() / "links/l.mp4");
    MP4::Container linked;
    ASSERT_TRUE(linked.attach(edited.folder.wide("links/l.mp4"), whole));
    EXPECT_TRUE(linked.moovFirst());
    EXPECT_TRUE(fs::is_symlink(edited.folder.path() / "links/l.mp4"));
    EXPECT_EQ(edited.bytes(), moved);
    EXPECT_EQ(fs::status(edited.name).permissions(), fs::perms{0640});
}

TEST(Rewrite, AnOutputPathReceivesTheResult) {
    const std::function<bool(MP4::Container&)> edits[] = {
        [](auto& movie) { return movie.moovFirst(); },
        [](auto& movie) { return movie.appendXMP("x"); },
        [](auto& movie) { return movie.appendAxis("there already"); },
        [](auto& movie) { return movie.updateTimeStamp(7); },
        [](auto& movie) { return movie.modifyContainer(L"x", [](auto&) { return true; }); },
        // In place, and with nothing to change.
        [](auto& movie) { return movie.appendFullRangeAndConstrainedSet1Flag(true); },
        [](auto& movie) { return movie.appendFullRangeAndConstrainedSet1Flag(false); },
    };
    const ByteArray record = h264test::recordOf(h264test::fromHex(h264test::kSamples[1].hex));
    const std::string avcC(reinterpret_cast<const char*>(record.data()), record.length());
    const std::string head = ftyp + mdat;
    const std::string bytes =
        head +
        box("moov", mvhd(1, 1) + trackOf(tkhd(2, 1),
                                         visualEntry("avc1", 2, 1,
                                                     box("avcC", avcC) + box("free", zeros(40))),
                                         stco(head.size() - media.size()))) +
        uuidBox(MP4::AXIS::_UUID);
    for (const auto& edit : edits) {
        SCOPED_TRACE(&edit - edits);
        Edited edited(bytes);
        const std::wstring target = edited.folder.write("out.mp4", "before");
        edited.movie.outputPath = target;
        captureOutput([&] { EXPECT_TRUE(edit(edited.movie)); });
        EXPECT_EQ(edited.bytes(), bytes);
        EXPECT_GE(readFile(target).size(), bytes.size());
        EXPECT_TRUE(edited.movie.path == target && edited.movie.outputPath.empty());
        EXPECT_TRUE(edited.movie.mdat != nullptr);
    }

    // The source, under any name, and what is no regular file.
    Edited own(source);
    fs::create_hard_link(own.name, own.folder.path() / "same");
    fs::create_symlink("nowhere", own.folder.path() / "dangling");
    ASSERT_EQ(::mkfifo((own.folder.path() / "fifo").c_str(), 0600), 0);
    for (const char* name : {"m.mp4", "same", "dangling", "fifo", ""}) {
        own.movie.outputPath = own.folder.wide(name);
        captureOutput([&] { EXPECT_FALSE(own.movie.moovFirst()) << name; });
        EXPECT_EQ(own.bytes(), source) << name;
    }
    EXPECT_TRUE(fs::is_fifo(own.folder.path() / "fifo"));
}

TEST(Rewrite, FailuresSayWhichFiles) {
    Edited edited(source);
    const std::string& name = edited.name;
    EXPECT_EQ(captureOutput([&] {
                  EXPECT_FALSE(edited.movie.insertBox(L"test", *edited.movie.moov, false,
                                                      [](auto&) { return false; }, {}, {}));
                  edited.movie.outputPath = edited.folder.wide("none/out.mp4");
                  EXPECT_FALSE(edited.movie.moovFirst());
              }),
              "Container::modifyContainer::test(" + name + " to " + name +
                  ".tmp.mp4) failed.\nopen(" + name.substr(0, name.size() - 5) +
                  "none/out.mp4, 'w') failed.\nContainer::modifyContainer::moovFirst(" + name +
                  " to " + name.substr(0, name.size() - 5) + "none/out.mp4) failed.\n");
    EXPECT_EQ(edited.bytes(), edited.before);
}

TEST(Rewrite, HarmsNobodysFile) {
    // A file that has the stated name of the temporary one is its owner's.
    Edited edited(source);
    const std::wstring stated = edited.folder.write("m.mp4.tmp.mp4", "mine");
    captureOutput([&] { EXPECT_TRUE(edited.movie.moovFirst()); });
    EXPECT_TRUE(edited.bytes() == moved && readFile(stated) == "mine");

    // What is exchanged while the copy is made, movie or output, is not what was looked at.
    const std::string newer = source + box("free");
    const auto exchange = [&](const char* name) {
        edited.folder.write("new", newer);
        fs::rename(edited.folder.path() / "new", edited.folder.path() / name);
    };
    for (const char* target : {"m.mp4", "out.mp4", "absent.mp4"}) {
        edited.folder.write("m.mp4", source);
        edited.folder.write("out.mp4", "before");
        ASSERT_TRUE(edited.movie.attach(edited.path, whole));
        const bool elsewhere = target != std::string("m.mp4");
        edited.movie.outputPath = elsewhere ? edited.folder.wide(target) : L"";
        const auto write = [&](auto&) { return exchange(target), true; };
        const auto nothing = [](auto&, auto&) { return true; };
        captureOutput([&] {
            EXPECT_FALSE(edited.movie.insertBox(L"test", *edited.movie.moov, false, write, nothing,
                                                nothing));
        });
        EXPECT_EQ(readFile(edited.folder.wide(target)), newer) << target;
        EXPECT_EQ(edited.bytes(), elsewhere ? source : newer) << target;
    }
}

TEST(InPlace, TheFileIsTheOneThatWasParsedAndStays) {
    Edited edited(source);
    const auto replace = [&] {
        edited.folder.write("new", source);
        fs::rename(edited.folder.path() / "new", edited.name);
    };
    const auto edit = [&](const std::function<bool(MP4::BinFile&)>& step) {
        bool done = false;
        captureOutput([&] { done = edited.movie.modifyContainer(L"test", step); });
        return done;
    };
    const auto nothing = [](auto&) { return true; };
    // One that loses its name under the edit has lost the edit.
    EXPECT_FALSE(edit([&](auto& file) { return replace(), file.put("lost"); }));
    EXPECT_EQ(edited.bytes(), source);
    replace();
    EXPECT_FALSE(edit(nothing));
    EXPECT_TRUE(edit(nothing));

    // What was done through the container is known to it, unless it moved boxes.
    const auto write = [&](std::uint64_t at, const std::string& bytes) {
        return edited.movie.open_a([&](WEKU::FileIO& file) {
            EXPECT_TRUE(file.seek_set(at));
            (void)file.write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        });
    };
    EXPECT_TRUE(write(ftyp.size() + 8, "m"));
    EXPECT_TRUE(edit(nothing));
    EXPECT_TRUE(write(ftyp.size(), u32(9)));
    EXPECT_FALSE(edit(nothing));
    EXPECT_TRUE(write(0, source) && edited.movie.updateTimeStamp(1));

    // However its tree was read.
    MP4::Container parsed;
    WEKU::FileIO::open(edited.path, [&](WEKU::FileIO& opened) {
        MP4::BinFile file(opened);
        parsed.parse(file, whole);
    });
    EXPECT_TRUE(parsed.updateTimeStamp(2));
    captureOutput([&] {
        EXPECT_TRUE(parsed.modifyContainer(
            L"test", [&](auto&) { return !parsed.appendXMP("x") && !parsed.moovFirst(); }));
    });
}

TEST(InPlace, AHandleSeesWhatItWrote) {
    Edited edited(source);
    captureOutput([&] {
        EXPECT_TRUE(edited.movie.modifyContainer(L"test", [&](MP4::BinFile& file) {
            const std::string more = box("free", "added");
            EXPECT_EQ(file.take32(), ftyp.size());
            EXPECT_TRUE(file.seek_set(0));
            EXPECT_EQ(file.write(reinterpret_cast<const unsigned char*>(u32(99).data()), 4), 4U);
            file.moveTo(0);
            EXPECT_EQ(file.take32(), 99U);
            file.moveTo(0);
            EXPECT_TRUE(file.put(u32(ftyp.size())));
            file.moveTo(source.size());
            EXPECT_TRUE(file.put(more));
            EXPECT_EQ(file.fileLength(), source.size() + more.size());
            MP4::Container now;
            file.moveTo(0);
            now.parse(file, whole);
            EXPECT_TRUE(now.first("free") != nullptr);
            // The container's own opens lead there too.
            EXPECT_EQ(edited.movie.payload(*now.first("free")), "added");
            return true;
        }));
    });
}

TEST(InPlace, TimeStampsAreAllSetOrNone) {
    Edited edited(source);
    EXPECT_TRUE(edited.movie.updateTimeStamp(0x1234567890));
    for (const char* header : {"mvhd", "tkhd"})
        EXPECT_EQ(edited.bytes().substr(edited.before.find(header) + 8, 4), u32(0x34567890));
    const std::string mdhd1 = fullBox("mdhd", 1, u64(1) + u64(2) + u32(3) + u64(4));
    Edited versionOne(box("moov", box("trak", box("mdia", mdhd1))));
    EXPECT_TRUE(versionOne.movie.updateTimeStamp(0x1122334455667788));
    EXPECT_EQ(versionOne.bytes().substr(36, 16), u64(0x1122334455667788) + u64(2));

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
    EXPECT_EQ(edited.bytes(), edited.before + uuidBox(MP4::XMP::_UUID, "first") +
                                  uuidBox(MP4::AXIS::_UUID, "first"));

    // A parse that was cut short does not decide where the end is.
    Edited bounded(ftyp + box("free"));
    EXPECT_TRUE(bounded.movie.attach(bounded.path, 8));
    EXPECT_TRUE(bounded.movie.appendXMP("x"));
    EXPECT_EQ(bounded.bytes(), bounded.before + uuidBox(MP4::XMP::_UUID, "x"));

    // Behind these a reader would not find the box.
    for (const std::string& tail :
         {boxClaiming(0, "mdat"), boxClaiming(90, "mdat"), std::string("junk"), zeros(16)}) {
        Edited refused(ftyp + tail);
        refused.expectRefused([](auto& movie) { return movie.appendXMP("x"); });
    }
}
