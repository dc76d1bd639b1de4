#include <sys/resource.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kit/Command.h"
#include "kit/scan/Scan.h"

namespace kit {
namespace {

/// CSV's columns where none are named.
const std::vector<std::string> usualFields = {
    "status",     "type",        "model", "software", "cameraSerial", "duration",
    "frameWidth", "frameHeight", "codec", "gps",      "error.code",   "error.message"};

struct Wishes {
    NameOptions names = {};
    ScanOptions scan = {};
    std::string list;
    bool nulSeparated = false;
    std::string output;
    bool resume = false;
    bool overwrite = false;
    bool quiet = false;
    bool noDecode = false;
    bool noSandbox = false;
    std::uint64_t megabytes = 1024;
};

/// A worker takes a descriptor, and so does every folder on the way to a file.
void raiseDescriptorLimit() {
    rlimit bounds{};
    if (::getrlimit(RLIMIT_NOFILE, &bounds) != 0) return;
    bounds.rlim_cur = bounds.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &bounds);
}

int scan(Wishes wishes) {
    NameOptions& names = wishes.names;
    if (!wishes.list.empty()) names.list = wishes.list;
    if (names.words.empty() && !names.list) {
        complain("scan: name files, folders (with -r) or a list of them (--files-from)");
        return wrongUse;
    }
    if (wishes.nulSeparated) names.separator = '\0';
    WorkerOptions& worker = wishes.scan.worker;
    worker.decode = !wishes.noDecode;
    worker.sandbox = !wishes.noSandbox;
    worker.memory = wishes.megabytes << 20;
    if (worker.format.csv && worker.format.fields.empty()) worker.format.fields = usualFields;
    raiseDescriptorLimit();

    std::unique_ptr<Output> output;
    Done done;
    try {
        const auto existing = wishes.resume      ? Output::Existing::goOn
                              : wishes.overwrite ? Output::Existing::replace
                                                 : Output::Existing::refuse;
        output = std::make_unique<Output>(wishes.output, existing);
        if (wishes.resume) done.read(output->descriptor(), wishes.output);
    } catch (const OutputRefused& refusal) {
        complain(refusal.what());
        return refused;
    }
    output->append(recordHeader(worker.format));

    Progress progress(!wishes.quiet);
    if (names.recursive && !names.list) progress.countAhead(names);
    try {
        Names source(names);
        Scan run(wishes.scan, source, done, *output, progress, complain);
        run.run();
    } catch (const std::exception& failure) {
        // What is known so far is worth keeping, unless this is what failed.
        if (dynamic_cast<const OutputFailure*>(&failure) == nullptr) output->flush();
        complain(failure.what());
        complain(wishes.output.empty() ? "the scan ended early"
                                       : "the scan ended early; --resume goes on with it");
        return stopped;
    }
    return progress.failures() == 0 ? allWell : someFailed;
}

}  // namespace

Command scanCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand(
        "scan", "Read any number of files in worker processes; print a JSON line for each.");
    words->add_option("path", wishes->names.words, "Files, or folders with -r")->type_name("PATH");
    words->add_flag("-r,--recursive", wishes->names.recursive,
                    "Read the movies and stills below folders, told by their names");
    words->add_flag("--all", wishes->names.byContent,
                    "Below folders, tell movies and stills by their contents");
    words
        ->add_option("--files-from", wishes->list,
                     "Read names from a file, one a line; -: from "
                     "standard input")
        ->type_name("FILE");
    words->add_flag("-0,--null", wishes->nulSeparated, "Names of the list end with a NUL byte");
    wishes->scan.jobs = std::max(1U, std::thread::hardware_concurrency());
    words->add_option("-j,--jobs", wishes->scan.jobs, "Worker processes (default: one a core)")
        ->check(CLI::Range(1, 1024))
        ->type_name("N");
    words->add_flag("--no-decode", wishes->noDecode,
                    "Decode no picture: faster, and \"decodable\" stays unknown");
    wishes->scan.timeout = 120;
    words
        ->add_option("--timeout", wishes->scan.timeout,
                     "Seconds that one file may take; 0: any (default: 120)")
        ->check(CLI::Range(0.0, 1e6))
        ->type_name("S");
    words
        ->add_option("--memory", wishes->megabytes,
                     "Megabytes that a worker may take (default: 1024)")
        ->check(CLI::Range(64, 1 << 20))
        ->type_name("MB");
    CLI::Option* output =
        words->add_option("-o,--output", wishes->output, "Write to a file")->type_name("FILE");
    CLI::Option* resume = words->add_flag(
        "--resume", wishes->resume, "Pass over what the output holds already, and add the rest");
    resume->needs(output);
    words->add_flag("--overwrite", wishes->overwrite, "Replace an output that exists")
        ->needs(output)
        ->excludes(resume);
    words->add_flag("--ordered", wishes->scan.ordered, "Print records in the order of the names");
    CLI::Option* csv = words->add_flag("--csv", wishes->scan.worker.format.csv,
                                       "Print comma-separated values, the path first");
    csv->excludes(resume);
    words
        ->add_option("--fields", wishes->scan.worker.format.fields,
                     "The columns of --csv: keys of the records, a.b for those within others")
        ->needs(csv)
        ->delimiter(',')
        ->allow_extra_args(false)  // the files come behind it
        ->type_name("A,B");
    words->add_flag("--no-sandbox", wishes->noSandbox, "Let workers do what you may do");
    words->add_flag("-q,--quiet", wishes->quiet, "Show no progress on a terminal");
    return {words, [wishes] { return scan(*wishes); }};
}

}  // namespace kit
