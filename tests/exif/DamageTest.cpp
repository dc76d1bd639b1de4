#include <gtest/gtest.h>

#include "exif/CameraRecord.h"
#include "tests/kit/Files.h"
#include "tests/kit/TiffBuilder.h"

using T = kit::CameraTiff;

namespace {

using Form = std::string (T::*)() const;
constexpr Form jpeg = &T::jpeg, tiff = &T::tiff, note = &T::makerNote, dng = &T::dng;

/// Reads and prints everything; the message of the failure, or nothing.
std::string outcome(const std::string& image, Form form) {
    ExifParser parser;
    ExifParser::ZELVA record;
    return kit::failureOf([&] {
        if (form == jpeg) {
            parser.attachBytes(kit::byteArray(image));
            parser.seekToKESTOMakerNote();
        } else if (form == dng) {
            parser.attachDNG(kit::byteArray(image));
        } else {
            parser.attachKMKN(kit::byteArray(image));
        }
        parser.readZEVLA(record);
        parser.dumpKMKN();
    });
}

// clang-format off
const std::tuple<Form, void (*)(T&), const char*> rows[] = {
    {jpeg, [](T& t) { t.jpegHead[1] = 0; }, "SOI(0xFFD8) not found."},
    {jpeg, [](T& t) { t.jpegHead = "\xFF\xD8\xFF\xD8"; }, "Invalid SOI(0xFFD8) found."},
    {jpeg, [](T& t) { t.jpegHead.insert(2, "\xFF\xDA"); }, "Invalid SOS(0xFFDA) found."},
    {jpeg, [](T& t) { t.jpegHead[2] = '\xFE'; }, "Unknown marker."},
    {jpeg, [](T& t) { t.identifier = 43; }, "Invalid TIFF-ID(0x002A)."},
    {tiff, [](T& t) { t.signature[5] = 1; }, "Not a KESTO image."},
    {tiff, [](T& t) { t.ifd0Offset = 0; }, "SOI(0xFFD8) not found."},
    {jpeg, [](T& t) { t.ifd0.drop({0x8769}); }, "EXIF-IFD(0x8769) not found."},
    {jpeg, [](T& t) { t.exif.drop({0x927C}); }, "MakerNote-IFD(0x927C) not found."},
    {note, [](T& t) { t.maker.drop({0x4001}); }, "ZELVA-IFD(0x4001) not found."},
    {note, [](T& t) { t.maker[0x4001].value = UINT32_MAX; }, "Invalid position"},
    {tiff, [](T& t) { t.ifd0[0x0110].count = 4; }, "Invalid Type: ASCII[>4] or UNDEF[>4] required."},
    {note, [](T& t) { t.maker[0x0005].count = UINT32_MAX; }, "Invalid position"},
    {note, [](T& t) { t.maker[0x0005].text.assign(t.maker[0x0005].count = (1 << 20) + 1, 'x'); }, "Text is too long."},
    {tiff, [](T& t) { (t = T(false)).byteOrder = 0x1234; }, "bigEndian reqired."},
    {note, [](T& t) { t.camera[0x0003].type = 5; }, "Invalid entry for Zenith(0x0003): SRATIONAL[2] required."},
    // Deliberate: of another type, and not two of it.
    {note, [](T& t) { t.camera[0x0003].type = 5, t.camera[0x0003].count = 3; }, ""},
    {note, [](T& t) { t.camera[0x0004].count = 2; }, "Invalid entry for Compass(0x0004): RATIONAL[1] required."},
    {note, [](T& t) { t.camera[0x0204].type = 4; }, "Invalid entry for StitchingFishImgCenter(0x0204): SHORT[2] required."},
    {note, [](T& t) { t.camera[0x0206].type = 10; }, "Invalid entry for StitchingSamplingRate(0x0206): RATIONAL[1] required."},
    {dng, [](T& t) { t.ifd0.drop({0x014A}); }, "SubIFDs(0x014A) not found."},
    // Another maker's sub-IFDs need not be two.
    {dng, [](T& t) { t.signature[5] = 1, t.ifd0.drop({0x014A}); }, "Not a KESTO image."},
    {dng, [](T& t) { t.ifd0[0x014A].count = 3; }, "Invalid 0th SubIFDs. require length = 2"},
    {dng, [](T& t) { t.ifd0[0x014A].longs = {8, 0}; }, "Only attachDNG() or No SubIFDs entry."},
    {dng, [](T& t) { t.sub1[0x0111].type = 3; }, "Invalid StripOffSets(0x0111)"},
    {dng, [](T& t) { t.sub1.drop({0x0111}); }, "SubIFDs[1] of StripOffSets(0x0111), StripByteCounts(0x0117) not found."},
    {dng, [](T& t) { t.camera[0x0201].type = 2; }, "Invalid StitchingAffineTable1(0x0201)"},
    {dng, [](T& t) { t.camera.drop({0x0202}); }, "ReceptorIFD of StitchingAffineTable1(0x0201), StitchingAffineTable2(0x0202) not found."},
    // Segments of any other kind and fill bytes are walked over, 32 markers at most; a segment
    // length of 0 makes the length field the next marker.
    {jpeg, [](T& t) { t.jpegHead.insert(2, "\xFF\xE1\0\x08\x45xif\0\1", 10); }, ""},
    {jpeg, [](T& t) { t.jpegHead.insert(2, "\xFF\xDB\0\x03\x11\xFF\xFF", 7); }, ""},
    {jpeg, [](T& t) { t.jpegHead.insert(2, std::string(64, '\xFF')); }, "Invalid position"},
    {jpeg, [](T& t) { t.jpegHead.insert(2, "\xFF\xE0\0\0", 4); }, "Unknown marker."},
};
// clang-format on

}  // namespace

TEST(ExifDamage, EveryDamagedFieldEndsInItsMessage) {
    kit::captureOutput([] {
        for (const auto& [form, damage, message] : rows) {
            T image;
            damage(image);
            EXPECT_EQ(outcome((image.*form)(), form), message);
        }
        EXPECT_EQ(outcome(T().signature, note), "Invalid position");
    });
}
