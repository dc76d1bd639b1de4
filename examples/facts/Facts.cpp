// What a movie is, in twenty lines.
#include <sondex/sondex.h>

#include <cstdio>

int main(int count, char** words) {
    if (count != 2) return 2;
    const auto facts = sondex::readMovie(words[1]);
    const auto motion = sondex::readMotion(words[1]);
    if (!facts || !motion) {
        std::fprintf(stderr, "%s: %s\n", words[1],
                     (facts ? motion.error() : facts.error()).message.c_str());
        return 1;
    }
    if (facts->duration) std::printf("duration: %.2f s\n", double{*facts->duration});
    if (facts->camera.model) std::printf("model: %s\n", facts->camera.model->c_str());
    if (facts->view.heading) std::printf("heading: %g degrees\n", double{*facts->view.heading});
    std::printf("gyro: %zu samples\n", motion->gyro.size());
    return 0;
}
