#include "fuzz/kit/Fuzzing.h"
#include "sensor/AccelSensorStreamEmbed.h"

/// A raw accelerometer file; the first byte says whether its samples are filtered.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool filtered = input.take8() % 16 == 1;
    WEKU::FileIO::open(fuzz::memoryFile(input.rest()), [&](WEKU::FileIO& file) {
        AccelSensorStreamEmbed analyser;
        analyser.load(0, file, filtered);
        for (const int index : {-1, 0, 1, 1000})
            analyser.axis(index);
    });
    return 0;
}
