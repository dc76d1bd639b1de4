#include "h264/SequenceParameterSet.h"

#include <cstring>

#include "h264/EmulationPrevention.h"
#include "h264/SequenceParameterSetSyntax.h"
#include "h264/SyntaxReader.h"
#include "h264/SyntaxWriter.h"

namespace H264 {
namespace {

/// The NAL unit of a set, up to and including its trailing bits.
ByteArray unitOf(const SequenceParameterSet& set) {
    SyntaxWriter writer;
    nalUnitSyntax(writer, set);
    // rbsp_trailing_bits (7.3.2.11): the stop bit, then zeros up to the byte's end.
    writer.f(1, 1, nullptr);
    return escape(writer.bytes());
}

}  // namespace

void SequenceParameterSet::parse(const ByteArray& nalUnit) {
    *this = {};
    SyntaxReader reader(unescape(nalUnit));
    nalUnitSyntax(reader, *this);

    // Writing it back finds the end of the syntax, and proves that what is kept is the whole truth.
    const ByteArray written = unitOf(*this);
    untidy = written.length() > nalUnit.length() ||
             std::memcmp(written.data(), nalUnit.data(), written.length()) != 0;
    if (untidy) return;
    surplus.append(nalUnit.data() + written.length(), nalUnit.length() - written.length());
}

ByteArray SequenceParameterSet::write() const {
    if (untidy) {
        throw WEKU::Failure{
            "the parameter set's stop bit, padding or emulation prevention is not the standard's"};
    }
    // The trailing bits end in a byte that is not zero: what follows needs no look back.
    ByteArray nalUnit = unitOf(*this);
    nalUnit.append(surplus.data(), surplus.length());
    return nalUnit;
}

}  // namespace H264
