#include <gtest/gtest.h>

#include "exif/ExifParser.h"
#include "tests/kit/TiffBuilder.h"

using kit::byteArray;
using kit::CameraTiff;
using kit::failureOf;

TEST(ExifReader, TheFirstLookForIfd0StaysBehindTheHeader) {
    CameraTiff image;
    image.ifd0Offset = 60;
    ExifParser parser;
    parser.attachBytes(byteArray(image.jpeg()));
    for (const std::uint64_t place : {20U, 72U}) {
        parser.seekToIFD0();
        EXPECT_EQ(parser.position, place);
    }
    // The walk gives up in silence after 32 markers.
    image.jpegHead.insert(2, std::string(64, '\xFF'));
    parser.attachBytes(byteArray(image.jpeg()));
    EXPECT_NO_THROW(parser.seekToIFD0());
    EXPECT_EQ(parser.position, 66U);
    EXPECT_EQ(parser.ifd0Offset, 0U);
}

TEST(ExifReader, RefusesWhatTheBytesDoNotHave) {
    ExifParser parser;
    parser.attachKMKN(byteArray(CameraTiff().makerNote()));
    for (const auto seek :
         {&ExifParser::seekToIFD0, &ExifParser::seekToEXIF, &ExifParser::seekToMakerNote})
        EXPECT_EQ(failureOf([&] { (parser.*seek)(); }), "Only KESTO Meta");
    for (const int index : {-1, 2})
        EXPECT_NE(failureOf([&] { parser.seekToSubIFD(index); }), "");
    unsigned char byte = 0;
    EXPECT_EQ(failureOf([&] { parser.read(&byte, 1, UINT64_MAX); }), "Invalid position");
    EXPECT_NE(failureOf([&] { parser.attachKMKN(byteArray("MM\1\1")); }), "");
    EXPECT_EQ(parser.length + parser.buffer.length(), 0U);
}

TEST(ExifReader, ADngYieldsItsPlaces) {
    CameraTiff image;
    image.dngHead.assign(reinterpret_cast<const char*>(ExifParser::DNG_dummyHeader), 12);
    ExifParser parser;
    parser.attachDNG(byteArray(image.dng()));
    EXPECT_EQ(parser.stripOffset, 0x2000U);
    EXPECT_EQ(parser.stripByteCount, 0x3000U);
    EXPECT_EQ(parser.affineTable1Length, 9U);
    std::string table;
    parser.toString(7, parser.affineTable2Length, parser.affineTable2Offset, table);
    EXPECT_EQ(table, "tableTwo");
    parser.attachBytes(nullptr, 5);
    EXPECT_EQ(parser.length + parser.subIFDs[0] + parser.stripOffset + parser.tiffOffset, 0U);
}
