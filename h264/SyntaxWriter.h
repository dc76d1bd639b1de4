#pragma once

#include <concepts>
#include <vector>

#include "h264/GolombBitStream.h"
#include "h264/SignedElement.h"
#include "support/Failure.h"

namespace H264 {

/// Walks a syntax table and appends its elements, with the methods of SyntaxReader. Throws a
/// WEKU::Failure for a value that its descriptor cannot carry.
class SyntaxWriter {
  public:
    void f(int length, std::uint32_t pattern, WEKU::Failure) { stream.write_bits(pattern, length); }

    void u(int length, std::unsigned_integral auto element) {
        if (std::uint64_t{element} >> length != 0) {
            throw WEKU::Failure{"a value is wider than its syntax element"};
        }
        stream.write_bits(element, length);
    }

    void ue(std::uint32_t element) {
        if (element == 0xFFFFFFFF) throw WEKU::Failure{"a value has no Exp-Golomb code"};
        stream.write_golomb(element);
    }

    void se(const SignedElement& element) { ue(element.codeNumber); }

    template <class T>
    void count(const std::vector<T>& list, std::uint32_t count) {
        if (list.size() != count) throw WEKU::Failure{"a list is not as long as its count says"};
    }

    /// All bits written, the last byte padded with zeros.
    ByteArray bytes() {
        ByteArray out;
        stream.bytes(out);
        return out;
    }

  private:
    GolombBitStream stream;
};

}  // namespace H264
