#include "kit/scan/Resume.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include "kit/scan/Output.h"
#include "kit/scan/Record.h"

namespace kit {
namespace {

constexpr std::string_view headStart = "{\"path\":\"";

/// SipHash-2-4 (Aumasson, Bernstein): a hash that cannot be steered without its key.
std::uint64_t sipHash(std::uint64_t key0, std::uint64_t key1, std::string_view bytes) {
    std::uint64_t a = key0 ^ 0x736f6d6570736575U, b = key1 ^ 0x646f72616e646f6dU;
    std::uint64_t c = key0 ^ 0x6c7967656e657261U, d = key1 ^ 0x7465646279746573U;
    const auto rounds = [&](int n) {
        while (n-- > 0) {
            a += b, b = std::rotl(b, 13) ^ a, a = std::rotl(a, 32);
            c += d, d = std::rotl(d, 16) ^ c;
            a += d, d = std::rotl(d, 21) ^ a;
            c += b, b = std::rotl(b, 17) ^ c, c = std::rotl(c, 32);
        }
    };
    const std::uint64_t length = bytes.size();
    for (bool last = false; !last;) {
        std::uint64_t word = 0;
        last = bytes.size() < sizeof word;
        std::memcpy(&word, bytes.data(), last ? bytes.size() : sizeof word);
        if (last) {
            word |= length << 56;
        } else {
            bytes.remove_prefix(sizeof word);
        }
        d ^= word;
        rounds(2);
        a ^= word;
    }
    c ^= 0xFF;
    rounds(4);
    return a ^ b ^ c ^ d;
}

/// A file read line by line; lines may be long, memory holds one of them.
class Lines {
  public:
    Lines(int descriptor, const std::string& path) : file(descriptor), name(path) {}

    /// False at the end, and at a last line without its line feed, which `line` then is.
    bool next(std::string_view& line) {
        for (;;) {
            const std::size_t end = block.find('\n', searched);
            if (end != std::string::npos) {
                line = std::string_view(block).substr(at, end - at);
                at = searched = end + 1;
                return true;
            }
            searched = block.size() - at;
            block.erase(0, at);
            at = 0;
            if (!fill()) {
                line = block;
                return false;
            }
        }
    }

    /// Where the line that `next` gives next begins.
    [[nodiscard]] std::uint64_t position() const { return read - (block.size() - at); }

  private:
    bool fill() {
        constexpr std::size_t step = 1U << 18;
        const std::size_t had = block.size();
        block.resize(had + step);
        const ssize_t n = ::pread(file, block.data() + had, step, static_cast<off_t>(read));
        block.resize(had + (n > 0 ? static_cast<std::size_t>(n) : 0));
        if (n < 0) throw OutputFailure(name + ": " + std::strerror(errno));
        read += static_cast<std::uint64_t>(n);
        return n > 0;
    }

    int file;
    const std::string& name;
    std::string block;
    std::size_t at = 0;
    std::size_t searched = 0;
    std::uint64_t read = 0;
};

/// The part of a record that names its file; empty when the line is no record.
std::string_view headOf(std::string_view line) {
    if (!line.starts_with(headStart) || !line.ends_with('}')) return {};
    const std::size_t end = line.find(tailStart);
    return end == std::string_view::npos ? std::string_view() : line.substr(0, end);
}

}  // namespace

Done::~Done() {
    if (table != nullptr) ::munmap(table, slots * sizeof(Print));
}

void Done::read(int file, const std::string& path) {
    std::string_view line;
    std::uint64_t lines = 0;
    Lines counted(file, path);
    while (counted.next(line)) {
        ++lines;
        if (headOf(line).empty()) {
            throw OutputRefused(path + ": line " + std::to_string(lines) +
                                " is no record of a scan, so it is left alone");
        }
    }
    // What a run that was killed, or a machine that lost its power, leaves of a record: its
    // beginning, or zeros in its place. Behind records nobody else writes.
    const std::size_t known = std::min(line.size(), headStart.size());
    const bool torn = lines > 0 || line.substr(0, known) == headStart.substr(0, known) ||
                      line.find_first_not_of('\0') == std::string_view::npos;
    if (!torn) throw OutputRefused(path + ": holds no records of a scan, so it is left alone");
    if (!line.empty() && ::ftruncate(file, static_cast<off_t>(counted.position())) != 0)
        throw OutputFailure(path + ": " + std::strerror(errno));

    reserve(lines, path);
    Lines kept(file, path);
    while (kept.next(line)) {
        const Print print = printOf(headOf(line));
        Print* place = placeOf(print);
        if (*place == print) continue;
        *place = print;
        ++count;
    }
}

bool Done::holds(std::string_view head) const {
    if (count == 0) return false;
    const Print print = printOf(head);
    return *placeOf(print) == print;
}

Done::Print Done::printOf(std::string_view head) const {
    // The empty slot is all zeros.
    return {sipHash(keys[0], keys[1], head) | 1, sipHash(keys[2], keys[3], head)};
}

/// The slot that holds the print, or the one where it belongs.
Done::Print* Done::placeOf(const Print& print) const {
    for (std::uint64_t slot = print[1];; ++slot) {
        Print* place = table + (slot & (slots - 1));
        if (*place == print || *place == Print{}) return place;
    }
}

void Done::reserve(std::uint64_t names, const std::string& path) {
    if (::getrandom(keys.data(), sizeof keys, 0) != static_cast<ssize_t>(sizeof keys))
        throw OutputFailure("no random numbers: " + std::string(std::strerror(errno)));
    slots = std::bit_ceil(names * 2 + 16);
    const std::size_t bytes = slots * sizeof(Print);
    int file = -1;
#ifdef O_TMPFILE
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
#endif
    // Without room on the disk a page that is touched would end the process.
    if (file >= 0 && ::posix_fallocate(file, 0, static_cast<off_t>(bytes)) != 0) {
        ::close(file);
        file = -1;
    }
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                          file >= 0 ? MAP_SHARED : MAP_PRIVATE | MAP_ANONYMOUS, file, 0);
    if (file >= 0) ::close(file);
    if (memory == MAP_FAILED) throw OutputFailure("not enough memory for the names that are done");
    table = static_cast<Print*>(memory);
}

}  // namespace kit
