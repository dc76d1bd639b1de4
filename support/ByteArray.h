#pragma once

#include <cstdint>

/// An owning byte buffer from the C allocator. There is no spare capacity: every change of length
/// reallocates the block to exactly the new length, and length 0 frees it. Running out of memory
/// throws std::bad_alloc and leaves the array as it was.
class ByteArray {
  public:
    ByteArray() = default;
    ByteArray(const unsigned char* bytes, std::uint64_t count);
    ByteArray(const ByteArray& other);
    ByteArray(ByteArray&& other) noexcept;
    ByteArray& operator=(ByteArray other) noexcept;
    virtual ~ByteArray();

    unsigned char* data() { return bytes; }
    const unsigned char* data() const { return bytes; }
    std::uint64_t length() const { return count; }
    bool empty() const { return count == 0; }

    /// Sets the length; new bytes are zero.
    void setLength(std::uint64_t newLength);
    void clear() { setLength(0); }
    /// Adds `more` bytes of any value, to be overwritten, and returns where they begin.
    unsigned char* grow(std::uint64_t more);
    /// Appends bytes that do not lie in this array.
    void append(const unsigned char* more, std::uint64_t moreCount);
    /// Drops the first `n` bytes (all of them when there are fewer).
    void removeFront(std::uint64_t n);

    bool operator==(const ByteArray& other) const;

  private:
    void reallocate(std::uint64_t newLength);

    unsigned char* bytes = nullptr;
    std::uint64_t count = 0;
};
