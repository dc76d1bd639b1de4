#include "sensor/ViewHeading.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(ViewHeading, ScansTheValueBehindTheKey) {
    const std::pair<const char*, float> cases[] = {
        {"x  <H>90.9", 90}, {"  <H> \n -7", -7},        {"  <H>+12abc", 12},
        {"  <H>abc", NAN},  {"\t<H>90", NAN},           {"  <H>x  <H>5", NAN},
        {"  <H>", NAN},     {" <H>1</H>  <H>2</H>", 2}, {"  <H>4294967297", 1},
    };
    for (const auto& [text, expected] : cases) {
        const float value = readValue<int>(text, "  <H>%d</H>\n");
        EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected))) << text;
    }
    EXPECT_EQ(readValue<float>("  <D>-1.5e1</D>", "  <D>%f</D>\n"), -15.0F);
}

TEST(ViewHeading, WritesWhatItReads) {
    ViewHeading view;
    view.software = "stitch";
    view.heading = 90.9F;
    view.pitch = -1e30F;
    view.dolly = 0.25F;
    view.timestamp = UINT64_MAX;
    const std::string xml = view.toString();
    EXPECT_TRUE(xml.ends_with(
        "  <GSpherical:ProjectionType>equirectangular</GSpherical:ProjectionType>\n"
        "  <GSpherical:StitchingSoftware>stitch</GSpherical:StitchingSoftware>\n"
        "  <GSpherical:SourceCount>1</GSpherical:SourceCount>\n"
        "  <GSpherical:Timestamp>18446744073709551615</GSpherical:Timestamp>\n"
        "  <GSpherical:InitialViewHeadingDegrees>90</GSpherical:InitialViewHeadingDegrees>\n"
        "  <GSpherical:InitialViewPitchDegrees>-2147483648</GSpherical:InitialViewPitchDegrees>\n"
        "  <GSpherical:InitialCameraDolly>0.250000</GSpherical:InitialCameraDolly>\n"
        "</rdf:SphericalVideo>"))
        << xml;
    ViewHeading back;
    back.fov = 5;
    back.attach(std::string_view(xml));
    EXPECT_EQ(back.toString(), xml);
    ViewHeading other;
    other.fov = 5;
    back.attach(other);
    EXPECT_EQ(back.fov, 5);
    back.fov = NAN;
    EXPECT_EQ(back.toString(), xml);
    back.attach("GSpherical:StitchingSoftware>GSpherical:StitchingSoftware</x>");
    EXPECT_EQ(back.software, "");
}
