#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "mp4/SampleTableBoxes.h"
#include "sondex/sondex.h"
#include "support/Endian.h"
#include "support/WideText.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"

using namespace kit;
using sondex::ErrorCode;
using sondex::Movie;
using sondex::Road;

namespace {

const std::string media(1000, 'm');

/// The media data that the movie's chunk offset names, if the boxes follow each other to the end.
std::string mediaOf(const std::string& path) {
    MP4::Container movie;
    const std::string file = readFile(path);
    if (!movie.attach(WEKU::wchar::widen(path), MP4::Container::wholeFile)) return "";
    std::uint64_t end = 0;
    for (const auto& box : movie.root->children) {
        if (box->start != end) return "a gap";
        end = box->end();
    }
    const auto* table = movie.first<MP4::STCO>("moov.trak.mdia.minf.stbl.stco");
    if (end != file.size() || table == nullptr) return "no end";
    return file.substr(WEKU::loadBig<std::uint32_t>(file.data() + table->entriesOffset), 1000);
}

/// The size of the first movie box.
std::uint64_t movieBoxOf(const std::string& path) {
    const auto file = sondex::readBoxes(path).value();
    const auto isMovie = [](const sondex::Box& box) { return box.type == "moov"; };
    return std::find_if(file.children.begin(), file.children.end(), isMovie)->size;
}

struct MovieFile {
    explicit MovieFile(const std::string& bytes) : path((folder.path() / "m.mp4").string()) {
        folder.write("m.mp4", bytes);
    }
    Movie open() const { return sondex::Movie::open(path).value(); }
    std::uintmax_t size() const { return std::filesystem::file_size(path); }

    TempFolder folder;
    std::string path;
};

std::string reasonOf(const sondex::Status& status, ErrorCode code) {
    if (status) return "done";
    EXPECT_EQ(toString(status.error().code), toString(code));
    return status.error().message;
}

}  // namespace

TEST(Movie, TakesTheCheapestRoadAndKeepsTheMedia) {
    const std::string front = box("ftyp", "isom");
    const std::string open = mdatFirst(media);
    const std::size_t moov = open.find("moov") - 4;
    const struct {
        const char* name;
        std::string movie;
        /// How much longer the file is after a user data box of 100 bytes more.
        std::uintmax_t longer;
    } layouts[] = {
        {"movie last", open, open.size() - moov + 100},
        {"movie last, without an end", open.substr(0, moov) + u32(0) + open.substr(moov + 4),
         open.size() - moov + 100},
        {"room behind it", open + box("free", zeros(2000)) + uuidBox(MP4::xmpType, "x"), 0},
        {"room in a box of 64 bits", open + largeBox("free", zeros(2000)), 0},
        {"left of a power cut", open + zeros(40), open.size() - moov + 60},
        {"movie first",
         front +
             movieBox(stco(front.size() + 8 + movieBox(stco(0), box("udta", box("free"))).size()),
                      box("udta", box("free"))) +
             box("mdat", media),
         100},
        {"movie first, room behind it",
         front +
             movieBox(
                 stco(front.size() + 1016 + movieBox(stco(0), box("udta", box("free"))).size()),
                 box("udta", box("free"))) +
             box("free", zeros(1000)) + box("mdat", media),
         0},
    };
    for (const auto& layout : layouts) {
        SCOPED_TRACE(layout.name);
        const MovieFile file(layout.movie);
        const auto before = file.size();
        const auto first = movieBoxOf(file.path);
        Movie movie = file.open();
        ASSERT_TRUE(movie.insertBehind("moov.udta.free", box("skip", zeros(92))));
        EXPECT_EQ(reasonOf(movie.save(), {}), "done");
        EXPECT_EQ(file.size(), before + layout.longer);
        EXPECT_EQ(mediaOf(file.path), media);
        // In its own room; then over and over: the file has the size of one more movie box at most.
        ASSERT_TRUE(movie.replace("moov.udta.skip", box("skip", std::string(92, 'x'))));
        EXPECT_EQ(reasonOf(movie.save(Road::inPlace), {}), "done");
        EXPECT_EQ(file.size(), before + layout.longer);
        auto largest = movieBoxOf(file.path);
        for (int i = 0; i < 20; ++i) {
            ASSERT_TRUE(movie.insertFirst("moov.udta", box("free", zeros(i % 3 == 0 ? 1 : 40))));
            if (i % 4 == 3) {
                ASSERT_TRUE(movie.remove("moov.udta.free"));
            }
            EXPECT_EQ(reasonOf(movie.save(), {}), "done");
            EXPECT_EQ(mediaOf(file.path), media);
            largest = std::max(largest, movieBoxOf(file.path));
            EXPECT_LE(file.size(), before - first + 2 * largest + 8);
        }
    }
}

