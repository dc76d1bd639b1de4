#include "app/FileKind.h"

#include <wchar.h>

#include <optional>
#include <string_view>

#include "support/Console.h"
#include "support/FileState.h"
#include "support/WideText.h"

namespace {

bool endsWith(const std::wstring& path, std::wstring_view extension) {
    return path.size() > extension.size() &&
           ::wcscasecmp(path.c_str() + path.size() - extension.size(), extension.data()) == 0;
}

const char* nameOf(FileKind kind) {
    return kind == FileKind::movie ? "an MP4" : kind == FileKind::jpeg ? "a JPEG" : "a DNG";
}

/// What the file's first bytes are those of; nothing for all that the program does not read.
std::optional<FileKind> kindByContent(const std::wstring& path) {
    using namespace std::literals;
    const std::string head = WEKU::FileState::headOf(path, 8);
    if (head.ends_with("ftyp"sv) || head.ends_with("moov"sv)) return FileKind::movie;
    if (head.starts_with("\xFF\xD8\xFF"sv)) return FileKind::jpeg;
    if (head.starts_with("MM\0*"sv) || head.starts_with("II*\0"sv)) return FileKind::dng;
    return std::nullopt;
}

}  // namespace

FileKind kindByName(const std::wstring& path) {
    if (endsWith(path, L".DNG")) return FileKind::dng;
    return endsWith(path, L".JPG") || endsWith(path, L".JPEG") ? FileKind::jpeg : FileKind::movie;
}

void explainFailure(const std::wstring& path) {
    const std::string name = WEKU::wchar::narrow(path);
    const std::string reason = WEKU::FileState::whyUnreadable(path);
    if (!reason.empty()) return WEKU::Console::warn("%s: %s", name.c_str(), reason.c_str());
    const std::optional<FileKind> content = kindByContent(path);
    if (content && *content != kindByName(path)) {
        WEKU::Console::warn("%s looks like %s; the name's extension chooses the reader",
                            name.c_str(), nameOf(*content));
    }
}
