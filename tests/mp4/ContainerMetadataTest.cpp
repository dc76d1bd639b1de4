#include <gtest/gtest.h>

#include "builder/SphericalXml.h"
#include "mp4/GPSInfo.h"
#include "mp4/LocationBoxes.h"
#include "mp4/MetadataEdit.h"
#include "mp4/SampleTableBoxes.h"
#include "tests/kit/Movies.h"

using namespace kit;

namespace {

GPSInfo tokyo() {
    GPSInfo position;
    position.attachRXYZ("+35.5000-139.2500-40.5/");
    return position;
}

/// A movie box first, whose media data therefore moves with every change, and user data that ends
/// with a zero word.
std::string movieFirst(const std::string& userData) {
    const auto whole = [&](std::uint64_t offset) {
        return movieBox(stco(offset), box("udta", userData + zeros(4)));
    };
    return whole(whole(0).size() + 8) + box("mdat", "MEDIA");
}

/// The user data's boxes behind one another, and the bytes that the chunk offset names.
std::string contentsOf(const MP4::Container& movie) {
    std::string text;
    for (const auto& child : movie.first<MP4::NestedBox>("moov.udta")->children)
        text += child->name() + " ";
    const std::string bytes = readFile(movie.path);
    const auto* table = movie.first<MP4::STCO>("moov.trak.mdia.minf.stbl.stco");
    return text + bytes.substr(WEKU::loadBig<std::uint32_t>(&bytes[table->entriesOffset]), 5);
}

}  // namespace

TEST(ContainerMetadata, LocationsTakeThePlaceOfThoseThatAreThere) {
    OpenedMovie opened(movieFirst(box("abcd", "1") + box("loci", "short") + box("efgh", "2")));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(opened.movie.appendLocations(tokyo()));
        EXPECT_EQ(contentsOf(opened.movie), "abcd loci efgh \xA9xyz MEDIA");
    }
    const auto* loci = opened.movie.first<MP4::LOCI>("moov.udta.loci");
    EXPECT_EQ(loci->first, -139.25);
    EXPECT_EQ(loci->second, 35.5);
    EXPECT_EQ(loci->third, -40.5);
    const auto* text = opened.movie.first<MP4::XYZ>("moov.udta.\xA9xyz");
    EXPECT_EQ(text->text, "+35.5000-139.2500/");
    EXPECT_EQ(text->textLength, text->text.size());
    EXPECT_EQ(text->language, 0x15C7);
    EXPECT_FALSE(opened.movie.appendLocations(GPSInfo()));
    GPSInfo high = tokyo();
    high.altitude.value = 40.5;
    EXPECT_EQ(MP4::cameraPositionBox(high), box("@xyz", "+35.5000-139.2500+41/"));
}

TEST(ContainerMetadata, BadLocationInformationGoesAndTheRestStays) {
    const std::string whole = MP4::lociBox(tokyo()).substr(8);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(MP4::isCompleteLoci(whole.substr(0, length))) << length;
    std::string wide = whole.substr(0, 6) + std::string("\xFE\xFF\0a\x01\0\0\0", 8);
    EXPECT_TRUE(MP4::isCompleteLoci(whole));
    EXPECT_TRUE(MP4::isCompleteLoci(wide + whole.substr(7)));
    EXPECT_FALSE(MP4::isCompleteLoci(wide));
    // Two zeros that are no character's.
    wide = whole.substr(0, 6) + std::string("\xFF\xFE\x61\0\0\1", 6) + std::string(13, 'x');
    EXPECT_FALSE(MP4::isCompleteLoci(wide + std::string("e\0n", 4)));

    OpenedMovie opened(movieFirst(box("loci", "short") + box("loci", whole) + box("loci")));
    ASSERT_TRUE(opened.movie.removeBadLOCI());
    EXPECT_EQ(contentsOf(opened.movie), "loci MEDIA");
    const std::string before = readFile(opened.path);
    EXPECT_TRUE(opened.movie.removeBadLOCI());
    EXPECT_EQ(readFile(opened.path), before);
}

TEST(ContainerMetadata, UserDataAndSphericalXmlAreReplacedOrMade) {
    OpenedMovie opened(movieFirst(box("abcd", "1")));
    ASSERT_TRUE(opened.movie.replaceUdta(box("efgh", "more than there was")));
    EXPECT_EQ(contentsOf(opened.movie), "efgh MEDIA");
    for (const char* xml : {"<a/>", "<another/>"}) {
        ASSERT_TRUE(opened.movie.appendLocationAndSphericalVideoXML(tokyo(), xml));
        EXPECT_EQ(MP4::sphericalVideoBox(opened.movie)->payload, xml);
        EXPECT_EQ(contentsOf(opened.movie), "efgh \xA9xyz loci MEDIA");
    }
    OpenedMovie bare(box("mdat", "MEDIA") + movieBox(stco(8)));
    ASSERT_TRUE(bare.movie.replaceUdta(box("abcd", "1")));
    EXPECT_EQ(contentsOf(bare.movie), "abcd MEDIA");
}

TEST(SphericalXml, OnlyTheLinesOfTheViewChange) {
    ViewHeading view;
    view.heading = 30;
    view.fov = 90;
    const std::string other =
        "<rdf:SphericalVideo x='y'>\n\t<GSpherical:Stitched>true"
        "</GSpherical:Stitched>\n";
    const std::string heading =
        "  <GSpherical:InitialViewHeadingDegrees>30</GSpherical:InitialViewHeadingDegrees>\n";
    const std::string fov =
        "  <GSpherical:InitialHorizontalFOVDegrees>90</GSpherical:InitialHorizontalFOVDegrees>\n";
    const std::string old =
        "\t<GSpherical:InitialViewHeadingDegrees>7</GSpherical:InitialViewHeadingDegrees>\n";
    const std::string rest = "<GSpherical:Other>1</GSpherical:Other>\n";
    const std::string end = "</rdf:SphericalVideo>";
    EXPECT_EQ(withView(other + old + rest + end, view), other + heading + rest + fov + end);
    EXPECT_EQ(withView(other + end, view), other + heading + fov + end);
    EXPECT_EQ(withView("no element", view), view.toString());
    EXPECT_EQ(withView(other + rest + end, ViewHeading()), other + rest + end);
}
