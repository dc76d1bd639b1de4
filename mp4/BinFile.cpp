#include "mp4/BinFile.h"

#include <algorithm>
#include <cstring>

#include "support/Endian.h"

namespace MP4 {

namespace {

/// Asks the system, unless a reader of the file did.
std::uint64_t lengthOf(const WEKU::FileIO& opened) {
    const auto* reader = dynamic_cast<const BinFile*>(&opened);
    return reader != nullptr && reader->isReadOnly() ? reader->fileLength() : opened.length();
}

}  // namespace

BinFile::BinFile(WEKU::FileIO& opened)
    : FileIO(opened), knownChanges(changeCount()), knownLength(lengthOf(opened)) {}

void BinFile::catchUp() const {
    if (knownChanges == changeCount()) return;
    knownChanges = changeCount();
    // A length that cannot be asked must not let the rest of an edit find nothing.
    if (const WEKU::FileStamp now = stamp(); now.node != 0) knownLength = now.length;
    windowLength = 0;
}

std::uint64_t BinFile::fileLength() const {
    catchUp();
    return knownLength;
}

std::uint64_t BinFile::available() const {
    const std::uint64_t end = std::min(limit, fileLength());
    return position <= end ? end - position : 0;
}

void BinFile::skip(std::uint64_t count) {
    position = count > UINT64_MAX - position ? UINT64_MAX : position + count;
}

bool BinFile::take(unsigned char* bytes, std::uint64_t count) {
    if (count > available()) return false;
    if (count > window.size()) {
        if (readAt(position, bytes, count) != count) {
            markShortRead();
            return false;
        }
    } else {
        const bool held = position >= windowStart && position - windowStart <= windowLength &&
                          count <= windowLength - (position - windowStart);
        if (!held) {
            windowStart = position;
            windowLength = readAt(position, window.data(),
                                  std::min<std::uint64_t>(window.size(), knownLength - position));
            if (windowLength < count) {
                markShortRead();
                return false;
            }
        }
        std::memcpy(bytes, window.data() + (position - windowStart), count);
    }
    position += count;
    return true;
}

void BinFile::takeAndDrop(std::uint64_t count) {
    if (count <= available()) position += count;
}

template <class T>
T BinFile::takeBig() {
    unsigned char bytes[sizeof(T)];
    return take(bytes, sizeof bytes) ? WEKU::loadBig<T>(bytes) : T{0};
}

std::uint8_t BinFile::take8() {
    return takeBig<std::uint8_t>();
}

std::uint16_t BinFile::take16() {
    return takeBig<std::uint16_t>();
}

std::uint32_t BinFile::take32() {
    return takeBig<std::uint32_t>();
}

std::uint64_t BinFile::take64() {
    return takeBig<std::uint64_t>();
}

FourCC BinFile::takeCode() {
    unsigned char bytes[4];
    return take(bytes, sizeof bytes) ? fourCCAt(bytes) : FourCC{0};
}

double BinFile::takeFixed() {
    return static_cast<std::int32_t>(take32()) * (1.0 / 65536);
}

std::string BinFile::takeText(std::uint64_t count) {
    std::string text(ParseBudget::draw(budget.payloadBytes, std::min(count, available())), '\0');
    const std::uint64_t wanted = text.size();
    text.resize(readAt(position, reinterpret_cast<unsigned char*>(text.data()), wanted));
    if (text.size() < wanted) markShortRead();
    position += text.size();
    return text;
}

bool BinFile::put(const unsigned char* bytes, std::uint64_t count) {
    return writeAll(bytes, count);
}

bool BinFile::put(const std::string& bytes) {
    return put(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::uint64_t BinFile::rowsAhead(std::uint64_t width, std::uint64_t count) const {
    return std::min(count, std::min(available(), budget.payloadBytes) / width);
}

}  // namespace MP4
