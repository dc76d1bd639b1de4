#include <gtest/gtest.h>

#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Program.h"
#include "tests/kit/TiffBuilder.h"

using namespace kit;

namespace {

const std::string banner =
    "\nSondex 2.8.1.2019.05.28\n"
    "usage: Sondex.osx [options] <source.mp4>\n"
    "  source.mp4      : input file.\n"
    "  -kdtd:kdtd.json : dump KDTD data\n"
    "  -set1           : overwrite constrained_set1_flag to 1, if H.264 and profile_idc is 66.\n"
    "\n";
const std::string failed = "result: {\"status\":\"failed\"}\n";

const std::string stillLine =
    "result: {\"status\":\"succeed\", \"type\":\"JPEG\", \"model\":\"Model A\", "
    "\"software\":\"1.20\", \"cpuVersion\":\"2.10b\", \"cameraSerial\":\"00012345\", "
    "\"yaw\":270.5, \"pitch\":10.5, \"roll\":-2.5}\n";

std::string notOpened(const std::string& path) {
    return "open(" + path + ", 'r') failed.\n";
}

/// A missing movie is opened by the probe and again by the report, a missing still once.
std::string noMovie(const std::string& path) {
    return notOpened(path) + notOpened(path);
}

/// A folder with a still whose report is short.
class CommandLine : public testing::Test {
  protected:
    std::string write(const std::string& name, const std::string& bytes) const {
        folder.write(name, bytes);
        return path(name);
    }
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }

    const std::string still = CameraTiff().jpeg();
    TempFolder folder;
    const std::string photo = write("s.jpg", still);
};

}  // namespace

TEST_F(CommandLine, WordsAndStatuses) {
    // Words beyond the ninth behind the program's name are absent.
    std::vector<std::string> ten(9, "-set1");
    ten.push_back(photo);
    const std::string missing = ": No such file or directory\n", me = "Sondex: ";
    const std::string movie = write("m.jpg", box("ftyp", "isom")), aFolder = path("d.jpg");
    std::filesystem::create_directory(aFolder);
    const std::tuple<std::vector<std::string>, std::string, int, std::string> cases[] = {
        // clang-format off
        {{"-h"}, banner, 1, ""},
        {{"-dump", "-kdtd:x", "-kdtb:", "-kdtc:y"}, "", 0, ""},
        {{"-h", photo}, stillLine, 0, ""},
        {{photo, "2nd"}, stillLine, 0, me + "2nd is left out: a run reads one file\n"},
        {{path("none.mp4")}, noMovie(path("none.mp4")) + banner, 1, me + path("none.mp4") + missing},
        {{path("none.jpg")}, notOpened(path("none.jpg")) + banner, 1, me + path("none.jpg") + missing},
        {{"-H", photo}, noMovie("-H") + banner, 1, me + "-H is no option and counts as the file\n" + me + photo + " is left out: a run reads one file\n" + me + "-H" + missing},
        {{""}, noMovie("") + banner, 1, me + missing},
        {ten, "", 0, me + "words behind the ninth are left out: " + photo + "\n"},
        {{movie}, "ExifParser::attachJPEG() for '" + movie + "' failed - SOI(0xFFD8) not found.\n" + banner, 1, me + movie + " looks like an MP4; the name's extension chooses the reader\n"},
        {{write("none.JPG", "\xFF\xD8\xFF\xD9")}, "ExifParser::attachJPEG() for '" + path("none.JPG") + "' failed - Invalid EOI(0xFFD9) found.\n" + banner, 1, ""},
        {{write("cut.DNG", "II*")}, "ExifParser::attachDNG() failed - Invalid position\n" + banner, 1, ""},
        {{write("little.jpeg", "II*" + zeros(9))}, "ExifParser::attachJPEG() for '" + path("little.jpeg") + "' failed - SOI(0xFFD8) not found.\n" + banner, 1, me + path("little.jpeg") + " looks like a DNG; the name's extension chooses the reader\n"},
        {{write("empty.DNG", "")}, "FileIO.read(" + path("empty.DNG") + ") failed.\n" + banner, 1, ""},
        {{aFolder}, "FileIO.read(" + aFolder + ") failed.\n" + banner, 1, me + aFolder + ": Is a directory\n"},
        {{photo, "-kdtb:x", "-set1"}, stillLine, 0, me + photo + " is a still and has no sensor streams to dump\n" + me + photo + " is a still: -set1 leaves it alone\n"},
        // clang-format on
    };
    for (const auto& [words, out, status, err] : cases) {
        const Outcome outcome = runSondex(words);
        EXPECT_EQ(outcome.out, out) << words[0];
        EXPECT_EQ(outcome.status, status) << words[0];
        EXPECT_EQ(outcome.err, err) << words[0];
    }
}

TEST_F(CommandLine, TheExtensionChoosesTheReader) {
    // Too short a name, or another extension: a movie.
    const std::string noStill = "KMKN not found.\n";
    const std::pair<const char*, std::string> cases[] = {
        {"x.jpg", stillLine}, {"a.JPEG", stillLine}, {"R.DnG", "\"type\":\"DNG\""},
        {".JPG", noStill},    {".dng", noStill},     {"x.jpgx", noStill},
    };
    for (const auto& [name, expected] : cases) {
        const bool isDng = expected.ends_with("\"DNG\"");
        write(name, isDng ? CameraTiff().tiff() : still);
        // A name alone, so that its length is what is tested.
        const std::string out = run({"env", "-C", path(""), sondexProgram(), name}).out;
        EXPECT_NE(out.find(expected), std::string::npos) << name;
    }
}

TEST_F(CommandLine, JobsAreAnyBytesUnderAnyLocale) {
    const std::string odd = write("c\xED\xA0\x80\x01\xFF\xE0\x81\x81\xF4\x90\x80\x80.jpg", still);
    // The characters of a line count, not their bytes; what does not fit is another job.
    std::string accents;
    for (int i = 0; i < 4095; ++i)
        accents += "\xC3\xA9";
    for (const char* locale : {"LC_ALL=C", "LC_ALL=C.UTF-8"}) {
        EXPECT_EQ(run({"env", locale, sondexProgram()},
                      odd + "\n" + odd + std::string(1, '\0') + "x\n" + accents + "more\n")
                      .out,
                  stillLine + stillLine + noMovie(accents) + failed + noMovie("more") + failed);
    }
}
