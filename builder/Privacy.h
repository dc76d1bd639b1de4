#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Takes what tells on the user out of metadata, by bytes in place of bytes: nothing moves.
namespace Privacy {

/// What is to go.
struct What {
    bool gps = false;
    bool serial = false;
    bool motion = false;
};

/// Where a TIFF structure stands in the bytes given.
enum class TiffIn { jpeg, dng, makerNoteBox };

/// Takes the GPS IFD and the entry that leads to it, or the camera's serial numbers, out of a TIFF
/// structure: their values become zeros. What cannot be found stays.
void stripTiff(std::string& bytes, TiffIn form, const What& what);

/// Blanks the elements and attributes of an XMP text whose names tell of positions or serial
/// numbers.
void stripXmp(std::string& text, const What& what);

/// Blanks ISO 6709 positions in decimal degrees, wherever they stand in the bytes.
void blankPositions(std::string& bytes);

/// Overwrites every occurrence of the text with zeros.
void blankText(std::string& bytes, const std::string& text);

}  // namespace Privacy
