#include "sondex/NewFile.h"

#include <cerrno>
#include <string>

#include "sondex/inside/Editing.h"
#include "sondex/inside/Opening.h"
#include "support/ReplacementFile.h"
#include "support/WideText.h"

namespace sondex {

using namespace inside;

struct NewFile::Inside {
    Inside(std::wstring path, mode_t permissions)
        : target(std::move(path)), file(target, target, permissions) {}

    const std::wstring target;
    WEKU::ReplacementFile file;
    WEKU::FileStamp expected;
};

NewFile::NewFile(std::unique_ptr<Inside> inside) : inside(std::move(inside)) {}
NewFile::NewFile(NewFile&&) noexcept = default;
NewFile& NewFile::operator=(NewFile&&) noexcept = default;
NewFile::~NewFile() = default;

Result<NewFile> NewFile::make(std::string_view path, bool replace) {
    return quietly<NewFile>([&](const Reasons&) -> Result<NewFile> {
        using WEKU::FileIO;
        using WEKU::ReplacementFile;
        const std::wstring target = FileIO::resolve(WEKU::wchar::widen(path));
        const bool stands = FileIO::stampOf(target).node != 0;
        auto inside = std::make_unique<Inside>(
            target, stands ? ReplacementFile::ownersAlone : ReplacementFile::everyones);
        ReplacementFile& file = inside->file;
        if (!file.isOpen()) return systemError(file.openError());
        inside->expected = file.standing();
        if (inside->expected.node != 0) {
            if (!replace) return refused("it is there already");
            if (!file.mayTakePlace()) return refused("it is no regular file");
            const FileIO model(inside->target, L'r');
            if (!model.isOpen()) return systemError(model.openError());
            file.resemble(model);
        }
        return NewFile(std::move(inside));
    });
}

Status NewFile::append(std::string_view bytes) {
    const auto* from = reinterpret_cast<const unsigned char*>(bytes.data());
    if (inside->file.writeAll(from, bytes.size())) return {};
    return systemError(inside->file.writeError());
}

Status NewFile::finish() {
    return quietly<void>([&](const Reasons&) -> Status {
        if (!inside->file.sync()) return systemError(inside->file.writeError());
        if (inside->file.takePlace(inside->expected)) return {};
        if (errno != 0) return systemError(errno);
        return Error{ErrorCode::changed, "something else was put there meanwhile"};
    });
}

}  // namespace sondex
