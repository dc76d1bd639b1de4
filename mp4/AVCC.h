#pragma once

#include "mp4/Box.h"
#include "support/ByteArray.h"

namespace MP4 {

/// The decoder configuration record of an H.264 track (ISO/IEC 14496-15).
class AVCC : public BOX {
  public:
    static constexpr FourCC code = fourCC("avcC");
    using BOX::BOX;
    void parseBox(BinFile& file, std::uint64_t end) override;

    /// Takes three facts from the first sequence parameter set: profile_idc,
    /// constraint_set1_flag and video_full_range_flag (false when the set does not carry one).
    /// A record or a set that cannot be read prints its line and gives false; the arguments then
    /// keep their values.
    bool get_profile_idc_and_constrained_set1_flag(unsigned char& profile_idc,
                                                   bool& constrained_set1_flag,
                                                   bool& fullRange) const;

    /// The record's bytes, as far as the file holds them.
    std::string record;
    ByteArray bytes() const;
};

}  // namespace MP4
