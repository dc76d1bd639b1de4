#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>

#include "kit/Command.h"
#include "kit/EachFile.h"

namespace kit {
namespace {

struct Wishes {
    std::vector<std::string> paths;
    std::string position, time, xmp, axis;
    sondex::Changes changes;
    bool json = false;
};

/// Seconds since 1970 of "2026-11-21T10:00:00Z", which must be a moment there is.
std::optional<std::int64_t> momentOf(const std::string& text) {
    std::tm parts{};
    int length = 0;
    const int read =
        std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &parts.tm_year, &parts.tm_mon,
                    &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &length);
    if (read != 6 || length != static_cast<int>(text.size())) return {};
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    const std::tm asked = parts;
    const std::time_t moment = ::timegm(&parts);
    // A second that there is not would be another minute's.
    const bool exists = parts.tm_mon == asked.tm_mon && parts.tm_mday == asked.tm_mday &&
                        parts.tm_hour == asked.tm_hour && parts.tm_min == asked.tm_min;
    constexpr int firstYear = 4;  // 1904, from which movies count
    if (!exists || parts.tm_year < firstYear) return {};
    return moment;
}

/// The bytes of a file; nothing when it cannot be read.
std::optional<std::string> contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return {};
    try {
        return std::string(std::istreambuf_iterator<char>(file), {});
    } catch (const std::ios_base::failure&) {  // as of a folder, which can be opened
        return {};
    }
}

int wrong(const std::string& message) {
    complain(message);
    return wrongUse;
}

int run(Wishes& wishes) {
    sondex::Changes& changes = wishes.changes;
    if (!wishes.position.empty()) {
        changes.position = sondex::positionOf(wishes.position);
        if (!changes.position) return wrong("no position: " + wishes.position);
    }
    if (!wishes.time.empty()) {
        changes.created = momentOf(wishes.time);
        if (!changes.created) return wrong("no time like 2026-11-21T10:00:00Z: " + wishes.time);
    }
    for (const auto& [path, bytes] :
         {std::pair(&wishes.xmp, &changes.xmp), std::pair(&wishes.axis, &changes.axis)}) {
        if (path->empty()) continue;
        *bytes = contentsOf(*path);
        if (!*bytes) return wrong("cannot be read: " + *path);
    }
    const sondex::MakerNoteSettings& note = changes.makerNote;
    const bool others = changes.position || changes.created || changes.xmp || changes.axis ||
                        note.stabilization || note.projection || note.zenith;
    if (changes.baselineFlag && others) return wrong("--flag stands alone");
    if (!changes.baselineFlag && !others) return wrong("set what? 'sondexkit set --help' tells");
    return editEach(wishes.paths, wishes.json,
                    [&](const std::string& path) { return sondex::change(path, changes); });
}

}  // namespace

Command setCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand("set", "Set single facts of movies and stills.");
    sondex::Changes& changes = wishes->changes;
    const CLI::Range shortNumber(0, 65535);
    words->add_option("file", wishes->paths, "Movies or stills")->required()->type_name("FILE");
    words->add_option("--position", wishes->position,
                      "+35.6895+139.6917+40/ or LAT,LON[,ALT], in degrees and metres");
    words->add_option("--time", wishes->time, "Creation time: 2026-11-21T10:00:00Z");
    words->add_option("--xmp", wishes->xmp, "File of the XMP packet")->type_name("FILE");
    words->add_option("--axis", wishes->axis, "File of the tilt stream")->type_name("FILE");
    words
        ->add_option("--stabilization", changes.makerNote.stabilization,
                     "Setting of the maker note")
        ->check(shortNumber);
    words->add_option("--projection", changes.makerNote.projection, "Setting of the maker note")
        ->check(shortNumber);
    words->add_option("--zenith", changes.makerNote.zenith, "Setting of the maker note")
        ->check(shortNumber);
    words->add_flag("--flag", changes.baselineFlag,
                    "constraint_set1_flag and a stated full range, as Sondex -set1");
    words->add_flag("--json", wishes->json, "Print a JSON object a line");
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
