#include "sondex/Carry.h"

#include <memory>

#include "builder/Carry.h"
#include "builder/Refusal.h"
#include "sondex/inside/Editing.h"
#include "support/WideText.h"

namespace sondex {

using namespace inside;

namespace {

Carried resultOf(const Carry& plan) {
    Carried result{plan.frames().sentence(), {}, !plan.nothingToDo()};
    for (const Carry::Item& item : plan.items()) {
        const auto fate = item.fate == Carry::Fate::carried   ? Carried::Fate::carried
                          : item.fate == Carry::Fate::present ? Carried::Fate::present
                                                              : Carried::Fate::notCarried;
        result.items.push_back({item.name, fate, item.why});
    }
    return result;
}

bool isSameFile(const std::string& one, std::string_view other) {
    using WEKU::FileIO;
    const WEKU::FileStamp stamp = FileIO::stampOf(WEKU::wchar::widen(one));
    return stamp.node != 0 && stamp.sameFile(FileIO::stampOf(WEKU::wchar::widen(other)));
}

}  // namespace

Result<Carried> carry(const std::vector<std::string>& sources, std::string_view target,
                      const CarryOptions& options) {
    return quietly<Carried>([&](const Reasons& reasons) -> Result<Carried> {
        std::vector<std::unique_ptr<MP4::Container>> opened;
        for (const std::string& source : sources) {
            if (isSameFile(source, target)) return refused("the source is the target itself");
            if (isSameFile(source, options.output)) return refused("the output is the source");
            opened.push_back(std::make_unique<MP4::Container>());
            if (auto error = attachMovie(*opened.back(), source)) {
                return Error{error->code, source + ": " + error->message};
            }
        }
        if (opened.empty()) return refused("there is no source");
        MP4::Container movie;
        if (auto error = attachMovie(movie, target)) return *error;
        try {
            const Privacy::What drop{options.drop.gps, options.drop.serial, options.drop.motion};
            Carry plan(opened, movie, {options.from, options.to, options.replace, drop});
            const Carried result = resultOf(plan);
            if (options.dryRun || (plan.nothingToDo() && options.output.empty())) return result;
            movie.outputPath = WEKU::wchar::widen(options.output);
            if (!plan.apply()) return reasons.error(movie);
            return result;
        } catch (const Refusal& refusal) {
            return refused(refusal.reason);
        }
    });
}

}  // namespace sondex
