#include <ctime>
#include <iostream>

#include "sondex/sondex.h"

/// describe MOVIE: says that it was made now, at a lighthouse.
int main(int count, char** words) {
    if (count != 2) return 2;
    auto movie = sondex::Movie::open(words[1]);
    if (!movie) {
        std::cerr << words[1] << ": " << movie.error().message << '\n';
        return 1;
    }
    sondex::Status status = movie->setCreationTime(std::time(nullptr));
    if (status) status = movie->setPosition({54.7958, 8.3361, 12.5});
    if (status) status = movie->save();
    if (!status) std::cerr << words[1] << ": " << status.error().message << '\n';
    return status ? 0 : 1;
}
