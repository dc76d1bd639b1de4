#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mp4/SampleTableBoxes.h"
#include "sondex/sondex.h"
#include "support/WideText.h"
#include "tests/kit/BuiltMovie.h"
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
        if (box->start != end || box->openEnded) return "a gap";
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

struct MovieFile : OpenedMovie {
    using OpenedMovie::OpenedMovie;
    Movie open() const { return Movie::open(name).value(); }
    std::uintmax_t size() const { return bytes().size(); }
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
    const std::size_t moov = open.find("moov") - 4, behind = open.size() - moov + 100;
    const auto first = [&](std::size_t room) {
        const auto at = [](std::size_t offset) {
            return movieBox(stco(offset), box("udta", box("free")));
        };
        return front + at(front.size() + at(0).size() + room + 8);
    };
    const struct {
        const char* name;
        std::string movie;
        /// How much longer the file is after a user data box of 100 bytes more.
        std::uintmax_t longer;
    } layouts[] = {
        // clang-format off
        {"movie last", open, behind},
        {"media in a spare box", std::string(open).replace(16, 4, "free").insert(moov, box("wide")), behind},
        {"movie last, without an end", open.substr(0, moov) + u32(0) + open.substr(moov + 4), behind},
        {"room ahead of it", open.substr(0, moov) + box("free", zeros(2000)) + u32(0) + open.substr(moov + 4), 0},
        {"room behind it", open + box("free", zeros(2000)) + uuidBox(MP4::xmpType, "x"), 0},
        {"room but for a header", open + box("wide") + box("free", zeros(behind + 4)), behind},
        {"room in a box of 64 bits", open + largeBox("free", zeros(2000)), 0},
        {"left of a power cut", open + zeros(40), behind - 40},
        {"a box of it", open + boxClaiming(5000, "free", zeros(32)), behind - 40},
        {"movie first", first(0) + box("mdat", media), 100},
        {"movie first, room behind the media", first(0) + box("mdat", media) + box("free", zeros(2000)), 100},
        {"movie first, room behind it", first(1008) + box("free", zeros(1000)) + box("mdat", media), 0},
        // clang-format on
    };
    for (const auto& layout : layouts) {
        SCOPED_TRACE(layout.name);
        const MovieFile file(layout.movie);
        const auto before = file.size();
        const auto first = movieBoxOf(file.name);
        Movie movie = file.open();
        ASSERT_TRUE(movie.insertBehind("moov.udta.free", box("skip", zeros(92))));
        EXPECT_EQ(reasonOf(movie.save(), {}), "done");
        EXPECT_EQ(file.size(), before + layout.longer);
        EXPECT_EQ(mediaOf(file.name), media);
        // In its own room; then over and over: the file has the size of one more movie box at most.
        ASSERT_TRUE(movie.replace("moov.udta.skip", box("skip", std::string(92, 'x'))));
        EXPECT_EQ(reasonOf(movie.save(Road::inPlace), {}), "done");
        EXPECT_EQ(file.size(), before + layout.longer);
        auto largest = movieBoxOf(file.name);
        for (int i = 0; i < 20; ++i) {
            ASSERT_TRUE(movie.insertFirst("moov.udta", box("free", zeros(i % 3 == 0 ? 1 : 40))));
            if (i % 4 == 3) {
                ASSERT_TRUE(movie.remove("moov.udta.free"));
            }
            EXPECT_EQ(reasonOf(movie.save(), {}), "done");
            EXPECT_EQ(mediaOf(file.name), media);
            largest = std::max(largest, movieBoxOf(file.name));
            EXPECT_LE(file.size(), before - first + 2 * largest + 8);
        }
    }
}

