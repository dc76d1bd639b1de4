#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "support/Console.h"
#include "support/WideText.h"

/// The edits that put a box behind the last one.
namespace MP4 {

using WEKU::Console::out;
using WEKU::Console::warn;
using WEKU::wchar::narrow;

bool Container::appendXMP(const std::string& xmp) {
    return append(XMP(xmp), L"MP4: XMP is existed.\n");
}

bool Container::appendAxis(const std::string& axis) {
    return append(AXIS(axis), L"MP4: AXIS is existed.\n");
}

bool Container::append(const UUID& box, const wchar_t* existedMessage) {
    // A tree of a part of the file does not show its last box.
    touched = touched || (root && root->size() < stamp.length);
    readAgainIfTouched();
    bool existed = false;
    find("uuid", [&](BOX& found) {
        existed = static_cast<UUID&>(found).is(box.uuid);
        return !existed;
    });
    if (existed) {  // Deliberate: no failure; the payload is dropped.
        out(existedMessage);
        return outputPath.empty() || editInPlace([](BinFile&) { return true; });
    }
    const bool done = editInPlace([&](BinFile& file) {
        const std::uint64_t oldLength = file.fileLength();
        const BOX* last = root->children.empty() ? nullptr : root->children.back().get();
        // Behind a box that reaches to the end of any file, or behind bytes that are no box, no
        // reader would find it.
        const bool hidden = (last != nullptr ? last->end() : 0) != oldLength ||
                            (last != nullptr && last->openEnded);
        if (hidden || !box.sizeFits(box.size())) {
            warn("%s: nothing can be appended behind its last box", narrow(path).c_str());
            return false;
        }
        file.moveTo(oldLength);
        if (box.write(file) && file.sync()) return true;
        if (!file.truncate(oldLength)) {
            warn("%s: a part of a box stays behind its end", narrow(path).c_str());
        }
        return false;
    });
    if (done) attachAgain();
    return done;
}

}  // namespace MP4
