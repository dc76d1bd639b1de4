// setPosition MOVIE TIMES: sets another position in the movie so many times, flushed each time.
#include <cstdlib>

#include "sondex/sondex.h"

int main(int argc, char** argv) {
    const int times = argc == 3 ? std::atoi(argv[2]) : 0;
    for (int i = 0; i < times; ++i) {
        auto movie = sondex::Movie::open(argv[1]);
        if (!movie) return 1;
        const double latitude = i % 2 == 0 ? 54.7958 : -4.5;
        if (!movie->setPosition({latitude, 8.3361 + i, {}}) || !movie->save()) return 1;
    }
    return times > 0 ? 0 : 1;
}
