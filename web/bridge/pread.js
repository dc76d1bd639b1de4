// Reads at an offset, all 64 bits of it: the compiler's own (3.1.6) drops the upper half.
mergeInto(LibraryManager.library, {
    fd_pread__deps: ["$SYSCALLS", "$FS"],
    fd_pread: function (fd, iov, iovcnt, low, high, pnum) {
        try {
            var offset = high * 4294967296 + (low >>> 0);
            HEAP32[pnum >> 2] = SYSCALLS.doReadv(SYSCALLS.getStreamFromFD(fd), iov, iovcnt, offset);
            return 0;
        } catch (problem) {
            if (!(problem instanceof FS.ErrnoError)) throw problem;
            return problem.errno;
        }
    },
});