TEST(Movie, MakesSeveralChangesAtOnce) {
    std::string bytes = mdatFirst(media);
    const MovieFile file(bytes.replace(bytes.find("moov") - 4, 4, zeros(4)));
    Movie movie = file.open();
    ASSERT_TRUE(movie.appendXmp("<x/>") && movie.setCreationTime(1700000000));
    ASSERT_TRUE(movie.setPosition({35.6895, -139.6917, {}}));
    // Asked for first, the box behind the movie stands behind what the movie's last box gets.
    ASSERT_TRUE(movie.insertBehind("moov", box("skip", "a")));
    ASSERT_TRUE(movie.insertBehind("moov.udta", box("skip", "b")));
    ASSERT_TRUE(movie.insertBehind("moov", box("wide")));
    ASSERT_TRUE(movie.remove("moov.udta.free"));
    ASSERT_TRUE(movie.insertFirst("moov.trak.mdia.minf.stbl.stsd.avc1", box("skip", "c")));
    ASSERT_EQ(reasonOf(movie.save(), {}), "done");
    EXPECT_TRUE(movie.changes().empty());
    const auto facts = sondex::readMovie(file.name, {{}, false}).value();
    EXPECT_EQ(facts.created, 1700000000);
    ASSERT_TRUE(facts.position);
    EXPECT_NEAR(facts.position->longitude, -139.6917, 1e-4);
    EXPECT_EQ(mediaOf(file.name), media);
    MP4::Container now;
    ASSERT_TRUE(now.attach(file.path, MP4::Container::wholeFile));
    EXPECT_TRUE(now.first("moov.skip") && now.first("skip") && now.first("uuid"));
    EXPECT_TRUE(now.first("moov.trak.mdia.minf.stbl.stsd.avc1.skip"));
    EXPECT_LT(now.first("skip")->start, now.first("wide")->start);
    EXPECT_EQ(now.first("moov.udta.free"), nullptr);

    const std::string target = file.name + ".out";
    const std::string source = file.bytes();
    ASSERT_TRUE(movie.remove("uuid"));
    ASSERT_EQ(reasonOf(movie.saveTo(target), {}), "done");
    EXPECT_EQ(file.bytes(), source);
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
        EXPECT_EQ(mediaOf(file.name), media);
        const std::string south = std::to_string(33 + i) + ",30.000000S";
        const std::string high[] = {"exif:GPSAltitude='850/100'",
                                    "<exif:GPSAltitude>850/100</exif:GPSAltitude>"};
        MP4::Container now;
        ASSERT_TRUE(now.attach(file.path, MP4::Container::wholeFile));
        std::string packets;
        now.findEach<MP4::UUID>("uuid",
                                [&](const auto& box) { return packets += box.payload, true; });
        EXPECT_EQ(packets, "<x:a\n exif:GPSLatitude=\"" + south + "\" " + (i == 0 ? high[0] : "") +
                               "\texif:GPSLongitude='10,0.000000W'> " + (i == 0 ? high[1] : "") +
                               "<exif:GPSLatitude>" + south +
                               "</exif:GPSLatitude><exif:GPSLongitude></x:a>");
        EXPECT_LE(file.size(), before + 2 * (movieBoxOf(file.name) + packets.size()));
    }
    // Of what was asked for the last counts, also when it is what stands there.
    const std::string stood = file.bytes();
    Movie movie = file.open();
    ASSERT_TRUE(movie.setPosition({1, 2, {}}) && movie.setPosition({-52.5, -10, {}}));
    EXPECT_EQ(reasonOf(movie.save(), {}), "done");
    EXPECT_TRUE(file.bytes() == stood);
}

