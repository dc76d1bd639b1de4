#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/Endian.h>
#include <sondex-parts/support/WideText.h>

/// addLocation MOVIE POSITION: puts a location box with the ISO 6709 text into the user data.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 3) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    const auto* userData = movie.first<MP4::NestedBox>("moov.udta");
    if (userData == nullptr || userData->children.empty()) return 1;

    const std::string text = words[2];
    std::string bytes(12, '\0');
    WEKU::storeBig<std::uint32_t>(&bytes[0], static_cast<std::uint32_t>(12 + text.size()));
    bytes.replace(4, 4, "\xA9xyz");
    WEKU::storeBig<std::uint16_t>(&bytes[8], static_cast<std::uint16_t>(text.size()));
    WEKU::storeBig<std::uint16_t>(&bytes[10], 0x15C7);  // English
    bytes += text;

    const MP4::BOX& anchor = *userData->children.back();
    const auto added = static_cast<std::int64_t>(bytes.size());
    const bool done = movie.insertBox(
        L"addLocation", anchor, false, [&](MP4::BinFile& file) { return file.put(bytes); },
        MP4::Container::growEnclosing(anchor, added), MP4::Container::shiftBehind(anchor, added));
    return done ? 0 : 1;
}
