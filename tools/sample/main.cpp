#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "support/WideText.h"
#include "tools/sample/SampleCamera.h"

namespace {

bool writeStill(const std::string& source, const std::string& target,
                std::string (*still)(const std::string&)) {
    std::ifstream in(source, std::ios::binary);
    const std::string picture{std::istreambuf_iterator<char>(in), {}};
    if (!picture.starts_with("\xFF\xD8")) return false;
    const std::string bytes = still(picture);
    std::ofstream out(target, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return out.flush().good();
}

}  // namespace

/// sondex-sample movie|dense|jpeg|dng SOURCE TARGET: makes a file of the camera's shape from a clip
/// or a JPEG picture; dense reads every sensor of the movie 200 times a second.
int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: sondex-sample movie|dense|jpeg|dng SOURCE TARGET\n";
        return 2;
    }
    const std::string kind = argv[1];
    bool made = false;
    if (kind == "movie" || kind == "dense") {
        const sample::SensorRates rates =
            kind == "dense" ? sample::SensorRates{200, 200, 200} : sample::SensorRates{};
        made = sample::makeMovie(WEKU::wchar::widen(argv[2]), WEKU::wchar::widen(argv[3]), rates);
    } else if (kind == "jpeg") {
        made = writeStill(argv[2], argv[3], sample::jpegStill);
    } else if (kind == "dng") {
        made = writeStill(argv[2], argv[3], sample::dngStill);
    }
    if (!made) std::cerr << "sondex-sample: " << argv[3] << " could not be made\n";
    return made ? 0 : 1;
}