TEST(Movie, MovesBoxesOf64BitsWhole) {
    const MovieFile file(mdatFirst(media) + box("free", zeros(300)));
    Movie movie = file.open();
    ASSERT_TRUE(movie.insertBehind("free", largeBox("wide", "kept")));
    ASSERT_TRUE(movie.insertBehind("moov.udta.free", box("skip")));
    EXPECT_EQ(reasonOf(movie.save(Road::movieRoom), {}), "done");
    EXPECT_NE(file.bytes().find(largeBox("wide", "kept")), std::string::npos);
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
        // clang-format off
        [](Movie& movie) { return bool(movie.setPosition({1, 2, {}})) && bool(movie.appendXmp("x")); },
        [](Movie& movie) { return bool(movie.insertBehind("ftyp", box("skip", zeros(16)))) && bool(movie.remove("free")); },
        [](Movie& movie) { return bool(movie.remove("moov.udta.free")) && bool(movie.insertBehind("mdat", box("skip", zeros(16)))); },
        // clang-format on
    };
    for (const auto& change : changes) {
        const MovieFile file(bytes);
        Movie movie = file.open();
        ASSERT_TRUE(change(movie));
        EXPECT_EQ(reasonOf(movie.save(), {}), "done");
        EXPECT_EQ(mediaOf(file.name), media);
    }
}

TEST(Movie, SaysWhyItRefuses) {
    const std::string good = mdatFirst(media);
    using Ask = std::function<sondex::Status(Movie&)>;
    const auto insert = [](const char* path, std::string boxes) {
        return [=](Movie& movie) { return movie.insertBehind(path, boxes); };
    };
    const auto put = [](std::vector<std::pair<const char*, std::string>> boxes) {
        return [=](Movie& movie) {
            sondex::Status status;
            for (const auto& [path, bytes] : boxes)
                status = movie.replace(path, bytes);
            return status;
        };
    };
    const char* const twice = "two changes touch the same bytes";
    const char* const noRoom = "the change does not keep its room, or takes more than one write";
    const std::string sector = mdatFirst(std::string(490, 'm'));
    const Ask addFree = insert("moov.udta.free", box("free"));
    const struct {
        std::string movie;
        Ask ask;
        const char* reason;
        Road road = {};
    } refusals[] = {
        // clang-format off
        {good, insert("moov.none", box("free")), "there is no box moov.none"},
        {good, insert("moov.trak[0x.tkhd", box("free")), "there is no box moov.trak[0x.tkhd"},
        {movieBox(stco(0), box("trak", box("meta"))), insert("moov.trak[0].meta", box("free")), "there is no box moov.trak[0].meta"},
        {good, insert("moov.udta", "12345678"), "the bytes are no whole boxes"},
        {good, put({{"moov", ""}}), "a movie needs its box"},
        {good, [](Movie& movie) { return movie.setPosition({91, 0, {}}); }, "no place on earth"},
        {good, [](Movie& movie) { return movie.setPosition({1, 2, -32768.0}); }, "no place on earth"},
        {good + uuidBox(MP4::AXIS::_UUID), [](Movie& movie) { return movie.appendAxis("x"); }, "it has a tilt stream already"},
        {good, [](Movie& movie) { return movie.setCreationTime(2300000000); }, "its headers hold no time behind February 2040"},
        {good, insert("ftyp", box("free")), "the change reaches beyond the movie box", Road::movieRoom},
        {good, addFree, noRoom, Road::inPlace},
        {good, put({{"ftyp", box("ftyp", "mp42")}, {"moov.udta.free", box("skip")}}), noRoom, Road::inPlace},
        {good, put({{"mdat", box("mdat", std::string(1000, 'x'))}}), noRoom, Road::inPlace},
        {good, put({{"moov.udta", ""}, {"moov.udta", box("udta")}}), twice},
        {good, put({{"moov.udta", ""}, {"moov.udta.free", box("skip")}}), twice},
        {good + boxClaiming(0, "uuid", zeros(20)), addFree, "its last box has no end", Road::movieRoom},
        {std::string(sector).replace(510, 4, zeros(4)), addFree, "its movie box has no end", Road::movieRoom},
        {box("mdat") + movieBox(stco(9999), box("udta", box("free"))), addFree, "media data is missing at its end", Road::movieRoom},
        {std::string(good).replace(16, 4, "wide"), put({{"wide", ""}}), "media data lies in a box", Road::movieRoom},
        {box("ftyp") + movieBox(stco(40), box("udta", box("free"))), addFree, "media data lies in its movie box", Road::rewrite},
        {good + "tail", addFree, "bytes that are no box stand behind its last box", Road::movieRoom},
        {good + boxClaiming(90, "uuid", zeros(20)), insert("uuid", box("free")), "the change reaches behind the end of the file"},
        {std::string(good).replace(good.find("moov") - 4, 4, u32(9999)), addFree, "a box around it claims more bytes than the file has"},
        // clang-format on
    };
    for (const auto& [bytes, ask, reason, road] : refusals) {
        const MovieFile file(bytes);
        Movie movie = file.open();
        sondex::Status status = ask(movie);
        if (status) status = movie.save(road);
        EXPECT_EQ(reasonOf(status, ErrorCode::refused), reason);
        EXPECT_EQ(file.bytes(), bytes);
    }
    const MovieFile file(good);
    Movie movie = file.open();
    const int other = ::open(file.name.c_str(), O_RDONLY);
    ::flock(other, LOCK_EX);
    ASSERT_TRUE(movie.appendXmp("x"));
    EXPECT_NE(reasonOf(movie.save(), ErrorCode::busy).find("another program"), std::string::npos);
    ::close(other);
    file.folder.write("m.mp4", good + box("free"));
    ASSERT_TRUE(movie.appendXmp("x"));
    EXPECT_NE(reasonOf(movie.save(), ErrorCode::changed).find("has changed"), std::string::npos);
    EXPECT_EQ(sondex::Movie::open(file.name + "x").error().code, ErrorCode::notFound);
    // More boxes than are listed.
    std::string many = good;
    for (int i = 0; i < 140000; ++i)
        many += box("free");
    file.folder.write("m.mp4", many);
    movie = file.open();
    ASSERT_TRUE(movie.appendXmp("x"));
    EXPECT_NE(reasonOf(movie.save(), ErrorCode::damaged).find("in full"), std::string::npos);
}

