#include "builder/Strip.h"

#include "builder/Refusal.h"
#include "sondex/Edit.h"
#include "sondex/inside/Editing.h"
#include "sondex/inside/Stills.h"

namespace sondex {

using namespace inside;

namespace {

std::string sentence(std::uint64_t bytes) {
    return std::to_string(bytes) + " bytes overwritten";
}

Result<Done> stripMovie(std::string_view path, const Privacy::What& what, const Reasons& reasons) {
    MP4::Container movie;
    if (auto error = attachMovie(movie, path)) return *error;
    try {
        const Overwrites overwrites = Strip::ofMovie(movie, what);
        if (overwrites.empty()) return Done();
        const auto write = [&](MP4::BinFile& file) { return overwrites.write(file); };
        if (!movie.modifyContainer(L"strip", write)) return reasons.error(movie);
        if (!Strip::ofMovie(movie, what).empty()) {
            return refused("not everything could be overwritten");
        }
        return Done{sentence(overwrites.bytes())};
    } catch (const Refusal& refusal) {
        return refused(refusal.reason);
    }
}

}  // namespace

Result<Done> strip(std::string_view path, const Private& what) {
    return quietly<Done>([&](const Reasons& reasons) -> Result<Done> {
        const Privacy::What all{what.gps, what.serial, what.motion};
        const Result<Kind> kind = kindAt(path);
        if (!kind) return kind.error();
        if (*kind != Kind::jpeg && *kind != Kind::tiff) return stripMovie(path, all, reasons);
        std::uint64_t bytes = 0;
        const Result<bool> done =
            overwriteStill(path, Where::inPlace, [&](const std::string& file) {
                Overwrites found =
                    *kind == Kind::jpeg ? Strip::ofJpeg(file, all) : Strip::ofDng(file, all);
                bytes += found.bytes();
                return found;
            });
        if (!done) return done.error();
        return *done ? Done{sentence(bytes)} : Done();
    });
}

}  // namespace sondex
