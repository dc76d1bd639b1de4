#pragma once

/// The descriptors 0, 1 and 2 belong to the standard streams even while those are closed: a file
/// that got one of them would receive whatever anybody prints there.
namespace WEKU {

/// As the system's openat, close-on-exec added; `folder` is a descriptor or AT_FDCWD. The
/// descriptor is never 0, 1 or 2, not even for a moment. -1, with errno, after a failure.
int openFile(int folder, const char* path, int flags, unsigned mode = 0);

/// Fills those of the three that are closed with a place where every read and write fails as it
/// does on a closed one. For the start of a program, on behalf of all that it calls.
void holdStandardStreams();

}  // namespace WEKU
