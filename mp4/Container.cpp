#include "mp4/Container.h"

#include <algorithm>

#include "mp4/HeaderBoxes.h"

namespace MP4 {

bool Container::attach(const std::wstring& newPath, std::uint64_t end) {
    auto opened = std::make_unique<Source>(newPath);
    openError = opened->file.openError();
    return opened->file.handOut([&](WEKU::FileIO&) {
        parse(opened->reader, end);
        source = std::move(opened);
    });
}

void Container::parse(BinFile& file, std::uint64_t end) {
    // The handle may be one that `open` handed out.
    if (source && !file.isSharing(source->file)) source.reset();
    path = file.name();
    stamp = file.stamp();
    touched = false;
    moov = nullptr;
    mdat = nullptr;
    file.budget = ParseBudget::forFile(file.fileLength());
    root = std::make_unique<ROOT>(std::min(end, file.fileLength()));
    root->parseBox(file, end);
    // A length that the system does not tell reads as 0, and the tree is empty.
    parsedWhole = !file.sawShortRead() && file.budget.boxes > 0 && stamp.node != 0 &&
                  stamp.length == file.fileLength();

    mdat = first("mdat");
    moov = first("moov");
    findVideoTrack();
}

void Container::findVideoTrack() {
    videoTrack = nullptr;
    findEach<TRAK>(path::track, [this](TRAK& trak) {
        trak.findEach<TKHD>("tkhd", [&](const TKHD& header) {
            if (header.width >= 1) videoTrack = &trak;
            return true;
        });
        return true;
    });
}

void Container::keepFirstMovie() {
    if (!root) return;
    for (auto& box : root->children) {
        if (box->type != MOOV::code || box.get() == moov) continue;
        box = std::make_unique<BOX>(*box, box->parent);
    }
    findVideoTrack();
}

void Container::find(const char* boxPath, const NestedBox::Visitor& visit) const {
    if (root) root->find(boxPath, visit);
}

void Container::dump() const {
    if (root) root->dump();
}

bool Container::open(const WEKU::FileIO::Callback& callback) const {
    if (!source && underEdit == nullptr) return WEKU::FileIO::open(path, callback);
    // A handle of its own for each, because callbacks move the position and may nest.
    BinFile handle(underEdit != nullptr ? *underEdit : source->reader);
    handle.moveTo(0);
    return handle.handOut(callback);
}

bool Container::open_a(const WEKU::FileIO::Callback& callback) {
    if (underEdit != nullptr) return open(callback);
    return WEKU::FileIO::open_a(path, [&](WEKU::FileIO& opened) {
        const WEKU::FileStamp before = opened.stamp();
        callback(opened);
        const WEKU::FileStamp after = opened.stamp();
        if (before != stamp || after == before) return;
        stamp = after;
        touched = true;
    });
}

std::string Container::payload(const BOX& box, std::uint64_t most) const {
    constexpr std::uint64_t header = 8;
    std::string bytes;
    if (box.size() <= header) return bytes;
    open([&](WEKU::FileIO& opened) {
        BinFile file(opened);
        file.moveTo(box.start + header);
        bytes = file.takeText(std::min(most, box.size() - header));
    });
    return bytes;
}

}  // namespace MP4
