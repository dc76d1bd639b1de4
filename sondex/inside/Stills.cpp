#include "sondex/inside/Stills.h"

#include "sondex/inside/Editing.h"
#include "support/Failure.h"
#include "support/FileIO.h"
#include "support/WideText.h"

namespace sondex::inside {

namespace {

bool readAll(const WEKU::FileIO& file, std::string& bytes) {
    bytes.resize(file.length());
    return file.readAt(0, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size()) ==
           bytes.size();
}

}  // namespace

Result<bool> overwriteStill(std::string_view path, const Find& find) {
    Result<bool> result = false;
    const std::wstring wide = WEKU::wchar::widen(path);
    const bool opened = WEKU::FileIO::open_a(wide, [&](WEKU::FileIO& file) {
        result = [&]() -> Result<bool> {
            const Error unread{ErrorCode::ioFailed, "it could not be read"};
            if (!file.lock()) return Error{ErrorCode::busy, "another program is editing it"};
            std::string bytes;
            if (!readAll(file, bytes)) return unread;
            try {
                const Overwrites overwrites = find(bytes);
                if (overwrites.empty()) return false;
                if (!overwrites.write(file) || !file.sync()) {
                    return Error{ErrorCode::ioFailed, "it could not be written in full"};
                }
                if (!readAll(file, bytes)) return unread;
                if (!find(bytes).empty()) return refused("bytes that were overwritten came back");
            } catch (WEKU::Failure message) {
                return refused(message);
            }
            return true;
        }();
    });
    if (!opened) return refused("it cannot be opened for writing");
    return result;
}

Result<Kind> kindAt(std::string_view path) {
    MP4::Container file;
    if (auto error = attach(file, path, 0)) return *error;
    return kindOf(file);
}

}  // namespace sondex::inside
