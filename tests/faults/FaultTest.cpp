#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>

#include "app/MetaReader.h"
#include "app/SensorDump.h"
#include "builder/Carry.h"
#include "builder/Refusal.h"
#include "builder/Strip.h"
#include "mp4/SampleTableBoxes.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "support/EndingSignals.h"
#include "tests/faults/Faults.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"
#include "tests/kit/TiffBuilder.h"

using namespace kit;

namespace {

namespace fs = std::filesystem;
using faults::How;
using MP4::Container;

/// Calls `attempt` with each fault at the first call, at the second and so on, until it says that
/// there were not so many.
void everyFault(How last, const std::function<bool(How, long)>& attempt) {
    for (int how = 0; how <= static_cast<int>(last); ++how) {
        bool reached = true;
        for (long at = 1; reached && !testing::Test::HasFailure(); ++at) {
            SCOPED_TRACE("fault " + std::to_string(how) + " at call " + std::to_string(at));
            reached = attempt(How{how}, at);
        }
    }
}

/// What is said of a fault is not shown; of the three streams, those of the mask are closed.
struct Silence {
    explicit Silence(long closed = 0) {
        const int nowhere = ::open("/dev/null", O_WRONLY);
        ::dup2(nowhere, STDERR_FILENO);
        ::close(nowhere);
        for (int stream = 0; stream < 3; ++stream) {
            if ((closed >> stream & 1) != 0) ::close(stream);
        }
    }
    ~Silence() {
        for (int stream = 0; stream < 3; ++stream) {
            ::dup2(kept[stream], stream);
            ::close(kept[stream]);
        }
    }
    const int kept[3] = {::dup(0), ::dup(1), ::dup(2)};
};

/// Runs an edit under a fault, in a process of its own where the fault ends it, which takes most of
/// the time. What was seen, with 1 for an edit that says that it is done; for a process that ended
/// by a signal, every bit but that one and `killed`.
constexpr int killed = 1 << 8;
int seenUnder(How how, long at, const std::function<bool()>& edit, long closed = 0) {
    const auto attempt = [&] {
        faults::arm(how, at);
        const int done = edit() ? 1 : 0;
        return done | faults::disarm();
    };
    int seen = 0;
    captureOutput([&] {
        // A lost standard output stays lost, here for the tests that follow.
        constexpr long allButOutput = 5;
        const Silence silence(how < How::kill ? closed & allButOutput : closed);
        if (how < How::kill) {
            seen = attempt();
            return;
        }
        const pid_t child = ::fork();
        if (child == 0) {
            WEKU::handleEndingSignals();
            ::_exit(attempt());
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        seen = WIFSIGNALED(status) ? killed | 0xFE : WEXITSTATUS(status);
    });
    return seen;
}

/// More media than a copy does without the system's fast path, and boxes that a parse which went
/// wrong would leave behind.
std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

std::string builtMovie() {
    return mdatFirst(pattern(150000)) + box("free", pattern(5000)) +
           uuidBox(MP4::sphericalVideoType, pattern(300));
}

/// A movie whose baseline flag is set in place, or by a rewrite that moves all media.
template <bool inPlace>
std::string unflaggedMovie() {
    const TempFolder folder;
    const std::wstring path = folder.write(
        "m.mp4", clip("ahead.mp4", {"-c:v", "libx264", "-profile:v", "baseline", "-pix_fmt",
                                    "yuv420p", "-c:a", "aac", "-movflags", "+faststart"}));
    Container movie;
    return movie.attach(path, Container::wholeFile) && unsetBaselineFlag(movie, inPlace)
               ? readFile(path)
               : "";
}

/// A movie of two samples with every table; what the camera wrote is its user data.
std::string tabledMovie(const std::string& userData) {
    const auto movie = [&](std::uint64_t offset) {
        const std::string stbl = fullBox("stsd", 0, u32(1) + visualEntry("avc1", 2, 1)) +
                                 fullBox("stts", 0, u32(1) + u32(2) + u32(1)) +
                                 fullBox("stsc", 0, u32(1) + u32(1) + u32(2) + u32(1)) +
                                 fullBox("stsz", 0, u32(0) + u32(2) + u32(60000) + u32(90000)) +
                                 stco(offset);
        const std::string mdhd = fullBox("mdhd", 0, u32(0) + u32(0) + u32(1) + u32(2) + u32(0));
        return box("moov", mvhd(1, 2) +
                               box("trak", tkhd(2, 1) +
                                               box("mdia", mdhd + box("minf", box("stbl", stbl)))) +
                               (userData.empty() ? "" : box("udta", userData)));
    };
    return movie(movie(0).size() + 8) + box("mdat", pattern(150000));
}

std::string cutMovie() {
    return tabledMovie("");
}

std::string privateMovie() {
    return tabledMovie(box("@mod", "model") + box("@xyz", "+35.6895+139.6917/") +
                       box("KDTB", pattern(70000))) +
           uuidBox(MP4::xmpType, "<x/>");
}

bool carryOnto(Container& target) {
    const TempFolder folder;
    std::vector<std::unique_ptr<Container>> sources;
    sources.push_back(std::make_unique<Container>());
    try {
        return sources[0]->attach(folder.write("source.mp4", privateMovie()),
                                  Container::wholeFile) &&
               Carry(sources, target, {}).apply();
    } catch (const Refusal&) {
        return false;
    }
}

bool stripAll(Container& movie) {
    try {
        const Overwrites overwrites = Strip::ofMovie(movie, {true, true, true});
        return movie.modifyContainer(L"strip",
                                     [&](MP4::BinFile& file) { return overwrites.write(file); });
    } catch (const Refusal&) {
        return false;
    }
}

struct Operation {
    const char* name;
    bool inPlace;
    std::function<bool(Container&)> run;
    std::string (*movie)() = builtMovie;
    /// As on file systems where the new file has a name from the start.
    bool named = false;
};

bool insertAt(Container& movie, const char* anchor, bool replace) {
    const MP4::BOX* found = movie.first(anchor);
    return found != nullptr && insertInto(movie, *found, replace, box("skip", pattern(70000)));
}

/// The result of the next edit goes to a file of this name.
Container& into(Container& movie, const wchar_t* name) {
    movie.outputPath = movie.path.substr(0, movie.path.rfind(L'/') + 1) + name;
    return movie;
}

// clang-format off
const Operation operations[] = {
    {"moovFirst", false, [](auto& movie) { return movie.moovFirst(); }},
    {"moovFirst, named", false, [](auto& movie) { return movie.moovFirst(); }, builtMovie, true},
    {"insertBox", false, [](auto& movie) { return insertAt(movie, "ftyp", false); }},
    {"insertBox in place", false, [](auto& movie) { return insertAt(movie, "free", true); }},
    {"insertBox to an output path", false,
     [](auto& movie) { return insertAt(into(movie, L"out.mp4"), "moov.udta", true); }, builtMovie, true},
    {"insertBox to a new file", false, [](auto& movie) { return insertAt(into(movie, L"new.mp4"), "free", true); }},
    {"a time stamp to an output path", false, [](auto& movie) { return into(movie, L"out.mp4").updateTimeStamp(9); }},
    {"appendXMP", true, [](auto& movie) { return movie.appendXMP(pattern(9000)); }},
    {"appendAxis", true, [](auto& movie) { return movie.appendAxis(pattern(90)); }},
    {"updateTimeStamp", true, [](auto& movie) { return movie.updateTimeStamp(0x12345678); }},
    {"flag in place", true, [](auto& movie) { return movie.appendFullRangeAndConstrainedSet1Flag(true); }, unflaggedMovie<true>},
    {"flag by a rewrite", false, [](auto& movie) { return movie.appendFullRangeAndConstrainedSet1Flag(false); }, unflaggedMovie<false>},
    {"carry", false, carryOnto, cutMovie},
    {"strip", true, stripAll, privateMovie},
};
// clang-format on

/// A folder with the movie and a file at the output path: all names with what they hold.
struct Scene {
    using Files = std::map<std::string, std::string>;

    explicit Scene(const Operation& operation) : operation(operation) {
        const std::string movie = operation.movie();
        before = {{"m.mp4", movie}, {"out.mp4", "before"}};
        reset();
        captureOutput([&] { EXPECT_TRUE(run()); });
        after = files();
        EXPECT_TRUE(after != before && leftovers(after) == 0);
    }
    void reset() const {
        for (const auto& entry : fs::directory_iterator(folder.path()))
            fs::remove(entry);
        for (const auto& [name, bytes] : before)
            folder.write(name, bytes);
    }
    bool run() const {
        Container movie;
        return movie.attach(folder.wide("m.mp4"), Container::wholeFile) && operation.run(movie);
    }
    Files files() const {
        Files found;
        for (const auto& entry : fs::directory_iterator(folder.path()))
            found[entry.path().filename().string()] = readFile(entry.path());
        return found;
    }

    static std::size_t leftovers(Files& found) {
        return std::erase_if(found, [](auto& file) { return file.first.starts_with(".sondex-"); });
    }

    /// The state after an edit that failed: the old file, or, of an edit in place, one in which
    /// every byte is the old or the new one.
    void expectUnharmed(Files now) const {
        if (operation.inPlace) {
            std::string& bytes = now["m.mp4"];
            const std::string& oldBytes = before.at("m.mp4");
            const std::string& newBytes = after.at("m.mp4");
            ASSERT_TRUE(bytes.size() >= oldBytes.size() && bytes.size() <= newBytes.size());
            for (std::size_t i = 0; i < bytes.size(); ++i)
                ASSERT_TRUE(bytes[i] == newBytes[i] ||
                            (i < oldBytes.size() && bytes[i] == oldBytes[i]));
            bytes = oldBytes;
        }
        EXPECT_TRUE(now == before);
    }

    const Operation& operation;
    TempFolder folder;
    Files before, after;
};

}  // namespace

TEST(EditFault, LeavesTheOldOrTheNewMovie) {
    for (const Operation& operation : operations) {
        const bool needsClip =
            operation.movie == unflaggedMovie<true> || operation.movie == unflaggedMovie<false>;
        if (needsClip && !haveFfmpeg()) continue;
        SCOPED_TRACE(operation.name);
        const Scene scene(operation);
        everyFault(operation.named ? How::terminate : How::kill, [&](How how, long at) {
            scene.reset();
            // Whichever of the three is free, no file of an edit may get it.
            faults::nameAllFiles(operation.named);
            const int seen = seenUnder(
                how, at, [&] { return scene.run(); }, at + static_cast<int>(how));
            faults::nameAllFiles(false);
            Scene::Files now = scene.files();
            const bool ended = (seen & killed) != 0;
            const std::size_t left = Scene::leftovers(now);
            EXPECT_LE(left, how == How::kill || (!ended && (seen & faults::unlinkFailed) != 0));
            EXPECT_TRUE(ended || (seen & faults::tookStream) == 0);
            const bool done = ended ? now == scene.after : (seen & 1) != 0;
            if (done) {
                EXPECT_TRUE(now == scene.after && (ended || (seen & faults::flushFailed) == 0));
            } else {
                scene.expectUnharmed(now);
                // What could not be finished is taken back.
                EXPECT_TRUE(now["m.mp4"].size() == scene.before.at("m.mp4").size() ||
                            (seen & faults::truncateFailed) != 0);
                // Short transfers are no failures, and neither is the end of the fast path.
                EXPECT_TRUE((seen & faults::struck) != 0 && how != How::shortOnce &&
                            how != How::shortForEver);
            }
            if (ended && !done && !operation.inPlace) {
                // What was left behind is not in the way of the next edit.
                captureOutput([&] { EXPECT_TRUE(scene.run()); });
                now = scene.files();
                Scene::leftovers(now);
                EXPECT_TRUE(now == scene.after);
            }
            return (seen & faults::reached) != 0;
        });
    }
}

namespace {

/// What a reader makes of a movie: the first movie box and the bytes that its tracks name.
struct Shown {
    std::string moov, media;
    bool operator==(const Shown&) const = default;

