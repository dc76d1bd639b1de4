#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>

#include "kit/Command.h"
#include "kit/Confined.h"
#include "kit/OutputFile.h"
#include "kit/Table.h"
#include "kit/motion/Figure.h"
#include "kit/motion/Lists.h"
#include "kit/motion/Markup.h"
#include "kit/motion/Page.h"
#include "kit/motion/Summary.h"
#include "kit/scan/Record.h"

namespace kit {
namespace {

/// A way to write a movie's motion down.
struct Form {
    const char* option;
    const char* meaning;
    void (*write)(const Motion& motion, std::string_view name, const Write& write);
    bool ofGyro = false;
};

constexpr Form forms[] = {
    {"--csv", "A table, a row a frame",
     [](const Motion& motion, std::string_view, const Write& write) { writeCsv(motion, write); }},
    {"--gcsv", "A gyro log for stabilisers, a row a gyro sample",
     [](const Motion& motion, std::string_view, const Write& write) {
         writeGyroLog(motion, write);
     },
     true},
    {"--svg", "A figure of turn, tilt and gyro over time",
     [](const Motion& motion, std::string_view name, const Write& write) {
         write(figureOf(motion, name));
     }},
    {"--html", "A page with charts to look into, which needs no network", writePage},
};

struct Wishes {
    std::vector<std::string> paths;
    /// Where each form goes; empty: nowhere.
    std::array<std::string, std::size(forms)> outputs;
    bool json = false;
    bool overwrite = false;
};

struct Sheet {
    const Form* form;
    OutputFile file;
};

int fail(const std::string& path, const std::string& message) {
    complain(path + ": " + message);
    return someFailed;
}

/// Reads a movie, tells of it and writes the sheets down.
int tell(const std::string& path, const Wishes& wishes, std::vector<Sheet>& sheets, bool summary) {
    auto streams = sondex::readMotion(path);
    if (!streams) {
        const sondex::Error& error = streams.error();
        if (wishes.json && summary) {
            print(recordHead(path, {}) + recordTail(toString(error.code), error.message, {}) +
                  '\n');
        }
        return fail(path, error.message);
    }
    const Motion motion(std::move(*streams));
    if (!sheets.empty() && motion.empty()) return fail(path, "it holds no motion data");
    for (Sheet& sheet : sheets) {
        if (sheet.form->ofGyro && motion.gyro.empty())
            return fail(path, "it holds no gyro samples");
        sheet.form->write(motion, fileName(path),
                          [&](std::string_view piece) { sheet.file.append(piece); });
        sheet.file.flush();
    }
    if (!summary) return allWell;
    const std::string text = wishes.json ? summaryJson(path, motion)
                                         : (path == wishes.paths.front() ? "" : "\n") +
                                               heading(path) + summaryText(motion);
    return print(text) ? allWell : stopped;
}

/// Throws OutputRefused, OutputFailure.
std::vector<Sheet> sheetsOf(const Wishes& wishes) {
    std::vector<Sheet> sheets;
    for (std::size_t i = 0; i < std::size(forms); ++i) {
        const std::string& output = wishes.outputs[i];
        if (output.empty()) continue;
        std::error_code none;
        if (std::filesystem::equivalent(output, wishes.paths.front(), none))
            throw OutputRefused(output + ": it is the movie itself");
        sheets.push_back({&forms[i], OutputFile(output, wishes.overwrite)});
    }
    return sheets;
}

/// Why the words ask for what cannot be; empty when they do not.
std::string contradictionOf(const Wishes& wishes) {
    std::vector<std::string> outputs;
    for (const std::string& output : wishes.outputs) {
        if (!output.empty()) outputs.push_back(output);
    }
    if (!outputs.empty() && wishes.paths.size() != 1) return "--csv and the like are of one movie";
    std::sort(outputs.begin(), outputs.end());
    const auto twice = std::adjacent_find(outputs.begin(), outputs.end());
    return twice == outputs.end() ? "" : *twice + ": more than one output would go there";
}

int run(const Wishes& wishes) {
    if (const std::string reason = contradictionOf(wishes); !reason.empty()) {
        complain("motion: " + reason);
        return wrongUse;
    }
    try {
        std::vector<Sheet> sheets = sheetsOf(wishes);
        const bool summary =
            std::find(wishes.outputs.begin(), wishes.outputs.end(), "-") == wishes.outputs.end();
        const int status = runConfined([&] {
            int all = allWell;
            for (const std::string& path : wishes.paths) {
                const int one = tell(path, wishes, sheets, summary);
                if (one == stopped) return one;
                all = std::max(all, one);
            }
            return all;
        });
        if (status == crashed) {
            complain("the reading of a file ended in a crash");
            return stopped;
        }
        if (status == allWell) {
            for (Sheet& sheet : sheets)
                sheet.file.finish();
        }
        return status;
    } catch (const OutputRefused& refusal) {
        complain(refusal.what());
        return refused;
    }
}

}  // namespace

Command motionCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand(
        "motion", "Tell how the camera moved; write its motion down as table, log or picture.");
    words->add_option("file", wishes->paths, "Movies")->required()->type_name("FILE");
    for (std::size_t i = 0; i < std::size(forms); ++i)
        words->add_option(forms[i].option, wishes->outputs[i], forms[i].meaning)->type_name("FILE");
    words->add_flag("--overwrite", wishes->overwrite, "Replace outputs that exist");
    words->add_flag("--json", wishes->json, "Print the summary as a JSON object a line");
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