TEST(Spherical, RulesSayWhatIsWrong) {
    BuiltMovie movie;
    movie.tracks[0].width = 641;
    movie.xml = "<a:Spherical>true</a:Spherical><b><c></b></c>";
    const MovieFile file(movie.bytes());
    const auto rules = sondex::checkSpherical(file.name);
    std::string wrong;
    for (const auto& rule : *rules)
        wrong += rule.holds ? "" : rule.name + ", ";
    EXPECT_TRUE(wrong.starts_with("twice as wide as high, XML well formed, Stitched")) << wrong;
}

TEST(NewFile, TakesThePlaceOfWhatStands) {
    namespace fs = std::filesystem;
    const TempFolder folder;
    const auto put = [&](const char* name) -> std::string {
        auto made = sondex::NewFile::make((folder.path() / name).string(), true);
        if (!made) return made.error().message;
        return made->append("new") && made->finish() ? "done" : "not done";
    };
    const auto permissions = [&](const char* name) {
        return fs::status(folder.path() / name).permissions();
    };
    folder.write("old", "old");
    fs::permissions(folder.path() / "old", fs::perms{0604});
    fs::create_symlink("old", folder.path() / "link");
    ASSERT_EQ(::mkfifo((folder.path() / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(put("link"), "done");
    EXPECT_TRUE(fs::is_symlink(folder.path() / "link"));
    EXPECT_EQ(readFile(folder.path() / "old"), "new");
    EXPECT_EQ(permissions("old"), fs::perms{0604});
    EXPECT_EQ(put("fifo"), "it is no regular file");
    const mode_t before = ::umask(0027);
    EXPECT_EQ(put("fresh"), "done");
    ::umask(before);
    EXPECT_EQ(permissions("fresh"), fs::perms{0640});
}