    static Shown of(const std::wstring& path) {
        Container movie;
        if (!movie.attach(path, Container::wholeFile) || movie.moov == nullptr) return {};
        const std::string file = readFile(path);
        const auto* table = movie.first<MP4::STCO>("moov.trak.mdia.minf.stbl.stco");
        if (table == nullptr || movie.moov->end() > file.size()) return {};
        const auto offset = WEKU::loadBig<std::uint32_t>(file.data() + table->entriesOffset);
        return {file.substr(movie.moov->start, movie.moov->size()),
                file.substr(offset, pattern(1000).size())};
    }
};

/// The user data of the movie with a box of so many bytes in place of all.
bool putUserData(const std::wstring& path, std::size_t length) {
    Container movie;
    if (!movie.attach(path, Container::wholeFile)) return false;
    const MP4::BOX* udta = movie.first("moov.udta");
    return udta != nullptr &&
           insertInto(movie, *udta, true, box("udta", box("skip", pattern(length))),
                      MP4::Road::movieRoom);
}

}  // namespace

/// Behind the last box, into the room of the one before, and back from a file that would grow.
TEST(EditFault, MovesTheMovieBoxWithoutAMomentWithoutOne) {
    for (const std::vector<std::size_t>& earlier :
         {std::vector<std::size_t>{}, {500}, {500, 900}, {900, 500}}) {
        const TempFolder folder;
        const std::wstring path = folder.write("m.mp4", mdatFirst(pattern(1000)));
        captureOutput([&] {
            for (const std::size_t length : earlier)
                ASSERT_TRUE(putUserData(path, length));
        });
        const std::string start = readFile(path);
        const Shown before = Shown::of(path);
        captureOutput([&] { ASSERT_TRUE(putUserData(path, 700)); });
        const Shown after = Shown::of(path);
        ASSERT_TRUE(before != after && after.media == pattern(1000));
        everyFault(How::kill, [&](How how, long at) {
            folder.write("m.mp4", start);
            const int seen = seenUnder(how, at, [&] { return putUserData(path, 700); });
            const Shown now = Shown::of(path);
            EXPECT_TRUE(now == after || (now == before && (seen & 1) == 0));
            // Whatever was left is not in the way of the next edit.
            captureOutput([&] { EXPECT_TRUE(putUserData(path, 700)); });
            EXPECT_TRUE(Shown::of(path) == after);
            return (seen & faults::reached) != 0;
        });
    }
}

TEST(EditFault, AReadThatFailsHidesNoOffsets) {
    const TempFolder folder;
    const std::string movie = builtMovie() + fullBox("meta", 0, box("iloc"));
    everyFault(How::shortForEver, [&](How how, long at) {
        const std::wstring path = folder.write("m.mp4", movie);
        const int seen = seenUnder(how, at, [&] {
            Container opened;
            return opened.attach(path, Container::wholeFile) && insertAt(opened, "ftyp", false);
        });
        EXPECT_TRUE((seen & 1) == 0 && readFile(path) == movie);
        return (seen & faults::reached) != 0;
    });
}

/// Whatever read fails, a file ends with its one result line, or with the banner when it cannot be
/// opened.
TEST(ReadFault, EveryFileEndsWithItsOutcome) {
    const TempFolder folder;
    std::vector<std::wstring> paths = {folder.write("s.jpg", CameraTiff().jpeg()),
                                       folder.write("s.dng", CameraTiff().dng())};
    if (haveFfmpeg()) paths.push_back(folder.write("m.mp4", cameraMovie()));
    for (const std::wstring& path : paths) {
        everyFault(How::shortForEver, [&](How how, long at) {
            const wchar_t* words[] = {L"Sondex", L"-dump", path.c_str()};
            int status = 0, seen = 0;
            const Silence silence;
            const std::string out = captureOutput([&] {
                faults::arm(how, at);
                status = MetaReader::process(3, words);
                seen = faults::disarm();
            });
            EXPECT_EQ(resultLine(out).empty(), status == 1) << out;
            EXPECT_EQ(out.find("usage: ") != std::string::npos, status == 1) << out;
            return (seen & faults::reached) != 0;
        });
    }
}

TEST(ReadFault, ARawStreamEndsWhereReadingFails) {
    const TempFolder folder;
    const std::wstring path = folder.write("raw", u32(2) + zeros(44 + 24));
    WEKU::FileIO file(path, L'r');
    AccelSensorStreamEmbed stream;
    faults::arm(How::errorForEver, 2);
    stream.load(0, file, false);
    EXPECT_EQ(faults::disarm(), faults::reached | faults::struck);
    EXPECT_TRUE(stream.infos.empty());
}

TEST(WriteFault, ADumpGoesOnBehindAShortWrite) {
    const TempFolder folder;
    const std::wstring path = folder.wide("dump");
    const std::vector<SensorRecords::Gyro> samples(3);
    EXPECT_TRUE(SensorDump::dumpXYZT<SensorRecords::Gyro>(samples, path));
    const std::string whole = readFile(path);
    int seen = 0;
    for (long at = 1; (seen & faults::struck) == 0; ++at) {
        faults::arm(How::shortOnce, at);
        EXPECT_TRUE(SensorDump::dumpXYZT<SensorRecords::Gyro>(samples, path));
        seen = faults::disarm();
        ASSERT_NE(seen, 0);
        EXPECT_EQ(readFile(path), whole);
    }
}
