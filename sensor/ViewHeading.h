#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

/// The initial view of a spherical movie as its Spherical Video V1 metadata states it. Angles are
/// degrees; NaN, 0 (timestamp) and the empty text (software) stand for absent.
class ViewHeading {
  public:
    static constexpr float absent = std::numeric_limits<float>::quiet_NaN();

    std::string software;
    float heading = absent;
    float pitch = absent;
    float fov = absent;
    float dolly = absent;
    std::uint64_t timestamp = 0;

    /// Replaces every field by what the XML text holds.
    void attach(std::string_view xml);
    /// Merges: the present fields of `other` overwrite this record's.
    void attach(const ViewHeading& other);

    /// The spherical-video XML element; absent values write no line.
    std::string toString() const;
};

/// Finds the format's text up to its "%" and scans the one value behind it; NaN when the text is
/// not there or no value follows. T is int for "%d", float for "%f".
template <class T>
float readValue(std::string_view text, const char* format);

/// Appends the formatted value (at most 127 characters); NaN writes nothing.
template <class T>
void writeValue(std::string& out, const char* format, float value);
