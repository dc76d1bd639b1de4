#include "support/ByteArray.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "support/LargePages.h"

ByteArray::ByteArray(const unsigned char* source, std::uint64_t sourceCount) {
    append(source, sourceCount);
}

ByteArray::ByteArray(const ByteArray& other) : ByteArray(other.bytes, other.count) {}

ByteArray::ByteArray(ByteArray&& other) noexcept
    : bytes(std::exchange(other.bytes, nullptr)), count(std::exchange(other.count, 0)) {}

ByteArray& ByteArray::operator=(ByteArray other) noexcept {
    std::swap(bytes, other.bytes);
    std::swap(count, other.count);
    return *this;
}

ByteArray::~ByteArray() {
    std::free(bytes);
}

void ByteArray::reallocate(std::uint64_t newLength) {
    if (newLength == 0) {
        std::free(bytes);
        bytes = nullptr;
    } else {
        if (newLength > PTRDIFF_MAX) throw std::bad_alloc();
        void* block = std::realloc(bytes, newLength);
        if (block == nullptr) throw std::bad_alloc();
        bytes = static_cast<unsigned char*>(block);
        if (newLength > count) WEKU::useLargePages(bytes, newLength);
    }
    count = newLength;
}

void ByteArray::setLength(std::uint64_t newLength) {
    const std::uint64_t old = count;
    if (newLength == old) return;
    reallocate(newLength);
    if (newLength > old) std::memset(bytes + old, 0, newLength - old);
}

unsigned char* ByteArray::grow(std::uint64_t more) {
    const std::uint64_t old = count;
    if (more > UINT64_MAX - old) throw std::bad_alloc();
    if (more > 0) reallocate(old + more);
    return bytes + old;
}

void ByteArray::append(const unsigned char* more, std::uint64_t moreCount) {
    if (moreCount > 0) std::memcpy(grow(moreCount), more, moreCount);
}

void ByteArray::removeFront(std::uint64_t n) {
    if (n == 0) return;
    if (n >= count) {
        clear();
        return;
    }
    std::memmove(bytes, bytes + n, count - n);
    setLength(count - n);
}

bool ByteArray::operator==(const ByteArray& other) const {
    return count == other.count && (count == 0 || std::memcmp(bytes, other.bytes, count) == 0);
}
