#include "mp4/Box.h"

#include <algorithm>

#include "support/Console.h"
#include "support/Endian.h"
#include "support/WideText.h"

namespace MP4 {

using WEKU::Console::out;

std::string fourCCText(FourCC code) {
    const auto bytes = WEKU::bitCast<std::array<char, 4>>(code);
    const std::string text(bytes.data(), bytes.size());
    return text.substr(0, text.find('\0'));
}

BOX::BOX(BinFile& file, std::int32_t depth, BOX* parent)
    : depth(depth), type(0), start(file.tell()), parent(parent), totalSize(file.take32()) {
    type = file.takeCode();
    if (totalSize == 1) {
        largeSize = true;
        totalSize = file.take64();
    } else if (totalSize == 0) {
        // Deliberate: to the end of the file, whatever the parent says.
        openEnded = true;
        totalSize = file.fileLength() - std::min(file.fileLength(), start);
    }
}

BOX::BOX(std::uint64_t start, std::uint64_t size, FourCC type, BOX* parent)
    : depth(0), type(type), start(start), parent(parent), totalSize(size) {}

BOX::BOX(const BOX& header, BOX* parent)
    : depth(header.depth),
      type(header.type),
      start(header.start),
      largeSize(header.largeSize),
      openEnded(header.openEnded),
      parent(parent),
      totalSize(header.totalSize) {}

void BOX::parseBox(BinFile&, std::uint64_t) {}

std::uint64_t BOX::end() const {
    return totalSize > UINT64_MAX - start ? UINT64_MAX : start + totalSize;
}

std::uint64_t BOX::innermostEnd(std::uint64_t fileLength) const {
    std::uint64_t nearest = fileLength;
    for (const BOX* box = this; box != nullptr && box->depth >= 0; box = box->parent)
        nearest = std::min(nearest, box->end());
    return nearest;
}

bool BOX::size(BinFile& file, std::uint64_t newSize) const {
    const std::uint64_t position = file.tell();
    unsigned char field[8];
    std::uint64_t width = 4;
    if (largeSize) {
        width = 8;
        WEKU::storeBig<std::uint64_t>(field, newSize);
    } else {
        WEKU::storeBig<std::uint32_t>(field, static_cast<std::uint32_t>(newSize));
    }
    file.moveTo(start + (largeSize ? 8 : 0));
    const bool written = file.put(field, width);
    file.moveTo(position);
    return written;
}

bool BOX::copyTo(WEKU::FileIO& src, WEKU::FileIO& dst) const {
    return totalSize == 0 || (src.seek_set(start) && src.copyAll(dst, totalSize));
}

void BOX::limitTo(BinFile& file, std::uint64_t parseEnd) const {
    file.limit = std::min(end(), parseEnd);
}

std::wstring BOX::indentation() const {
    return std::wstring(static_cast<std::size_t>(std::max(depth, 0)) * 4, L' ');
}

std::wstring BOX::basicTag() const {
    const std::wstring tag = L"'" + WEKU::wchar::mbs2wcs(WEKU::wchar::oneLine(name())) +
                             L"': start=" + std::to_wstring(start) + L" bytes=" +
                             std::to_wstring(totalSize);
    return tag.substr(0, 63);
}

void BOX::dump() const {
    if (type == 0) {
        out(L"MP4: %ls== EOF total=%lld ==\n", indentation().c_str(),
            static_cast<long long>(start));
    } else {
        out(L"MP4: %ls<%ls >\n", indentation().c_str(), basicTag().c_str());
    }
}

void NestedBox::dump() const {
    if (type == 0) {
        BOX::dump();
    } else {
        out(L"MP4: %ls<%ls children=%lu >\n", indentation().c_str(), basicTag().c_str(),
            static_cast<unsigned long>(children.size()));
    }
    dumpChildren();
}

void NestedBox::dumpChildren() const {
    for (const auto& child : children)
        child->dump();
}

void NestedBox::parseBox(BinFile& file, std::uint64_t end) {
    if (depth >= deepestParent) return;
    for (;;) {
        limitTo(file, end);
        const BOX header(file, depth + 1, this);
        if (header.type == 0 || header.size() < header.headerLength()) return;
        if (ParseBudget::draw(file.budget.boxes, 1) == 0) return;
        children.push_back(allocChild(header));
        children.back()->parseBox(file, end);
        // A child may claim more than its parent or the file: the next header then lies beyond
        // the limit and reads as 0. One that passes the range of file offsets ends it here.
        if (header.end() > INT64_MAX) return;
        file.moveTo(header.end());
    }
}

std::unique_ptr<BOX> NestedBox::allocChild(const BOX& header) {
    return std::make_unique<BOX>(header, this);
}

void NestedBox::find(const char* path, Visitor visit) const {
    for (int i = 0; i < 4; ++i) {
        if (path[i] == '\0') return;
    }
    const FourCC code = fourCCAt(path);
    const char separator = path[4];
    for (const auto& child : children) {
        if (child->type != code) continue;
        if (separator == '\0') {
            if (!visit(*child)) return;
        } else if (separator == '.' && child->hasChild()) {
            static_cast<const NestedBox&>(*child).find(path + 5, visit);
        }
    }
}

void NestedBox::if_not_found(const char* path, const std::function<void()>& action) const {
    if (first(path) == nullptr) action();
}

void NestedBoxWithVersion::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.take(versionAndFlags.data(), versionAndFlags.size());
    NestedBox::parseBox(file, end);
}

void FullBox::parsePrefix(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    version = file.take8();
    file.take(flags.data(), flags.size());
}

}  // namespace MP4
