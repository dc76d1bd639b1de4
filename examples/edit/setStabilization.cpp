#include <cstdlib>

#include <sondex-parts/exif/ExifParser.h>
#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// setStabilization MOVIE MODE: changes the stabilisation setting in the movie's maker note.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 3) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    const MP4::BOX* makerNote = movie.first(MP4::path::makerNote);
    if (makerNote == nullptr) return 1;

    std::string note = movie.payload(*makerNote);
    try {
        ExifParser::updateVideoStabilization(
            reinterpret_cast<unsigned char*>(note.data()), note.size(),
            static_cast<ExifParser::VIDEO_STABILIZATION>(std::atoi(words[2])));
    } catch (WEKU::Failure) {
        return 1;
    }
    const bool done = movie.modifyContainer(L"setStabilization", [&](MP4::BinFile& file) {
        file.moveTo(makerNote->start + 8);
        return file.put(note);
    });
    return done ? 0 : 1;
}
