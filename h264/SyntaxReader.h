#pragma once

#include <concepts>
#include <type_traits>
#include <vector>

#include "h264/GolombBitStream.h"
#include "h264/SignedElement.h"
#include "support/Failure.h"

namespace H264 {

/// Walks a syntax table and fills its elements from the bits of an unescaped NAL unit. The methods
/// are the descriptors of ISO/IEC 14496-10, 7.2; SyntaxWriter has the same for the other way.
/// Throws a WEKU::Failure at the end of the bits or where one of them is forbidden.
class SyntaxReader {
  public:
    explicit SyntaxReader(const ByteArray& plain) { stream.attach(plain); }

    /// A fixed pattern of `length` bits; throws `otherwise` when other bits stand there.
    void f(int length, std::uint32_t pattern, WEKU::Failure otherwise) {
        if (stream.read_bits(length).value != pattern) throw otherwise;
    }

    void u(int length, std::unsigned_integral auto& element) {
        element =
            static_cast<std::remove_reference_t<decltype(element)>>(stream.read_bits(length).value);
    }

    /// Any code number up to 4294967294; rate-control fields reach past the 31 bits of
    /// GolombBitStream::read_golomb.
    void ue(std::uint32_t& element) {
        int zeros = 0;
        while (stream.next_bit() == 0) {
            if (++zeros > 31) throw WEKU::Failure{"an Exp-Golomb code is longer than 63 bits"};
        }
        element = ((1U << zeros) | stream.read_bits(zeros).value) - 1;
    }

    void se(SignedElement& element) { ue(element.codeNumber); }

    /// The elements of a list of which `count` follow.
    template <class T>
    void count(std::vector<T>& list, std::uint32_t count) {
        list.resize(count);
    }

  private:
    GolombBitStream stream;
};

}  // namespace H264
