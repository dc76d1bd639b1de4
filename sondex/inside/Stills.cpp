#include "sondex/inside/Stills.h"

#include "sondex/inside/Editing.h"
#include "support/Failure.h"
#include "support/ReplacementFile.h"
#include "support/WideText.h"

namespace sondex::inside {

namespace {

bool readAll(const WEKU::FileIO& file, std::string& bytes) {
    bytes.resize(file.length());
    return file.readAt(0, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size()) ==
           bytes.size();
}

/// A file of these bytes in the place of the one that is open at the path, which was as `stamp`
/// says when it was read.
Status replaceStill(const WEKU::FileIO& opened, const WEKU::FileStamp& stamp,
                    const std::wstring& path, const std::string& bytes) {
    const std::wstring target = WEKU::FileIO::resolve(path);
    WEKU::ReplacementFile made(target, path);
    if (!made.isOpen()) return systemError(made.openError());
    if (!made.writeAll(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) {
        return systemError(made.writeError());
    }
    made.resemble(opened);
    if (!made.sync()) return systemError(made.writeError());
    if (!made.takePlace(stamp)) return refused("no new file could take its place");
    return {};
}

Result<bool> overwriteOpen(WEKU::FileIO& file, const std::wstring& path, Where where,
                           const Find& find) {
    const Error unread{ErrorCode::ioFailed, "it could not be read"};
    if (!file.lock()) return Error{ErrorCode::busy, "another program is editing it"};
    const WEKU::FileStamp stamp = file.stamp();
    std::string bytes;
    if (!readAll(file, bytes)) return unread;
    const Overwrites overwrites = find(bytes);
    if (overwrites.empty()) return false;
    if (where == Where::safely && !overwrites.isOneSector()) {
        overwrites.applyTo(bytes);
        if (!find(bytes).empty()) return refused("bytes that were overwritten came back");
        const Status status = replaceStill(file, stamp, path, bytes);
        if (!status) return status.error();
        return true;
    }
    if (!overwrites.write(file) || !file.sync()) {
        return Error{ErrorCode::ioFailed, "it could not be written in full"};
    }
    if (!readAll(file, bytes)) return unread;
    if (!find(bytes).empty()) return refused("bytes that were overwritten came back");
    return true;
}

}  // namespace

Result<bool> overwriteStill(std::string_view path, Where where, const Find& find) {
    Result<bool> result = false;
    const std::wstring wide = WEKU::wchar::widen(path);
    const bool opened = WEKU::FileIO::open_a(wide, [&](WEKU::FileIO& file) {
        try {
            result = overwriteOpen(file, wide, where, find);
        } catch (WEKU::Failure message) {
            result = refused(message);
        }
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
