#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <vector>

#include "support/FileIO.h"
#include "support/Portability.h"

namespace WEKU {

namespace {

constexpr std::uint64_t chunk = 65536;

#if SONDEX_KERNEL_COPIES
/// What the kernel copies at a time. Its way to the disk begins at once, so that the flush at the
/// end finds little left to wait for.
constexpr std::uint64_t piece = std::uint64_t{8} << 20;
#endif

}  // namespace

/// Copies inside the kernel as far as it goes: until an error, the end of the source or `count`.
/// What is left, if anything, is for the ordinary copy to carry out or to report.
std::uint64_t FileIO::copyBySystem([[maybe_unused]] FileIO& destination,
                                   [[maybe_unused]] std::uint64_t count) {
    std::uint64_t done = 0;
#if SONDEX_KERNEL_COPIES
    ++destination.shared->changes;
    while (done < count) {
        auto from = static_cast<off_t>(position);
        auto to = static_cast<off_t>(destination.position);
        const std::uint64_t left = count - done;
        // Only behind everything written so far does skipping a hole read as zeros later.
        off_t data = ::lseek(descriptor, from, SEEK_DATA);
        if (data < 0 && errno == ENXIO) data = static_cast<off_t>(length());
        if (data > from && destination.position >= destination.length()) {
            const std::uint64_t hole = std::min(left, static_cast<std::uint64_t>(data - from));
            if (!destination.truncate(destination.position + hole)) break;
            position += hole;
            destination.position += hole;
            done += hole;
            continue;
        }
        std::uint64_t wanted = std::min(left, piece);
        const off_t holeStart = ::lseek(descriptor, from, SEEK_HOLE);
        if (holeStart > from) {
            wanted = std::min(wanted, static_cast<std::uint64_t>(holeStart - from));
        }
        const ssize_t n =
            ::copy_file_range(descriptor, &from, destination.descriptor, &to, wanted, 0);
        if (n <= 0) break;
        if (static_cast<std::uint64_t>(n) == piece) {
            ::sync_file_range(destination.descriptor, to - n, n, SYNC_FILE_RANGE_WRITE);
            // From a piece further back, because a unit of the cache, which may be megabytes, goes
            // as a whole or not at all.
            const off_t first = std::max<off_t>(0, from - 2 * n);
            if (!reused) ::posix_fadvise(descriptor, first, from - first, POSIX_FADV_DONTNEED);
        }
        position += static_cast<std::uint64_t>(n);
        destination.position += static_cast<std::uint64_t>(n);
        done += static_cast<std::uint64_t>(n);
    }
#endif
    return done;
}

/// Copies until a short read or write; returns the bytes that arrived.
std::uint64_t FileIO::copyWhole(FileIO& destination, std::uint64_t count) {
    if (!isOpen() || !destination.isOpen()) return 0;
    std::uint64_t done = count > chunk ? copyBySystem(destination, count) : 0;
    std::vector<unsigned char> buffer(std::min(chunk, count - done));
    while (done < count) {
        const std::uint64_t wanted = std::min(chunk, count - done);
        const std::uint64_t got = readAt(position, buffer.data(), wanted);
        position += got;
        const std::uint64_t before = destination.position;
        const bool arrived = destination.writeAll(buffer.data(), got);
        done += destination.position - before;
        if (!arrived) break;
        if (got < wanted) {
            shortRead = true;
            break;
        }
    }
    return done;
}

void FileIO::expectNoReuse() {
    // What was written lately may not be on the disk yet, and dropping it would send it there, for
    // nothing: the system does so within half a minute.
    constexpr std::int64_t restSeconds = 60;
    reused = stamp().changedSeconds > std::time(nullptr) - restSeconds;
}

bool FileIO::copyAll(FileIO& destination, std::uint64_t count) {
    return copyWhole(destination, count) == count;
}

std::uint64_t FileIO::copyTo(FileIO& destination, std::uint64_t count) {
    std::uint64_t written = copyWhole(destination, count);
    // What the source did not give is made up for: every chunk leaves in its full length.
    std::vector<unsigned char> buffer(written < count ? chunk : 0);
    for (std::uint64_t left = count - written; left > 0;) {
        const std::uint64_t n = std::min(chunk, left);
        (void)read(buffer.data(), n);
        written += destination.write(buffer.data(), n);
        left -= n;
    }
    return written;
}

}  // namespace WEKU
