#pragma once

#include <cstdint>
#include <vector>

/// The stream of per-sample tilt angles that is stored in a movie's AXIS uuid box. All its numbers
/// are big-endian: a 32-byte header and a 16-byte record a sample (version 2); version 1, which is
/// only read, has a 16-byte header and 12-byte records.
class AxisTiltStream {
  public:
    /// One sample; angles in radians.
    struct AxisCompass {
        float angle0 = 0.0F;
        float angle1 = 0.0F;
        float angle2 = 0.0F;
        /// Not stored.
        std::uint32_t reserved = 0;
        std::uint32_t value = 0;
    };

    /// A stored sample: the angles in whole degrees (signed, 32 bits each), then `value`.
    struct AXIS_V2 {
        unsigned char bytes[16];

        static AXIS_V2 networkOrderd(const AxisCompass& sample);
    };

    /// The header: version (16 bits), flag (16), number of samples (32), reference index (32,
    /// signed), the reference sample (zeros without one) and 4 zero bytes.
    struct AXIS_HEADER_V2 {
        unsigned char bytes[32];

        void init(bool flag, std::uint64_t count, std::int32_t referenceIndex,
                  const AxisCompass& reference);
    };

    std::vector<AxisCompass> samples;
    std::uint16_t flag = 0;
    /// The sample that goes into the header; negative: none.
    std::int32_t referenceIndex = -1;

    /// The version-2 stream, which the caller frees with delete[]; null, length 0, when there are
    /// no samples. Throws std::out_of_range when `referenceIndex` names none.
    [[nodiscard]] unsigned char* toBinary(std::uint64_t& length) const;

    /// Turns a version-1 stream into a new version-2 one, which the caller frees with delete[],
    /// and `length` into its length. Null when the length is not the one that the header announces
    /// (after a console line) or there is no memory for it.
    [[nodiscard]] static unsigned char* convert(const unsigned char* stream, std::uint64_t& length);

    /// Cuts a stream (from new[]) down to `count` samples from `start` on, in place; version 1 is
    /// converted first, which replaces the array. Returns the new length, or 0 on failure: a
    /// malformed stream (after a console line) or nothing left from `start` on. Never throws.
    /// The length follows the count asked for, even where fewer samples remain and the header says
    /// so. The array does not grow by that: a caller that writes so many bytes takes those behind
    /// the samples that were there before from elsewhere (zeros will do).
    [[nodiscard]] static std::uint64_t trim(unsigned char*& stream, std::uint64_t length,
                                            std::uint32_t start, std::uint32_t count);
};
