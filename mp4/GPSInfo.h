#pragma once

#include <cstdint>
#include <string>

/// A camera position and the direction of its image, each part with its own validity, and their
/// text forms in a movie: ISO 6709 (location boxes) and the GPS properties of an XMP packet.
class GPSInfo {
  public:
    /// A number that may be missing.
    struct BaseX {
        bool valid = false;
        double value = 0.0;

        /// "degrees,minutes" of the absolute value, for which callers add a reference letter.
        std::string toAbsBase60() const;
        /// 16.16 fixed point, rounded half away from zero; boxes store the low 32 bits.
        std::int64_t toUINT32Fixnum() const;
    };

    /// Clears the record.
    void init() { *this = GPSInfo(); }

    /// Reads latitude, longitude and, where there is one, altitude from ISO 6709 text in decimal
    /// degrees; other forms leave them not valid.
    void attachRXYZ(const char* text);
    void attachCompass(double degrees);
    /// Takes the direction from the exif:GPSImgDirection element of an XMP text.
    void attachCompass(const std::string& xmp);

    /// ISO 6709 text of latitude and longitude; empty unless both are valid.
    std::string to_CXYZ_string() const;
    /// The lines of an XMP description, for what is valid (a longitude goes with its latitude).
    std::string to_XMP_part() const;
    /// A whole XMP packet. The caller escapes the texts; the head with its tool and the line with
    /// the stabilisation are cut at 511 bytes each.
    std::string to_XMP_string(const char* creatorTool, bool reencoded,
                              const std::string& stabilization) const;

    /// Decimal degrees, north and east positive; metres; degrees from true north.
    BaseX latitude;
    BaseX longitude;
    BaseX altitude;
    BaseX compass;
    /// The text given to `attachRXYZ` last.
    std::string source;
};

/// Reads one ISO 6709 coordinate (a sign, two or three digits of degrees, a decimal fraction) from
/// NUL-terminated text and moves the cursor behind what it looked at; at the text's end it stays.
GPSInfo::BaseX from_iso6709(const char*& cursor);
