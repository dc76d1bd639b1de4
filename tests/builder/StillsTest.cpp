#include <gtest/gtest.h>

#include "builder/FrameNotes.h"
#include "builder/Strip.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/TiffBuilder.h"

using kit::zeros;
using namespace std::string_literals;

namespace {

std::string stripped(std::string file, const Privacy::What& what) {
    const bool isJpeg = file.starts_with("\xFF\xD8");
    (isJpeg ? Strip::ofJpeg : Strip::ofDng)(file, what).applyTo(file);
    return file;
}

}  // namespace

TEST(Strip, TakesPrivateTagsOutOfStills) {
    const std::string place = "twenty-four bytes of it.", packet = "<a exif:GPSLatitude='1'/>";
    for (const bool bigEndian : {true, false}) {
        kit::CameraTiff image(bigEndian);
        auto& tags = image.ifd0.entries;
        tags.insert(tags.begin(), {{0x02BC, 1, 25, 0, packet}, {0x8825, 4, 1}});
        tags.push_back({0xC62F, 2, 8, 0, "CAMERA 1"});
        image.exif.entries.push_back({0xA431, 2, 8, 0, "CAMERA 1"});
        image.exif.entries.push_back({0xA435, 2, 6, 0, "LENS 2"});
        image.sub0.entries = {{2, 5, 3, 0, place}};
        const std::size_t gpsAt = 8 + image.ifd0.size() + image.exif.size() +
                                  image.signature.size() + image.maker.size() + image.camera.size();
        image.ifd0[0x8825].value = static_cast<std::uint32_t>(gpsAt);
        kit::CameraTiff bare = image;
        bare.ifd0[0xC62F].text = bare.exif[0xA431].text = bare.maker[0x0005].text = zeros(8);
        bare.exif[0xA435].text = zeros(6);
        EXPECT_EQ(stripped(image.jpeg(), {.serial = true}), bare.jpeg());
        EXPECT_EQ(stripped(image.tiff(), {.serial = true}), bare.tiff());

        // The entry goes, those behind it move up; its IFD and the values become zeros.
        std::string lost = image.tiff();
        lost.erase(8 + 2 + 12, 12).insert(8 + image.ifd0.size() - 12, zeros(12));
        --lost[bigEndian ? 9 : 8];
        lost.replace(gpsAt, 14, zeros(14)).replace(lost.find(place), place.size(), zeros(24));
        lost.replace(lost.find(packet) + 3, 20, 20, ' ');
        EXPECT_EQ(stripped(image.tiff(), {.gps = true}), lost);
        EXPECT_EQ(stripped(image.jpeg(), {.gps = true}), image.jpegHead + lost);

        // Nothing behind the segment is Exif's, and a DNG keeps its header whatever leads there.
        image.ifd0[0xC62F] = {0xC62F, 2, 8};
        image.ifd0[0xC62F].value = static_cast<std::uint32_t>(image.tiff().size());
        image.jpegHead.replace(4, 2, kit::u16(image.tiff().size() + 8));
        EXPECT_TRUE(stripped(image.jpeg() + "a picture", {.serial = true}).ends_with("a picture"));
        image.ifd0[0xC62F].value = 0;
        EXPECT_NE(kit::failureOf([&] { stripped(image.tiff(), {.serial = true}); }), "");
    }
}

TEST(Strip, TakesXmpAloneOutOfAJpegWithoutExif) {
    const std::string head = "\xFF\xD8\xFF\xFF\xE1\0\x52http://ns.adobe.com/xmp/extension/"s;
    const std::string packet = "<a b:GPSDop='1' c:SerialNumber='2'><GPSx/><k/>";
    EXPECT_EQ(stripped(head + packet + "\xFF\xDA" + packet, {.gps = true}),
              head + "<a              c:SerialNumber='2'>       <k/>\xFF\xDA" + packet);
    // Behind so many segments no Exif is looked for, and what follows is no list of tags.
    std::string many = "\xFF\xD8";
    for (int i = 0; i < 150000; ++i)
        many += i < 40 ? "\xFF\xE2\0\4.."s : "\x88\x25\x88\x25\x88\x25";
    EXPECT_TRUE(stripped(many, {true, true, true}) == many);
}

TEST(FrameNotes, StateAPlaceAndATimeThatAreSome) {
    const auto noted = [](const FrameNotes& notes) {
        std::string jpeg = "\xFF\xD8\xFF\xE0\0\4jf\xFF\xDA"s;
        notes.putInto(jpeg);
        return jpeg;
    };
    using Place = FrameNotes::Place;
    for (const Place& nowhere : {Place{90.1, 0, {}}, {0, -180.1, {}}})
        EXPECT_EQ(noted({.place = nowhere}), noted({}));
    EXPECT_EQ(noted({.model = std::string(65500, 'x')}), "\xFF\xD8\xFF\xDA");
    const std::string told = noted({.time = -0.25, .place = Place{-35.5, -139.25, -8.5}});
    for (const auto& part : {"\0\1\0\2\0\0\0\2S"s, "\0\3\0\2\0\0\0\2W"s, "\0\5\0\1\0\0\0\1\1"s,
                             "1969:12:31 23:59:59"s, "750\0"s})
        EXPECT_NE(told.find(part), told.npos) << part;
}
