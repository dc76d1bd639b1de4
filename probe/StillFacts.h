#pragma once

#include <cstdint>

#include "exif/CameraRecord.h"
#include "support/FileIO.h"

/// What a still says of its camera, and where a DNG keeps its parts.
struct StillFacts {
    /// A place in the file: offset and length in bytes.
    struct Extent {
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
    };

    /// Read an open still through a fresh parser, which then holds its bytes. False when not one
    /// byte could be read; what the parser throws goes through, and what was filled stays.
    [[nodiscard]] bool readJPEG(WEKU::FileIO& file, ExifParser& parser);
    [[nodiscard]] bool readDNG(WEKU::FileIO& file, ExifParser& parser);

    ExifParser::ZELVA stillRecord;
    /// Of a DNG.
    Extent strip;
    Extent table1;
    Extent table2;
};
