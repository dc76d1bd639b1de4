#include <unistd.h>

#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/FileKind.h"
#include "app/JobLine.h"
#include "app/MetaReader.h"
#include "app/SensorDump.h"
#include "mp4/AVCC.h"
#include "mp4/FourCC.h"
#include "support/Console.h"
#include "support/FileState.h"
#include "support/LineInput.h"
#include "support/WideText.h"

using WEKU::Console::out;

namespace {

constexpr char Sondex_version[] = "2.8.1.2019.05.28";
constexpr char Sondex_image[] = "Sondex.osx";

/// What is asked for one file. A dump path may be empty and still ask for the dump.
struct Job {
    std::wstring path;
    std::optional<std::wstring> kdtdPath;
    std::optional<std::wstring> kdtbPath;
    std::optional<std::wstring> kdtcPath;
    bool set1 = false;
    bool dump = false;
};

/// One line on standard error about a file.
void warnOf(std::wstring_view name, const char* text) {
    WEKU::Console::warn("%s %s", WEKU::wchar::narrow(name).c_str(), text);
}

void printMakerNote(const MP4::Container& movie) {
    const MP4::BOX* box = movie.first(MP4::path::makerNote);
    if (box == nullptr || box->size() < 9) return;
    try {
        const std::string bytes = movie.payload(*box);
        ExifParser parser;
        parser.attachKMKN(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        parser.dumpKMKN();
        out(L"\n");
    } catch (WEKU::Failure message) {
        out(L"EXIF can't read - %ls\n", WEKU::wchar::mbs2wcs(message).c_str());
    } catch (...) {
        out(L"EXIF can't read.\n");
    }
}

void printBoxes(const MetaReader& reader) {
    printMakerNote(reader.movie);
    out(L"%ls\n", WEKU::wchar::mbs2wcs(reader.probe.sphericalXML).c_str());
    out(L"%ls\n", WEKU::wchar::mbs2wcs(reader.probe.xmp).c_str());
}

/// Whether the movie, which an edit reads again when it is done, now has the flag in its first
/// parameter set.
bool showsFlag(const MP4::Container& movie) {
    unsigned char profile = 0;
    bool flag = false, fullRange = false;
    const auto* avcC = movie.first<MP4::AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
    return avcC != nullptr &&
           avcC->get_profile_idc_and_constrained_set1_flag(profile, flag, fullRange) && flag;
}

/// Sets the flag in a movie whose parameter set allows and needs it, and reads the movie again;
/// else tells why not. Returns whether the movie still reads well.
bool setFlag(MetaReader& reader) {
    if (reader.profile_idc == 66 && !reader.constrained_set1_flag) {
        MP4::Container movie;
        if (!movie.attach(reader.inputPath, MP4::Container::wholeFile) ||
            !movie.appendFullRangeAndConstrainedSet1Flag(reader.fullRange)) {
            return true;
        }
        if (showsFlag(movie)) out(L"set constrained_set1_flag to 1.\n");
        return reader.parse(std::wstring(reader.inputPath));
    }
    if (reader.constrained_set1_flag) out(L"constrained_set1_flag = %d, not 0.\n", 1);
    if (reader.profile_idc != 66) {
        out(L"profile_idc = %u, not 66.\n", unsigned{reader.profile_idc});
    }
    return true;
}

/// A dump must not empty the movie that it is made from.
bool isInput(const std::wstring& dumpPath, const std::wstring& input) {
    const WEKU::FileStamp stamp = WEKU::FileIO::stampOf(dumpPath);
    if (stamp == WEKU::FileStamp{} || !stamp.sameFile(WEKU::FileIO::stampOf(input))) return false;
    warnOf(dumpPath, "is the movie itself and no place for a dump");
    return true;
}

/// Writes one stream's dump, if it was asked for.
template <class T, class... Member>
bool writeDump(const std::vector<T>& samples, const std::optional<std::wstring>& path,
               const Member&... member) {
    if (!path || SensorDump::dumpXYZT<T>(samples, *path, member...)) return true;
    const std::string reason = WEKU::FileState::whyUnwritable(*path);
    if (!reason.empty()) warnOf(*path, ("cannot be written: " + reason).c_str());
    return false;
}

/// Writes the sensor dumps that were asked for; a file that cannot be created ends them.
bool writeDumps(const MetaReader& reader, const Job& job) {
    for (const auto* path : {&job.kdtdPath, &job.kdtbPath, &job.kdtcPath}) {
        if (*path && isInput(**path, job.path)) return false;
    }
    const SensorDump::YawMember yaws{reader.stabilizer.yaws};
    return writeDump(reader.topBottom, job.kdtdPath, yaws) &&
           writeDump(reader.gyro, job.kdtbPath) && writeDump(reader.compass, job.kdtcPath);
}

bool processMovie(const Job& job) {
    MetaReader reader;
    bool ok = reader.parse(job.path);
    if (!ok) explainFailure(job.path);
    if (job.set1 && ok) {
        if (reader.probe.codec == Sondex::CODEC_H264) {
            ok = setFlag(reader);
        } else {
            warnOf(job.path, "is no H.264 movie: -set1 leaves it alone");
        }
    }
    ok = ok && writeDumps(reader, job);
    if (!ok) return false;
    reader.dumpToJSON();
    if (job.dump) printBoxes(reader);
    return true;
}

bool processStill(const Job& job, bool isDng) {
    if (job.kdtdPath || job.kdtbPath || job.kdtcPath) {
        warnOf(job.path, "is a still and has no sensor streams to dump");
    }
    if (job.set1) warnOf(job.path, "is a still: -set1 leaves it alone");
    MetaReader reader;
    const bool ok =
        isDng ? reader.parse_DNG(job.path, job.dump) : reader.parse_JPEG(job.path, job.dump);
    if (ok) {
        reader.dumpToJSON_still(isDng);
    } else {
        explainFailure(job.path);
    }
    return ok;
}

/// Reads one file, prints its result line and does what else was asked for. False when there is
/// no result line.
bool processFile(const Job& job) {
    try {
        const FileKind kind = kindByName(job.path);
        return kind == FileKind::movie ? processMovie(job)
                                       : processStill(job, kind == FileKind::dng);
    } catch (const std::bad_alloc&) {
        warnOf(job.path, "needs more memory than there is");
        return false;
    }
}

int processWords(int count, const wchar_t* const* words) {
    Job job;
    std::optional<std::wstring> path;
    bool ok = true;
    const std::pair<std::wstring_view, std::optional<std::wstring>*> prefixes[] = {
        {L"-kdtd:", &job.kdtdPath}, {L"-kdtb:", &job.kdtbPath}, {L"-kdtc:", &job.kdtcPath}};
    const auto isDumpPath = [&](std::wstring_view word) {
        for (const auto& [prefix, target] : prefixes) {
            if (!word.starts_with(prefix)) continue;
            *target = word.substr(prefix.size());
            return true;
        }
        return false;
    };
    // Deliberate: words that are no option are paths, whatever they begin with; of paths the first
    // counts, and makes "-h" count for nothing.
    for (int i = 1; i < count && words[i] != nullptr; ++i) {
        const std::wstring_view word = words[i];
        if (word == L"-h") {
            ok = false;
        } else if (isDumpPath(word)) {
            continue;
        } else if (word == L"-set1") {
            job.set1 = true;
        } else if (word == L"-dump") {
            job.dump = true;
        } else if (!path) {
            path = word;
            if (word.starts_with(L'-')) warnOf(word, "is no option and counts as the file");
        } else {
            warnOf(word, "is left out: a run reads one file");
        }
    }
    if (path) {
        job.path = *path;
        ok = processFile(job);
    }
    if (!ok) MetaReader::usage();
    return ok ? 0 : 1;
}

int processLines() {
    if (::isatty(STDIN_FILENO) == 1) {
        WEKU::Console::warn("jobs are awaited, the name of a file a line (-h: usage)");
    }
    WEKU::LineInput jobs(STDIN_FILENO, longestLine);
    while (!WEKU::Console::isAbandoned()) {
        std::optional<std::wstring> line = jobs.next();
        if (!line) break;
        const std::vector<std::wstring> columns = columnsOf(std::move(*line));
        if (columns.empty()) continue;
        Job job;
        job.path = columns[0];
        if (columns.size() > 1) job.kdtdPath = columns[1];
        if (columns.size() > 2) job.kdtbPath = columns[2];
        if (columns.size() > 3) job.kdtcPath = columns[3];
        if (!processFile(job)) out(L"result: {\"status\":\"failed\"}\n");
    }
    return WEKU::Console::isAbandoned() ? 1 : 0;
}

}  // namespace

int MetaReader::process(int count, const wchar_t* const* words) {
    return count < 2 ? processLines() : processWords(count, words);
}

void MetaReader::usage() {
    // Deliberate: only two of the options are shown; the others serve programs, not people.
    out(L"\nSondex %ls\n"
        L"usage: %ls [options] <source.mp4>\n"
        L"  source.mp4      : input file.\n"
        L"  -kdtd:kdtd.json : dump KDTD data\n"
        L"  -set1           : overwrite constrained_set1_flag to 1, if H.264 and profile_idc is "
        L"66.\n"
        L"\n",
        WEKU::wchar::mbs2wcs(Sondex_version).c_str(), WEKU::wchar::mbs2wcs(Sondex_image).c_str());
}
