#include "exif/CameraRecord.h"

#include <cmath>
#include <utility>

#include "exif/TiffCodes.h"

namespace {

using ZELVA = ExifParser::ZELVA;
using Seek = void (ExifParser::*)();

/// Looks tags up one by one, each from the start of its IFD, so that the order of entries does
/// not matter.
class RecordReader {
  public:
    explicit RecordReader(ExifParser& parser) : parser(parser) {}

    /// Hands (type, count, value field) of the entry to `fn`, if there is one.
    template <typename Fn>
    void lookUp(Seek ifd, std::uint16_t tag, Fn fn) {
        (parser.*ifd)();
        parser.find(tag, [&](std::uint16_t, std::uint16_t type, std::uint32_t count,
                             std::uint32_t value) { fn(type, count, value); });
    }

    void readText(Seek ifd, std::uint16_t tag, std::string& out) {
        lookUp(ifd, tag, [&](std::uint16_t type, std::uint32_t count, std::uint32_t value) {
            parser.toString(type, count, value, out);
        });
    }

    void readShort(Seek ifd, std::uint16_t tag, std::int32_t& out) {
        lookUp(ifd, tag, [&](std::uint16_t, std::uint32_t, std::uint32_t value) {
            out = parser.toUINT16(value);
        });
    }

    void readPoint(std::uint16_t tag, ZELVA::Point& out, WEKU::Failure invalid) {
        lookUp(&ExifParser::seekToZELVA, tag,
               [&](std::uint16_t type, std::uint32_t count, std::uint32_t value) {
                   if (type != Tiff::Type::shortInt || count != 2) throw invalid;
                   out = {parser.toUINT16(value), static_cast<std::uint16_t>(value)};
               });
    }

    /// Returns whether the entry is there.
    bool readRational(std::uint16_t tag, float& out, WEKU::Failure invalid) {
        bool found = false;
        lookUp(&ExifParser::seekToZELVA, tag,
               [&](std::uint16_t type, std::uint32_t count, std::uint32_t value) {
                   if (type != Tiff::Type::rational || count != 1) throw invalid;
                   const OutOfLine values(parser, value);
                   out = quotient<std::uint32_t>();
                   found = true;
               });
        return found;
    }

    void readZenith(ZELVA& out) {
        lookUp(
            &ExifParser::seekToZELVA, Tiff::Tag::zenith,
            [&](std::uint16_t type, std::uint32_t count, std::uint32_t value) {
                // Deliberate: lenient. Only this combination is refused; every other entry is
                // read as two rationals, whatever it calls itself.
                if (type != Tiff::Type::signedRational && count == 2) {
                    throw WEKU::Failure{"Invalid entry for Zenith(0x0003): SRATIONAL[2] required."};
                }
                const OutOfLine values(parser, value);
                out.roll = quotient<std::int32_t>();
                out.pitch = quotient<std::int32_t>();
            });
    }

  private:
    /// Stands at values outside the entry, and goes back to the entry at the end.
    class OutOfLine {
      public:
        OutOfLine(ExifParser& parser, std::uint32_t value) : parser(parser) {
            parser.pushPosition(parser.tiffOffset + value);
        }
        ~OutOfLine() { parser.popPosition(); }
        OutOfLine(const OutOfLine&) = delete;
        OutOfLine& operator=(const OutOfLine&) = delete;

      private:
        ExifParser& parser;
    };

    /// Reads two numbers at the cursor. Deliberate: the second is unsigned even where the first
    /// is signed, and may be 0, which gives an infinity or NaN.
    template <typename Numerator>
    float quotient() {
        const auto numerator = static_cast<float>(static_cast<Numerator>(parser.read32()));
        const auto denominator = static_cast<float>(parser.read32());
        return numerator / denominator;
    }

    ExifParser& parser;
};

}  // namespace

void ExifParser::readZEVLA(ZELVA& out) {
    namespace Tag = Tiff::Tag;
    out.clear();
    RecordReader reader(*this);
    if (!makerNoteOnly) {
        reader.readText(&ExifParser::seekToIFD0, Tag::model, out.model);
        reader.readText(&ExifParser::seekToIFD0, Tag::software, out.software);
    }

    constexpr Seek maker = &ExifParser::seekToKESTOMakerNote;
    reader.readText(maker, Tag::firmwareVersion, out.version);
    reader.readText(maker, Tag::serialNumber, out.serial);
    reader.readShort(maker, Tag::videoQuality, out.videoQuality);

    constexpr Seek camera = &ExifParser::seekToZELVA;
    reader.readShort(camera, Tag::projectionType, out.type);
    reader.readShort(camera, Tag::hdr, out.hdr);
    reader.readZenith(out);
    if (reader.readRational(Tag::compass, out.yaw,
                            "Invalid entry for Compass(0x0004): RATIONAL[1] required.")) {
        out.attachCompass();
    }
    reader.readShort(camera, Tag::autoAcceleration, out.autoAcc);
    reader.readShort(camera, Tag::zenithCorrection, out.adjZenith);
    reader.lookUp(camera, Tag::videoStabilization,
                  [&](std::uint16_t, std::uint32_t, std::uint32_t value) {
                      out.attachStabilization(toUINT16(value));
                  });
    reader.readShort(camera, Tag::stitchingConvertVersion, out.stitching.convertVersion);
    reader.readPoint(Tag::stitchingFishImgCenter, out.stitching.fishImgCenter,
                     "Invalid entry for StitchingFishImgCenter(0x0204): SHORT[2] required.");
    reader.readPoint(Tag::stitchingFishMovCenter, out.stitching.fishMovCenter,
                     "Invalid entry for StitchingFishMovCenter(0x0205): SHORT[2] required.");
    reader.readRational(Tag::stitchingSamplingRate, out.stitching.samplingRate,
                        "Invalid entry for StitchingSamplingRate(0x0206): RATIONAL[1] required.");
}

bool ExifParser::ZELVA::STITCHING::isValid() const {
    return convertVersion >= 0 && fishImgCenter.x > 0 && fishImgCenter.y > 0 &&
           fishMovCenter.x > 0 && fishMovCenter.y > 0 && samplingRate > 0;
}

void ExifParser::ZELVA::clear() {
    ZELVA fresh;
    // Deliberate: the two texts from IFD0 stay; a bare maker note has none to put in their place.
    fresh.model.swap(model);
    fresh.software.swap(software);
    *this = std::move(fresh);
}

void ExifParser::ZELVA::attachStabilization(std::uint16_t setting) {
    stabilize = setting;
    int kind = setting & 7;
    if (kind == 2) stabilize = kind = 0;  // Deliberate: this one means off and is kept as such.
    if (kind == 1 || kind == 3 || kind == 4 || kind == 5) stabilizeFlag1 = true;
    if (kind == 3 || kind == 5) stabilizeFlag2 = true;
    stabilizeFlag3 = kind != 0;
}

void ExifParser::ZELVA::attachCompass() {
    if (std::isnan(pitch) || (-45.0F <= pitch && pitch <= 45.0F)) {
        compass = yaw;
        return;
    }
    constexpr float pi = 3.1415927F;
    const float p = pitch * pi / 180.0F;
    const float r = roll * pi / 180.0F;
    const float s = std::sin(r);
    const float q = std::sin(p) * std::cos(r);
    const float t = pitch > 45.0F ? std::atan2(s, -q) : std::atan2(-s, q);
    compass = std::fmod(180.0F - (t * 180.0F / pi - yaw), 360.0F);
}
