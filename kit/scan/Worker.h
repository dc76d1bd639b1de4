#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "kit/scan/Record.h"

namespace kit {

struct WorkerOptions {
    bool decode = true;
    bool sandbox = true;
    /// Bytes of memory of its own that a worker may have.
    std::uint64_t memory = 0;
    Format format = {};
};

/// How far a worker is: shared with its parent, which so knows what a worker that died was at.
struct WorkerProgress {
    std::atomic<std::uint64_t> begun{0};     ///< Files begun.
    std::atomic<std::uint64_t> finished{0};  ///< Files whose record is made.
};

/// What parent and worker say to each other: frames of a length (32 bits), a kind and bytes.
enum class Frame : unsigned char {
    ready,        ///< Worker: at work. Bytes: what its sandbox lacks, "" when nothing.
    file,         ///< Parent: a name.
    fileIfMedia,  ///< Parent: a name whose file is of interest only with a movie's or still's
                  ///< content.
    succeeded,    ///< Worker: the tail of the file's record.
    failed,       ///< Worker: the same, of a failed file.
    nothing,      ///< Worker: the file is no media, there shall be no record.
};

constexpr std::size_t frameHeader = 5;
/// A record is some kilobytes at most; a worker that claims more is out of its mind.
constexpr std::size_t longestRecord = 1U << 20;

void appendFrame(std::string& to, Frame kind, std::string_view bytes);

/// Takes the frame that begins at `at`, and moves `at` behind it. False: it is not whole yet.
bool takeFrame(std::string_view from, std::size_t& at, Frame& kind, std::string_view& bytes);

/// The life of a worker: answers the frames of a socket until it is closed. Of the parent's
/// descriptors none stays open but this one.
[[noreturn]] void work(int socket, WorkerProgress& progress, const WorkerOptions& options);

}  // namespace kit
