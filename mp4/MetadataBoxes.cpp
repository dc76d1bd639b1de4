#include "mp4/MetadataBoxes.h"

#include <algorithm>
#include <cstring>

#include "support/Console.h"
#include "support/Endian.h"
#include "support/WideText.h"

namespace MP4 {

using WEKU::Console::out;
using WEKU::wchar::mbs2wcs;
using WEKU::wchar::oneLine;

void XYZ::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    textLength = file.take16();
    language = file.take16();
    const auto length = static_cast<std::int32_t>(size() - headerLength() - 4);
    text = file.takeText(static_cast<std::uint64_t>(std::clamp(length, 0, 512)));
}

void XYZ::dump() const {
    out(L"MP4: %ls<%ls xyz=%ls %04x >\n", indentation().c_str(), basicTag().c_str(),
        mbs2wcs(oneLine(text)).c_str(), static_cast<unsigned>(language));
}

void LOCI::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.skip(8);
    first = file.takeFixed();
    second = file.takeFixed();
    hasPosition = true;
    const std::uint64_t before = file.tell();
    third = file.takeFixed();
    hasThird = file.tell() != before;
}

void LOCI::dump() const {
    out(L"MP4: %ls<%ls loci=%f %f %f >\n", indentation().c_str(), basicTag().c_str(), first, second,
        third);
}

UUID::UUID(const std::string& payload)
    : NestedBox(0, payload.size() + smallest, code, nullptr), payload(payload) {}

XMP::XMP(const std::string& payload) : UUID(payload) {
    uuid = _UUID;
}

AXIS::AXIS(const std::string& payload) : UUID(payload) {
    uuid = _UUID;
}

void UUID::to_byteArray(ByteArray& bytes) const {
    unsigned char header[smallest];
    WEKU::storeBig<std::uint32_t>(header, static_cast<std::uint32_t>(payload.size() + smallest));
    std::memcpy(header + 4, &code, sizeof code);
    std::memcpy(header + 8, uuid.data(), uuid.size());
    bytes.clear();
    bytes.append(header, sizeof header);
    bytes.append(reinterpret_cast<const unsigned char*>(payload.data()), payload.size());
}

bool UUID::write(BinFile& file) const {
    ByteArray bytes;
    to_byteArray(bytes);
    return file.put(bytes.data(), bytes.length()) && bytes.length() == size();
}

bool UUID::hasChild() const {
    return is(spatialDataType);
}

void UUID::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.take(uuid.data(), uuid.size());
    payload.clear();
    if (hasChild()) {
        NestedBox::parseBox(file, end);
    } else {
        const std::uint64_t fixedPart = headerLength() + uuid.size();
        payload = file.takeText(size() < fixedPart ? 0 : size() - fixedPart);
    }
}

void UUID::dump() const {
    std::wstring text;
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        static constexpr wchar_t digits[] = L"0123456789ABCDEF";
        if (i == 4 || i == 6 || i == 8 || i == 10) text += L'-';
        text += {digits[uuid[i] >> 4], digits[uuid[i] & 15]};
    }
    out(L"MP4: %ls<%ls uuid=%ls >\n", indentation().c_str(), basicTag().c_str(), text.c_str());
    dumpChildren();
}

}  // namespace MP4
