#include "support/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <locale>
#include <random>

#include "exif/CameraRecord.h"
#include "mp4/GPSInfo.h"
#include "sensor/VideoStabilizationMode.h"
#include "sensor/ViewHeading.h"
#include "support/TextFormat.h"
#include "tests/kit/Files.h"
#include "tests/kit/Program.h"

using WEKU::formatText;

namespace {

std::string shortText(double value) {
    std::string text;
    WEKU::appendNumber(text, value);
    return text;
}

template <class... Values>
std::string byC(const char* format, Values... values) {
    char text[512];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// Everything in the library that writes or reads a number with a fraction.
std::string allNumbers() {
    GPSInfo position;
    position.attachRXYZ("+35.6895-139.6917+1234567.25/");
    position.attachCompass("<exif:GPSImgDirection>1.25e2/0.5</exif:GPSImgDirection>");
    ViewHeading view;
    view.attach("  <GSpherical:InitialCameraDolly>0.75</GSpherical:InitialCameraDolly>\n");
    ExifParser::ZELVA record;
    record.yaw = 12345.5F;
    VideoStabilizationMode mode;
    mode.image = 1;
    mode.imageGain = 0.25F;
    std::wstring words;
    mode.to_s(words);
    const std::string printed = kit::captureOutput([&] { record.dump(); });
    return position.to_CXYZ_string() + position.to_XMP_part() + view.toString() + printed +
           shortText(1234567.5) + shortText(0.5) + formatText(L"%0.2f %ls", 4000.25, words.c_str());
}

}  // namespace

TEST(NumberText, WritesAsPrintf) {
    std::vector<double> values = {0.0, -0.0, NAN, -double{INFINITY}, 123456.5, 999999.5, 1e300};
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> exponent(-8, 8);
    for (int i = 0; i < 200000; ++i) {
        values.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
        values.push_back(static_cast<float>(std::pow(10, exponent(random))));
    }
    for (const double value : values)
        ASSERT_EQ(shortText(value), byC("%.6g", value));
    for (const char* format : {"%f", "%0.2f", "%+07.4f|", "% -12.3e|", "%014.3G", "%.0f"}) {
        for (std::size_t i = 0; i < 2000; ++i)
            ASSERT_EQ(formatText(format, values[i]), byC(format, values[i])) << format;
    }
    for (const int value : {0, 7, -7, INT32_MIN}) {
        for (const char* format :
             {"%d", "%+5d|", "%-5i|", "%05d", "%.3d", "%05.3d", "%u", "%08X", "%x", "%o"})
            EXPECT_EQ(formatText(format, value), byC(format, value)) << format;
    }
    // A conversion that does not fit its value, has none or is none reads nothing else.
    EXPECT_EQ(
        formatText("%s %d %ls|%5c|%-4s|%.2s|%% %d %y%", 7, "x", L"\u00E9\xDCFF", 'c', "ab", "abc"),
        "7 x \xC3\xA9\xFF|    c|ab  |ab|% %d %y%");
    EXPECT_EQ(formatText(L"%u %lld %d", UINT64_MAX, std::int8_t{-1}, true),
              "18446744073709551615 -1 1");
}

TEST(NumberText, ReadsAsStrtodAndItsKin) {
    // clang-format off
    std::vector<std::string> texts = {
        "1e400", "-1e400", "1e-400", "0x1.8p1", "0x", "nan", " \n-inf,", "--1", "+-1", ".", "1e", "0x1p-9999",
        "18446744073709551616", "-9223372036854775809", "0.0001e309", std::string(600, '0') + "7.5",
        "0." + std::string(600, '0') + "5e601"};
    // clang-format on
    std::mt19937 random(4);
    for (int i = 0; i < 20000; ++i) {
        std::string& text = texts.emplace_back(random() % 12, ' ');
        for (char& c : text)
            c = "0123456789+-.eExp 00"[random() % 20];
    }
    for (const std::string& text : texts) {
        const char* const begin = text.c_str();
        char* end = nullptr;
        double real = 7;
        std::size_t taken = WEKU::readNumber(text, real);
        const double expected = std::strtod(begin, &end);
        EXPECT_EQ(taken, static_cast<std::size_t>(end - begin)) << text;
        EXPECT_TRUE(real == expected || (std::isnan(real) && std::isnan(expected))) << text;
        std::int64_t whole = 7;
        WEKU::readNumber(text, whole);
        EXPECT_EQ(whole, std::strtol(begin, nullptr, 10)) << text;
        std::uint64_t natural = 7;
        taken = WEKU::readNumber(text, natural);
        EXPECT_EQ(natural, std::strtoul(begin, &end, 10)) << text;
        EXPECT_EQ(taken, static_cast<std::size_t>(end - begin)) << text;
    }
}

/// Asked by the sanitizers: the C library's newlocale forgets its copy of LOCPATH.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep";
}

TEST(NumberText, NoLocaleChangesANumber) {
    const kit::TempFolder folder;
    const std::string made = (folder.path() / "de_DE.UTF-8").string();
    kit::run({"localedef", "-i", "de_DE", "-f", "UTF-8", made});
    if (!std::filesystem::exists(made)) GTEST_SKIP() << "localedef has no German (Debian: locales)";
    const std::string before = allNumbers();
    ::setenv("LOCPATH", folder.path().c_str(), 1);
    const std::locale classic = std::locale::global(std::locale("de_DE.UTF-8"));
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    ASSERT_EQ(byC("%.1f", 0.5), "0,5");
    const std::string after = allNumbers();
    std::locale::global(classic);
    std::setlocale(LC_ALL, "C");
    ::unsetenv("LOCPATH");
    EXPECT_EQ(after, before);
    EXPECT_NE(before.find("-139.6917/"), std::string::npos) << before;
    EXPECT_NE(before.find(">123456725/100<"), std::string::npos) << before;
    EXPECT_NE(before.find(">2500/10<"), std::string::npos) << before;
    EXPECT_NE(before.find(">0.750000<"), std::string::npos) << before;
}
