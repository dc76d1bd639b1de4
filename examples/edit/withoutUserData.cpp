#include <iostream>

#include "sondex/sondex.h"

/// withoutUserData MOVIE TARGET: writes the movie without its user data to another file.
int main(int count, char** words) {
    if (count != 3) return 2;
    auto movie = sondex::Movie::open(words[1]);
    if (!movie) return 1;
    sondex::Status status = movie->remove("moov.udta");
    if (status) status = movie->saveTo(words[2]);
    if (!status) std::cerr << words[2] << ": " << status.error().message << '\n';
    return status ? 0 : 1;
}
