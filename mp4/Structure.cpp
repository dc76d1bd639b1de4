#include "mp4/Structure.h"

#include "mp4/AVCC.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "support/Console.h"

namespace MP4 {

using WEKU::Console::out;

namespace {

using Child = std::unique_ptr<BOX>;

/// Makes the box if the header bears the code of its class.
template <class Class>
bool makeIfNamed(const BOX& header, BOX* parent, Child& child) {
    if (header.type != Class::code) return false;
    child = std::make_unique<Class>(header, parent);
    return true;
}

/// The class among `Classes` whose code the header bears, else a plain box.
template <class... Classes>
Child childOf(const BOX& header, BOX* parent) {
    Child child;
    const bool named = (makeIfNamed<Classes>(header, parent, child) || ...);
    if (!named) child = std::make_unique<BOX>(header, parent);
    return child;
}

}  // namespace

// The dispatch table: what each box reads into.
// clang-format off
Child ROOT::allocChild(const BOX& header) { return childOf<FTYP, MDAT, META, MOOV, UUID>(header, this); }
Child MOOV::allocChild(const BOX& header) { return childOf<MVHD, UDTA, TRAK>(header, this); }
Child TRAK::allocChild(const BOX& header) { return childOf<UUID, TKHD, MDIA>(header, this); }
Child MDIA::allocChild(const BOX& header) { return childOf<MDHD, MINF>(header, this); }
Child MINF::allocChild(const BOX& header) { return childOf<STBL>(header, this); }
Child STBL::allocChild(const BOX& header) { return childOf<CO64, STCO, STSC, STSD, STSZ, STTS>(header, this); }
Child STSD::allocChild(const BOX& header) { return childOf<SOWT, AVC1>(header, this); }
Child AVC1::allocChild(const BOX& header) { return childOf<AVCC>(header, this); }
Child UDTA::allocChild(const BOX& header) { return childOf<LOCI, XYZ>(header, this); }
Child META::allocChild(const BOX& header) { return childOf<HDLR>(header, this); }
Child UUID::allocChild(const BOX& header) { return childOf<KATR>(header, this); }
// clang-format on

ROOT::ROOT(std::uint64_t size) : NestedBox(0, size, fourCC("root"), nullptr) {
    depth = -1;
}

void ROOT::dump() const {
    out(L"MP4: == %ls ==\n", basicTag().c_str());
    dumpChildren();
}

void STSD::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.take(versionAndFlags.data(), versionAndFlags.size());
    entryCount = file.take32();
    NestedBox::parseBox(file, end);
}

void AVC1::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.takeAndDrop(fixedBytes);
    NestedBox::parseBox(file, end);
}

void SOWT::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.skip(6);
    dataReferenceIndex = file.take16();
    file.skip(8);
    channelCount = file.take16();
    sampleSize = file.take16();
    preDefined = file.take16();
    file.skip(2);
    sampleRate = static_cast<std::uint16_t>(file.take32());
    NestedBox::parseBox(file, end);
}

void SOWT::dump() const {
    // Deliberate: the last label's spelling is part of the line.
    out(L"MP4: %ls<%ls data_reference_index=%u channel_count=%u sample_size=%u pre_defined=%u "
        L"samplelate=%x>\n",
        indentation().c_str(), basicTag().c_str(), unsigned{dataReferenceIndex},
        unsigned{channelCount}, unsigned{sampleSize}, unsigned{preDefined}, unsigned{sampleRate});
    dumpChildren();
}

}  // namespace MP4
