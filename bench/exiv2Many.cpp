// What a program on exiv2's library does to know the metadata of many files: one process, a thread
// a core, each file's metadata parsed and its camera's model printed. Names on standard input.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

int main(int argc, char** argv) {
    Exiv2::XmpParser::initialize();
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    std::vector<std::string> names;
    for (std::string name; std::getline(std::cin, name);)
        names.push_back(name);
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < names.size(); i = next++) {
            try {
                const auto image = Exiv2::ImageFactory::open(names[i]);
                image->readMetadata();
                std::printf("%s %s\n", names[i].c_str(),
                            image->exifData()["Exif.Image.Model"].toString().c_str());
            } catch (const Exiv2::Error&) {
                std::printf("%s failed\n", names[i].c_str());
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < (argc > 1 ? std::atoi(argv[1]) : 1); ++i)
        threads.emplace_back(work);
    for (auto& thread : threads)
        thread.join();
}
