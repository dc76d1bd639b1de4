#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/mp4/GPSInfo.h>
#include <sondex-parts/support/WideText.h>

/// addXmp MOVIE POSITION: appends an XMP packet with the position, which is ISO 6709 text such as
/// +35.6895+139.6917/.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 3) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    GPSInfo position;
    position.attachRXYZ(words[2]);
    if (!position.latitude.valid || !position.longitude.valid) return 1;
    position.attachCompass(270.0);
    return movie.appendXMP(position.to_XMP_string("addXmp", false, "")) ? 0 : 1;
}
