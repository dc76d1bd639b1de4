#include "sondex/inside/Opening.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "mp4/FourCC.h"
#include "support/FileState.h"
#include "support/WideText.h"

namespace sondex::inside {

namespace {

using Head = std::array<char, 64>;

std::string_view headOf(const MP4::Container& file, Head& head) {
    std::uint64_t length = 0;
    file.open([&](WEKU::FileIO& opened) {
        length = opened.readAt(0, reinterpret_cast<unsigned char*>(head.data()), head.size());
    });
    return {head.data(), static_cast<std::size_t>(length)};
}

/// What other files begin with.
constexpr struct {
    std::size_t offset;
    std::string_view bytes;
    const char* name;
    Kind kind = Kind::other;
} signatures[] = {
    {0, "\xFF\xD8\xFF", "a JPEG", Kind::jpeg},
    {0, std::string_view("II*\0", 4), "a TIFF or DNG", Kind::tiff},
    {0, std::string_view("MM\0*", 4), "a TIFF or DNG", Kind::tiff},
    {4, "ftypheic", "a HEIF picture"},
    {4, "ftypmif1", "a HEIF picture"},
    {4, "ftypavif", "an AVIF picture"},
    {0, "\x89PNG\r\n", "a PNG"},
    {0, "GIF8", "a GIF"},
    {0, "%PDF", "a PDF"},
    {0, "PK\x03\x04", "a ZIP archive"},
    {0, "\x1A\x45\xDF\xA3", "a Matroska or WebM movie"},
    {8, "AVI ", "an AVI movie"},
    {8, "WAVE", "a WAV sound"},
    {8, "WEBP", "a WebP picture"},
    {0, "OggS", "an Ogg file"},
    {0, "fLaC", "a FLAC sound"},
    {0, "ID3", "an MP3 sound"},
    {0, "\x7F\x45LF", "a program"},
    {0, "\x1F\x8B", "a gzip file"},
    {0, "<?xml", "an XML text"},
};

/// The top-level boxes that a movie may begin with (ISO/IEC 14496-12, QuickTime).
bool beginsLikeMovie(std::string_view head) {
    if (head.size() < 8) return false;
    for (const char* type :
         {"ftyp", "moov", "mdat", "free", "skip", "wide", "pnot", "styp", "moof", "uuid", "meta"}) {
        if (head.substr(4, 4) == type) return true;
    }
    return false;
}

bool isText(std::string_view head) {
    for (const char c : head) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 32 ? c != '\n' && c != '\r' && c != '\t' : byte > 126) return false;
    }
    return true;
}

}  // namespace

Kind kindOf(const MP4::Container& file) {
    Head bytes;
    const std::string_view head = headOf(file, bytes);
    for (const auto& each : signatures) {
        if (head.substr(std::min(each.offset, head.size())).starts_with(each.bytes))
            return each.kind;
    }
    return beginsLikeMovie(head) ? Kind::movie : Kind::other;
}

std::string looksLike(const MP4::Container& file) {
    Head bytes;
    const std::string_view head = headOf(file, bytes);
    if (head.empty()) return "it is empty";
    for (const auto& each : signatures) {
        if (head.substr(std::min(each.offset, head.size())).starts_with(each.bytes))
            return std::string("it looks like ") + each.name;
    }
    if (beginsLikeMovie(head)) return "it looks like an MP4 or MOV file";
    return isText(head) ? "it looks like a text" : "it looks like nothing known";
}

Error whyNoMovie(const MP4::Container& file) {
    if (kindOf(file) == Kind::movie) {
        return {ErrorCode::damaged,
                "the movie box is missing: an MP4 or MOV file that was never finished, or cut"};
    }
    return {ErrorCode::notAMovie, "no MP4 or MOV movie; " + looksLike(file)};
}

Error systemError(int number) {
    // Not strerror: several threads may ask at once, and the words are not to depend on a locale.
    const std::string words = std::generic_category().message(number);
    switch (number) {
        case ENOENT:
        case ENOTDIR:
            return {ErrorCode::notFound, "no such file"};
        case EACCES:
        case EPERM:
            return {ErrorCode::noPermission, "permission denied"};
        case ENXIO:
        case ENODEV:
        case EISDIR:
            return {ErrorCode::notRegularFile, "no regular file"};
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return {ErrorCode::noSpace, words};
        case ENOMEM:
            return {ErrorCode::outOfMemory, "not enough memory"};
        default:
            return {ErrorCode::ioFailed, words};
    }
}

std::optional<Error> attach(MP4::Container& file, std::string_view path, std::uint64_t end) {
    if (path.find('\0') != std::string_view::npos) return systemError(ENOENT);
    // What is longer would be cut on the way to the system, and another file opened.
    if (path.size() >= WEKU::wchar::maxNarrow) return systemError(ENAMETOOLONG);
    if (!file.attach(WEKU::wchar::widen(path), end)) return systemError(file.attachError());
    if (!file.isRegularFile()) {
        return Error{ErrorCode::notRegularFile, WEKU::FileState::isFolder(file.path)
                                                    ? "is a directory"
                                                    : "no regular file but a device or the like"};
    }
    return std::nullopt;
}

}  // namespace sondex::inside
