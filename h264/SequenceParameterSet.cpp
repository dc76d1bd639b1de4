#include "h264/SequenceParameterSet.h"

#include <cstring>

#include "h264/EmulationPrevention.h"
#include "h264/SequenceParameterSetSyntax.h"
#include "h264/SyntaxReader.h"
#include "h264/SyntaxWriter.h"

namespace H264 {

void SequenceParameterSet::parse(const ByteArray& nalUnit) {
    *this = {};
    SyntaxReader reader(unescape(nalUnit));
    nalUnitSyntax(reader, *this);

    // Writing it back finds the end of the syntax, and proves that what is kept is the whole truth.
    const ByteArray written = write();
    if (written.length() > nalUnit.length() ||
        std::memcmp(written.data(), nalUnit.data(), written.length()) != 0) {
        throw WEKU::Failure("emulation prevention or alignment bits are not the standard's");
    }
    surplus.append(nalUnit.data() + written.length(), nalUnit.length() - written.length());
}

ByteArray SequenceParameterSet::write() const {
    SyntaxWriter writer;
    nalUnitSyntax(writer, *this);
    // The trailing bits end in a byte that is not zero: what follows needs no look back.
    ByteArray nalUnit = escape(writer.bytes());
    nalUnit.append(surplus.data(), surplus.length());
    return nalUnit;
}

}  // namespace H264
