#include <algorithm>

#include "mp4/ChunkOffsets.h"
#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "support/Console.h"
#include "support/WideText.h"

namespace MP4 {

using WEKU::FileIO;
using WEKU::Console::out;
using WEKU::Console::warn;
using WEKU::wchar::narrow;

namespace {

/// The last step ahead of the exchange: the copy looks like the source and is on the disk.
bool seal(const std::wstring& temporary, const FileIO& source) {
    bool sealed = false;
    FileIO::open_a(temporary,
                   [&](FileIO& copy) { sealed = copy.takePermissions(source) && copy.sync(); });
    return sealed;
}

/// Removes the temporary file unless it has become the movie.
struct TemporaryFile {
    const std::wstring& path;
    bool mayStand = false;
    ~TemporaryFile() {
        if (mayStand) FileIO::unlink(path);
    }
};

bool isEnclosed(const BOX& anchor, const BOX& box) {
    return anchor.start >= box.start && anchor.end() <= box.end();
}

}  // namespace

bool Container::mayEdit(FileIO& opened) const {
    const char* reason = !opened.lock()            ? "is being edited by another program"
                         : opened.stamp() != stamp ? "has changed since it was read"
                         : !parsedWhole            ? "could not be read in full"
                                                   : nullptr;
    if (reason != nullptr) warn("%s %s", narrow(opened.name()).c_str(), reason);
    return reason == nullptr;
}

bool Container::editInPlace(const Edit& edit) {
    bool done = false;
    open_a([&](FileIO& opened) {
        if (!mayEdit(opened)) return;
        BinFile file(opened);
        done = edit(file) && !file.sawShortWrite();
        stamp = opened.stamp();
    });
    return done;
}

bool Container::modifyContainer(const wchar_t* name, const Edit& edit) {
    const bool done = editInPlace([&](BinFile& file) { return edit(file) && file.sync(); });
    if (!done) out(L"Container::modifyContainer::%ls(%ls) failed.\n", name, path.c_str());
    attach(path, wholeFile);
    return done;
}

bool Container::modifyContainer(const wchar_t* name, const Copy& copy, const Fix& fixFront,
                                const Fix& fixAll) {
    const std::wstring source = FileIO::resolve(path);
    const std::wstring target = outputPath.empty() ? source : FileIO::resolve(outputPath);
    const std::wstring temporary = target + L".tmp.mp4";
    const bool done = rewrite(source, target, temporary, copy, fixFront, fixAll);
    if (!done) {
        out(L"Container::modifyContainer::%ls(%ls to %ls) failed.\n", name, source.c_str(),
            temporary.c_str());
    } else if (!outputPath.empty()) {
        path = outputPath;
        outputPath.clear();
    }
    attach(path, wholeFile);
    return done;
}

bool Container::rewrite(const std::wstring& source, const std::wstring& target,
                        const std::wstring& temporary, const Copy& copy, const Fix& fixFront,
                        const Fix& fixAll) const {
    // A cut name could be that of another file, the source itself included.
    const char* reason =
        narrow(temporary).size() >= WEKU::wchar::maxNarrow ? "its temporary file's name is too long"
        : !outputPath.empty() && FileIO::stampOf(target).sameFile(stamp) ? "it is the source itself"
        : FileIO::stampOf(temporary).sameFile(stamp) ? "its temporary file is the source"
        : !FileIO::isReplaceable(target)             ? "it is no regular file"
                                                     : nullptr;
    if (reason != nullptr) {
        warn("%s cannot be written: %s", narrow(target).c_str(), reason);
        return false;
    }
    const auto apply = [&temporary](std::uint64_t bound, const Fix& fix) {
        Container fresh;
        return fresh.attach(temporary, bound) &&
               fresh.editInPlace([&](BinFile& file) { return fix(fresh, file); });
    };
    bool replaced = false;
    FileIO::open(source, [&](FileIO& opened) {
        if (!mayEdit(opened)) return;
        BinFile src(opened);
        if (outputPath.empty()) src.expectNoReuse();
        TemporaryFile guard{temporary};
        std::uint64_t insertAt = 0;
        bool copied = false;
        FileIO::open_new(temporary, [&](FileIO& made) {
            guard.mayStand = true;
            BinFile dst(made);
            // Flushed by the handle that wrote: one opened later may never hear of a write that
            // failed on its way to the disk in between.
            copied = copy(src, dst, insertAt) && !src.sawShortRead() && !dst.sawShortWrite() &&
                     made.sync();
        });
        // The stamp is asked again, of what stands at the path: a movie that was changed or
        // exchanged meanwhile is not the one that was copied.
        replaced = copied && apply(insertAt, fixFront) && apply(wholeFile, fixAll) &&
                   seal(temporary, opened) && FileIO::stampOf(source) == stamp &&
                   FileIO::rename(temporary, target);
        guard.mayStand = guard.mayStand && !replaced;
    });
    if (replaced) FileIO::syncFolderOf(target);
    return replaced;
}

bool Container::insertBox(const wchar_t* name, const BOX& anchor, bool replace, const Edit& write,
                          const Fix& fixFront, const Fix& fixAll) {
    const auto copy = [&](BinFile& src, BinFile& dst, std::uint64_t& insertAt) {
        // A damaged anchor may claim more than the file; one without a size would swallow the rest.
        if (anchor.end() > src.fileLength() || (anchor.openEnded && !replace)) return false;
        const std::uint64_t front = replace ? anchor.start : anchor.end();
        if (!src.copyAll(dst, front)) return false;
        insertAt = dst.tell();
        if (!write(dst)) return false;
        src.moveTo(anchor.end());
        return src.copyAll(dst, src.fileLength() - anchor.end());
    };
    return modifyContainer(name, copy, fixFront, fixAll);
}

Container::Fix Container::growEnclosing(const BOX& anchor, std::int64_t delta) {
    // Everything ahead of the insertion stands in the copy where it stood in the source.
    return [&anchor, delta](Container&, BinFile& file) {
        for (const BOX* box = anchor.parent; box != nullptr && box->depth >= 0; box = box->parent) {
            const std::uint64_t newSize = box->size() + static_cast<std::uint64_t>(delta);
            if (!isEnclosed(anchor, *box) || !box->sizeFits(newSize)) return false;
            if (!box->size(file, newSize)) return false;
        }
        return true;
    };
}

Container::Fix Container::shiftBehind(const BOX& anchor, std::int64_t delta) {
    const std::uint64_t from = anchor.end();
    return shiftOffsets(from + static_cast<std::uint64_t>(delta),
                        [from, delta](auto offset) { return offset < from ? 0 : delta; });
}

Container::Fix Container::shiftOffsets(std::uint64_t moved, const Distance& distance) {
    return [moved, distance](Container& copy, BinFile& file) {
        const auto& boxes = copy.root->children;
        const bool dataMoved = std::any_of(boxes.begin(), boxes.end(), [&](const auto& box) {
            return box->end() > moved && box->type != MOOV::code && box->type != fourCC("free") &&
                   box->type != fourCC("skip");
        });
        if (!dataMoved) return true;
        return ChunkOffsets::tables(copy, ChunkOffsets::movieTracks) > 0 &&
               !copy.hasOtherAbsoluteOffsets() && ChunkOffsets::shift(copy, file, distance);
    };
}

bool Container::hasOtherAbsoluteOffsets() const {
    for (const char* boxPath : {"moof", "mfra", "sidx", "moov.mvex", "meta.iloc",
                                "moov.trak.mdia.minf.stbl.saio", "uuid.KATR.mdia.minf.stbl.saio"}) {
        if (first(boxPath) != nullptr) return true;
    }
    return false;
}

bool Container::modifyBoxSize(BinFile& file, const BOX& box, std::int64_t delta) const {
    for (const BOX* at = &box; at != nullptr; at = at->parent) {
        at->size(file, at->size() + static_cast<std::uint64_t>(delta));
    }
    return true;
}

bool Container::modifySTCOIndexImpl(const std::string& prefix, BinFile& file,
                                    std::int64_t delta) const {
    const auto moved = [delta](std::uint64_t offset) {
        return offset + static_cast<std::uint64_t>(delta);
    };
    return ChunkOffsets::tables(*this, prefix) > 0 &&
           ChunkOffsets::rewrite(*this, prefix, file, moved);
}

bool Container::modifySTCOIndex(BinFile& file, std::int64_t delta) const {
    return modifySTCOIndexImpl(ChunkOffsets::movieTracks, file, delta);
}

bool Container::modifySpatialTrakSTCOIndex(BinFile& file, std::int64_t delta) const {
    return modifySTCOIndexImpl(ChunkOffsets::spatialTrack, file, delta);
}

}  // namespace MP4
