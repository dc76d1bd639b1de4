#include "mp4/GPSInfo.h"

#include <gtest/gtest.h>

#include <tuple>

TEST(GPSInfo, ReadsDecimalDegreesWithOrWithoutAnAltitude) {
    const std::tuple<std::string, bool, double> rows[] = {
        {"+40.0/", true, 40},  {"/", false, -1},      {"CRSWGS_84/", true, 0},
        {"-2.5/", true, -2.5}, {"+40.0C", false, 40}, {"", false, 0}};
    for (const auto& [rest, valid, altitude] : rows) {
        GPSInfo info;
        info.altitude.value = -1;
        info.attachRXYZ(("+35.6895+139.6917" + rest).c_str());
        EXPECT_EQ(info.altitude.valid, valid) << rest;
        EXPECT_EQ(info.altitude.value, altitude) << rest;
        EXPECT_EQ(info.to_CXYZ_string(), "+35.6895+139.6917/");
    }
    // One coordinate leaves the cursor where its scan ended.
    const std::tuple<const char*, double, int> coordinates[] = {
        {"-12.5x", -12 - 5 * double{0.1F}, 5},
        {"+123+", 123, 4},
        {"*12.5", 0, 5},
        {"+3541.370+", 0, 9},
        {"+1.5", 0, 4},
        {"", 0, 0}};
    for (const auto& [text, value, scanned] : coordinates) {
        const char* cursor = text;
        const GPSInfo::BaseX found = from_iso6709(cursor);
        EXPECT_EQ(found.valid, value != 0) << text;
        EXPECT_EQ(found.value, value) << text;
        EXPECT_EQ(cursor - text, scanned) << text;
    }
}

TEST(GPSInfo, WritesAnXmpPacket) {
    GPSInfo info;
    info.latitude = {true, -33.5};
    EXPECT_EQ(info.to_CXYZ_string(), "");
    info.altitude = {true, -12.345};
    info.attachCompass("<a/><exif:GPSImgDirection>2470/20</exif:GPSImgDirection>");
    const std::string packet = info.to_XMP_string("Tool", true, "4");
    EXPECT_TRUE(
        packet.starts_with("<?xpacket begin='\xEF\xBB\xBF' id='W5M0MpCehiHzreSzNTczkc9d'?>\n"));
    // clang-format off
    EXPECT_TRUE(packet.ends_with(
        "      <x:CreatorTool>Tool</x:CreatorTool>\n      <exif:GPSLatitude>33,30.000000S</exif:GPSLatitude>\n      <exif:GPSLongitude>0,0.000000E</exif:GPSLongitude>\n      <exif:GPSAltitude>1234/100</exif:GPSAltitude>\n      <exif:GPSAltitudeRef>1</exif:GPSAltitudeRef>\n"
        "      <exif:GPSImgDirection>1235/10</exif:GPSImgDirection>\n      <exif:GPSImgDirectionRef>T</exif:GPSImgDirectionRef>\n    </rdf:Description>\n  </rdf:RDF>\n  <VideoReEncorded>true</VideoReEncorded>\n  <VideoStabilization>4</VideoStabilization>\n</x:xmpmeta>\n<?xpacket end='w'?>\n")) << packet;
    // clang-format on
    // Numbers and texts that do not fit are cut.
    info.latitude = info.longitude = info.altitude = info.compass = {true, 1e300};
    EXPECT_EQ(info.to_CXYZ_string().size(), 32U);
    EXPECT_LT(info.to_XMP_string(std::string(600, 'x').c_str(), false, "").size(), 1500U);
}
