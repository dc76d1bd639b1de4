#include <algorithm>

#include "support/Endian.h"
#include "tools/sample/SampleCamera.h"

namespace sample {
namespace {

kit::TiffEntry text(std::uint16_t tag, const std::string& value) {
    const std::string ended = value + '\0';
    return {tag, 2, static_cast<std::uint32_t>(ended.size()), 0, ended, {}};
}

struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// The picture's size, from its baseline frame header.
Size sizeOf(const std::string& jpeg) {
    const std::size_t frame = jpeg.find("\xFF\xC0");
    if (frame == std::string::npos || jpeg.size() < frame + 9) return {};
    return {WEKU::loadBig<std::uint16_t>(jpeg.data() + frame + 7),
            WEKU::loadBig<std::uint16_t>(jpeg.data() + frame + 5)};
}

/// The tags that the Exif standard asks of every JPEG.
void addRequired(kit::CameraTiff& tiff, Size size) {
    const auto add = [](kit::Ifd& ifd, std::initializer_list<kit::TiffEntry> more) {
        ifd.entries.insert(ifd.entries.end(), more);
        std::ranges::sort(ifd.entries, {}, &kit::TiffEntry::tag);
    };
    add(tiff.ifd0, {{0x011A, 5, 1, 0, {}, {72, 1}},
                    {0x011B, 5, 1, 0, {}, {72, 1}},
                    {0x0128, 3, 1, 2 << 16, {}, {}},
                    {0x0213, 3, 1, 1 << 16, {}, {}}});
    add(tiff.exif, {{0x9000, 7, 4, WEKU::loadBig<std::uint32_t>("0232"), {}, {}},
                    {0x9101, 7, 4, 0x01020300, {}, {}},
                    {0xA000, 7, 4, WEKU::loadBig<std::uint32_t>("0100"), {}, {}},
                    {0xA001, 3, 1, 1 << 16, {}, {}},
                    {0xA002, 4, 1, size.width, {}, {}},
                    {0xA003, 4, 1, size.height, {}, {}}});
}

}  // namespace

kit::CameraTiff cameraTiff() {
    kit::CameraTiff tiff;
    tiff.ifd0[0x0110] = text(0x0110, model);
    tiff.ifd0[0x0131] = text(0x0131, std::string(model) + " Ver 2.10.3");
    tiff.maker[0x0002] = text(0x0002, "1.42.0007");
    tiff.maker[0x0005] = text(0x0005, "00104711");
    tiff.camera[0x0001].value = 1U << 16;  // equirectangular
    tiff.camera[0x0007].value = 1U << 16;
    tiff.camera[0x1014].value = 4U << 16;  // yaw stabilised, direction not locked
    const std::size_t note = tiff.signature.size() + tiff.maker.size() + tiff.camera.size();
    tiff.exif[0x927C].count = static_cast<std::uint32_t>(note);
    return tiff;
}

std::string jpegStill(const std::string& picture) {
    kit::CameraTiff tiff = cameraTiff();
    addRequired(tiff, sizeOf(picture));
    tiff.ifd0.drop({0x014A});
    tiff.camera.drop({0x0201, 0x0202});
    const std::string exif = tiff.tiff();
    const std::size_t length = 2 + 6 + exif.size();
    std::string segment = {'\xFF', '\xE1', static_cast<char>(length >> 8),
                           static_cast<char>(length & 0xFF)};
    segment.append("Exif\0\0", 6).append(exif);
    return picture.substr(0, 2) + segment + picture.substr(2);
}

std::string dngStill(const std::string& picture) {
    kit::CameraTiff tiff = cameraTiff();
    const std::string affine = std::string("affine table of the ") + "first lens";
    tiff.camera[0x0201] = {0x0201, 7, static_cast<std::uint32_t>(affine.size()), 0, affine, {}};
    tiff.camera[0x0202] = {0x0202, 7, static_cast<std::uint32_t>(affine.size()), 0, affine, {}};
    tiff.sub1[0x0111].value = static_cast<std::uint32_t>(tiff.tiff().size());
    tiff.sub1[0x0117].value = static_cast<std::uint32_t>(picture.size());
    return tiff.tiff() + picture;
}

}  // namespace sample