TEST(Movie, MakesSeveralChangesAtOnce) {
    const MovieFile file(mdatFirst(media));
    Movie movie = file.open();
    ASSERT_TRUE(movie.appendXmp("<x/>") && movie.setCreationTime(1700000000));
    ASSERT_TRUE(movie.setPosition({35.6895, -139.6917, {}}));
    // Asked for first, the box behind the movie stands behind what the movie's last box gets.
    ASSERT_TRUE(movie.insertBehind("moov", box("skip", "a")));
    ASSERT_TRUE(movie.insertBehind("moov.udta", box("skip", "b")));
    ASSERT_TRUE(movie.remove("moov.udta.free"));
    ASSERT_EQ(reasonOf(movie.save(), {}), "done");
    EXPECT_TRUE(movie.changes().empty());
    const auto facts = sondex::readMovie(file.path, {{}, false}).value();
    EXPECT_EQ(facts.created, 1700000000);
    ASSERT_TRUE(facts.position);
    EXPECT_NEAR(facts.position->longitude, -139.6917, 1e-4);
    EXPECT_EQ(mediaOf(file.path), media);
    MP4::Container now;
    ASSERT_TRUE(now.attach(WEKU::wchar::widen(file.path), MP4::Container::wholeFile));
    EXPECT_TRUE(now.first("moov.skip") && now.first("skip") && now.first("uuid"));
    EXPECT_EQ(now.first("moov.udta.free"), nullptr);

    const std::string target = file.path + ".out";
    const std::string source = readFile(file.path);
    ASSERT_TRUE(movie.remove("uuid"));
    ASSERT_EQ(reasonOf(movie.saveTo(target), {}), "done");
    EXPECT_EQ(readFile(file.path), source);
    EXPECT_EQ(mediaOf(target), media);
}

/// Whatever states it, and however often it changes: an XMP packet behind the movie box moves
/// along.
TEST(Movie, StatesOnePosition) {
    const std::string packet =
        "<x:a\n exif:GPSLatitude=\"1,2N\" exif:GPSAltitude='1/1'\texif:GPSLongitude='1E'> "
        "<exif:GPSAltitude>7/1"
        "</exif:GPSAltitude><exif:GPSLatitude>3,4S</exif:GPSLatitude><exif:GPSLongitude></x:a>";
    const MovieFile file(mdatFirst(media) + uuidBox(MP4::xmpType, packet));
    const auto before = file.size();
    for (int i = 0; i < 20; ++i) {
        Movie movie = file.open();
        ASSERT_TRUE(
            movie.setPosition({-33.5 - i, -10, i == 0 ? std::optional(8.5) : std::nullopt}));
        EXPECT_EQ(movie.changes(), sondex::Done{"position set"});
        EXPECT_EQ(reasonOf(movie.save(Road::movieRoom), {}), "done");
        EXPECT_EQ(mediaOf(file.path), media);
        const std::string south = std::to_string(33 + i) + ",30.000000S";
        const std::string high[] = {"exif:GPSAltitude='850/100'",
                                    "<exif:GPSAltitude>850/100</exif:GPSAltitude>"};
        MP4::Container now;
        ASSERT_TRUE(now.attach(WEKU::wchar::widen(file.path), MP4::Container::wholeFile));
        std::string packets;
        now.findEach<MP4::UUID>("uuid",
                                [&](const auto& box) { return packets += box.payload, true; });
        EXPECT_EQ(packets, "<x:a\n exif:GPSLatitude=\"" + south + "\" " + (i == 0 ? high[0] : "") +
                               "\texif:GPSLongitude='10,0.000000W'> " + (i == 0 ? high[1] : "") +
                               "<exif:GPSLatitude>" + south +
                               "</exif:GPSLatitude><exif:GPSLongitude></x:a>");
        EXPECT_LE(file.size(), before + 2 * (movieBoxOf(file.path) + packets.size()));
    }
}

