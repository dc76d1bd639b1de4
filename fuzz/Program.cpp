#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

#include "app/MetaReader.h"
#include "fuzz/kit/Fuzzing.h"
#include "probe/VideoReader.h"
#include "support/Console.h"
#include "support/WideText.h"
#include "tests/kit/Files.h"

/// Stands in for the decoder, which takes a thousand times as long and is fuzzed by its makers.
bool VideoReader::describeSource(const MP4::Container& movie, const WEKU::FileIO& file,
                                 VideoFacts& facts) {
    return describeHeaders(movie, file, facts);
}

namespace {

const std::string resultMark = "result: ";
const std::array<std::wstring, 3> dumpOptions{L"-kdtd:", L"-kdtb:", L"-kdtc:"};

struct Collector : WEKU::Console::Sink {
    void write(std::string_view bytes) override { text += bytes; }
    void warn(std::string_view line) override {
        fuzz::require(line.find('\n') == line.npos, "a warning is one line");
    }
    std::string text;
};

/// One job: the file under test and what is asked for.
struct Job {
    std::wstring path;
    std::array<std::wstring, 3> dumps;
    unsigned choice;

    bool isMovie() const { return choice % 4 < 2; }
    /// Only line mode takes jobs without options.
    bool isLine() const { return choice % 4 == 0; }
    bool wants(int dump) const { return (choice >> (2 + dump) & 1) != 0; }
    bool printsTexts() const { return !isLine() && (choice & 32) != 0; }
    bool edits() const { return !isLine() && (choice & 64) != 0; }
};

struct Answer {
    int status;
    std::string out;
    std::array<std::string, 3> dumps;

    bool operator==(const Answer&) const = default;
};

int runLine(const Job& job) {
    std::wstring line = job.path;
    // A column that is missing leaves those behind it missing.
    for (int i = 0; i < 3 && job.wants(i); ++i)
        line += L'\t' + job.dumps[static_cast<std::size_t>(i)];
    const int list = kit::memoryFile(WEKU::wchar::narrow(line) + "\n");
    ::lseek(list, 0, SEEK_SET);
    ::dup2(list, STDIN_FILENO);
    ::close(list);
    const wchar_t* const words[] = {L"Sondex"};
    return MetaReader::process(1, words);
}

int runWords(const Job& job) {
    std::vector<std::wstring> texts{L"Sondex", job.path};
    for (int i = 0; i < 3; ++i) {
        const auto at = static_cast<std::size_t>(i);
        if (job.wants(i)) texts.push_back(dumpOptions[at] + job.dumps[at]);
    }
    if (job.edits()) texts.emplace_back(L"-set1");
    if (job.printsTexts()) texts.emplace_back(L"-dump");
    std::vector<const wchar_t*> words;
    for (const std::wstring& text : texts)
        words.push_back(text.c_str());
    return MetaReader::process(static_cast<int>(words.size()), words.data());
}

Answer run(const Job& job) {
    Collector collector;
    const WEKU::Console::Redirect redirect(collector);
    Answer answer{job.isLine() ? runLine(job) : runWords(job), {}, {}};
    answer.out = std::move(collector.text);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::filesystem::path dump(job.dumps[i]);
        answer.dumps[i] = kit::readFile(dump);
        std::filesystem::remove(dump);
    }
    return answer;
}

/// Strict JSON, but for the deviations that docs/result-line.md tells of.
bool isJson(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    for (const std::string number : {":inf", ":-inf", ":nan", ":-nan"}) {
        for (auto at = text.find(number); at != text.npos; at = text.find(number, at + 1))
            text.replace(at, number.size(), ":0");
    }
    return text == "[" || nlohmann::json::accept(text);
}

std::vector<std::string> resultsOf(const std::string& out) {
    std::vector<std::string> results;
    for (std::size_t at = 0; at < out.size();) {
        const std::size_t end = std::min(out.find('\n', at), out.size());
        if (out.compare(at, resultMark.size(), resultMark) == 0) {
            results.push_back(out.substr(at + resultMark.size(), end - at - resultMark.size()));
        }
        at = end + 1;
    }
    return results;
}

void checkAnswer(const Job& job, const Answer& answer) {
    const std::vector<std::string> results = resultsOf(answer.out);
    const bool failed = job.isLine() ? !results.empty() && results[0] == R"({"status":"failed"})"
                                     : answer.status == 1;
    fuzz::require(answer.status == 0 || (!job.isLine() && answer.status == 1), "0 or 1");
    if (failed && !job.isLine()) {
        fuzz::require(results.empty() && answer.out.find("\nusage: ") != answer.out.npos,
                      "a failure is answered by the usage alone");
    } else {
        // The texts that a dump prints raw come behind the movie's result.
        const bool rawBehind = job.isMovie() && job.printsTexts();
        fuzz::require(results.size() == 1 || (rawBehind && !results.empty()), "one result line");
        fuzz::require(isJson(results[0]), "the result is JSON");
    }
    for (const std::string& dump : answer.dumps)
        fuzz::require(dump.empty() || isJson(dump), "a dump is JSON");
}

}  // namespace

/// A whole file through the whole program: as a job line, as a movie with options, as a JPEG or as
/// a DNG, as the first byte says with the options. Holds what a driver relies on.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const kit::TempFolder folder;
    fuzz::Input input(data, size);
    const unsigned choice = input.take8();
    const std::string bytes(input.rest());
    const char* const names[] = {"line.mp4", "movie.mp4", "still.JPG", "still.dng"};
    const Job job{folder.write(names[choice % 4], bytes),
                  {folder.wide("d"), folder.wide("b"), folder.wide("c")},
                  choice};

    const Answer first = run(job);
    checkAnswer(job, first);
    const std::string after = kit::readFile(job.path);
    const Answer second = run(job);
    fuzz::require(kit::readFile(job.path) == after, "nothing is left to edit");
    if (after == bytes) {
        fuzz::require(second == first, "the same file has the same answer");
        return 0;
    }
    fuzz::require(job.edits() && job.isMovie(), "only an edit changes the file");
    fuzz::require(first.out.find("appendFullRangeAndConstrainedSet1Flag") != first.out.npos,
                  "an edit is told of");
    checkAnswer(job, second);
    fuzz::require(second.status == first.status, "an edited movie is read as before");
    fuzz::require(second.out.find("constrained_set1_flag = 1, not 0.\n") != second.out.npos,
                  "the flag is set for good");
    return 0;
}
