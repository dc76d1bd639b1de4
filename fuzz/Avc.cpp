#include "fuzz/kit/Fuzzing.h"
#include "h264/AvcFlagPatch.h"
#include "h264/EmulationPrevention.h"
#include "h264/SequenceParameterSet.h"
#include "support/Failure.h"

namespace {

void checkSet(const ByteArray& unit) {
    H264::SequenceParameterSet set;
    set.parse(unit);
    fuzz::require(set.write() == unit, "a parameter set is given back to the byte");
}

void checkRecord(const ByteArray& payload, bool fullRange) {
    H264::AvcRecord record;
    record.parse(payload);
    fuzz::require(record.write() == payload, "a record is given back to the byte");
    const ByteArray patched = H264::setConstraintSet1AndFullRange(payload, fullRange);
    fuzz::require(H264::setConstraintSet1AndFullRange(patched, fullRange) == patched,
                  "a second patch changes nothing");
    H264::AvcRecord again;
    again.parse(patched);
    fuzz::require(again.pictureParameterSets == record.pictureParameterSets,
                  "the patch leaves other units alone");
    H264::flagsOfFirstSet(again);
}

}  // namespace

/// A decoder configuration record, and the same bytes as one parameter set; the first byte holds
/// the flag to patch.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool fullRange = (input.take8() & 1) != 0;
    const ByteArray bytes(reinterpret_cast<const unsigned char*>(input.rest().data()),
                          input.rest().size());
    const auto attempt = [](auto action) {
        try {
            action();
        } catch (WEKU::Failure) {
        }
    };
    attempt([&] { checkSet(bytes); });
    attempt([&] { checkRecord(bytes, fullRange); });
    const ByteArray plain = H264::unescape(bytes);
    if (!plain.empty() && plain.data()[plain.length() - 1] != 0) {
        fuzz::require(H264::unescape(H264::escape(plain)) == plain, "the escape can be undone");
    }
    return 0;
}