/// Media between two changes moves with the first alone.
TEST(Movie, FollowsMediaBetweenChanges) {
    const std::string front = box("ftyp", "isom");
    const auto moov = [](std::size_t offset) {
        return movieBox(stco(offset), box("udta", box("free", zeros(16))));
    };
    const std::string bytes = front + moov(front.size() + moov(0).size() + 8) + box("mdat", media) +
                              box("free", zeros(16));
    const std::function<bool(Movie&)> changes[] = {
        [](Movie& movie) {
            return bool(movie.setPosition({1, 2, {}})) && bool(movie.appendXmp("x"));
        },
        [](Movie& movie) {
            return bool(movie.insertBehind("ftyp", box("skip", zeros(16)))) &&
                   bool(movie.remove("free"));
        },
        [](Movie& movie) {
            return bool(movie.remove("moov.udta.free")) &&
                   bool(movie.insertBehind("mdat", box("skip", zeros(16))));
        },
    };
    for (const auto& change : changes) {
        const MovieFile file(bytes);
        Movie movie = file.open();
        ASSERT_TRUE(change(movie));
        EXPECT_EQ(reasonOf(movie.save(), {}), "done");
        EXPECT_EQ(mediaOf(file.path), media);
    }
}

TEST(Movie, SaysWhyItRefuses) {
    const std::string good = mdatFirst(media);
    using Ask = std::function<sondex::Status(Movie&)>;
    const auto insert = [](const char* path, std::string boxes) {
        return [=](Movie& movie) { return movie.insertBehind(path, boxes); };
    };
    const struct {
        std::string movie;
        Ask ask;
        Road road;
        const char* reason;
    } refusals[] = {
        {good, insert("moov.none", box("free")), {}, "there is no box moov.none"},
        {good, insert("moov.udta", "12345678"), {}, "the bytes are no whole boxes"},
        {good, [](Movie& movie) { return movie.remove("moov"); }, {}, "a movie needs its box"},
        {good,
         [](Movie& movie) {
             return movie.setPosition({91, 0, {}});
         },
         {},
         "no place on earth"},
        {good, insert("ftyp", box("free")), Road::movieRoom,
         "the change reaches beyond the movie box"},
        {good, insert("moov.udta.free", box("free")), Road::inPlace,
         "the change does not keep its room, or takes more than one write"},
        {good,
         [](Movie& movie) {
             static_cast<void>(movie.remove("moov.udta"));
             return movie.replace("moov.udta", box("udta"));
         },
         {},
         "two changes touch the same bytes"},
        {good + boxClaiming(0, "uuid", zeros(20)), insert("moov.udta.free", box("free")),
         Road::movieRoom, "its last box has no end"},
        {box("ftyp") + movieBox(stco(40), box("udta", box("free"))),
         insert("moov.udta.free", box("free")), Road::rewrite, "media data lies in its movie box"},
        {good + "tail", insert("moov.udta.free", box("free")), Road::movieRoom,
         "bytes that are no box stand behind its last box"},
        {good + boxClaiming(90, "uuid", zeros(20)),
         insert("uuid", box("free")),
         {},
         "the change reaches behind the end of the file"},
    };
    for (const auto& [bytes, ask, road, reason] : refusals) {
        const MovieFile file(bytes);
        Movie movie = file.open();
        sondex::Status status = ask(movie);
        if (status) status = movie.save(road);
        EXPECT_EQ(reasonOf(status, ErrorCode::refused), reason);
        EXPECT_EQ(readFile(file.path), bytes);
    }
    const MovieFile file(good);
    Movie movie = file.open();
    const int other = ::open(file.path.c_str(), O_RDONLY);
    ::flock(other, LOCK_EX);
    ASSERT_TRUE(movie.appendXmp("x"));
    EXPECT_NE(reasonOf(movie.save(), ErrorCode::busy).find("another program"), std::string::npos);
    ::close(other);
    file.folder.write("m.mp4", good + box("free"));
    ASSERT_TRUE(movie.appendXmp("x"));
    EXPECT_NE(reasonOf(movie.save(), ErrorCode::changed).find("has changed"), std::string::npos);
    EXPECT_EQ(sondex::Movie::open(file.path + "x").error().code, ErrorCode::notFound);
}
