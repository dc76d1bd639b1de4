#pragma once

#include <cstdint>
#include <functional>
#include <string>

struct stat;

namespace WEKU {

/// When set, the scoped opens announce each file with "processing %ls ...". Off by default.
extern bool FileIO_show_process_file_name;

/// What tells one state of a file from another: where it lives, its length, its last change.
struct FileStamp {
    FileStamp() = default;
    explicit FileStamp(const struct stat& facts);

    std::uint64_t device = 0;
    std::uint64_t node = 0;
    std::uint64_t length = 0;
    std::int64_t changedSeconds = 0;
    std::int64_t changedNanoseconds = 0;

    bool operator==(const FileStamp&) const = default;
    bool sameFile(const FileStamp& other) const {
        return device == other.device && node == other.node;
    }
};

/// A file handle over the system's descriptor calls. Nothing here throws: failures are return
/// values, plus one console line where stated. A handle that failed to open is safe to use; every
/// operation on it returns its failure value.
class FileIO {
  public:
    /// What `read` and `write` return when they fail.
    static constexpr std::uint64_t failed = UINT64_MAX;

    using Callback = std::function<void(FileIO&)>;

    /// Opens `path`, which must outlive the handle. Mode 'a': read and write, contents kept, at
    /// position 0. Mode 'w': created (0644) or emptied, write only. Any other mode: read only.
    /// Opening for reading never blocks, whatever the name stands for. A failure prints
    /// "open(%ls, '%c') failed.".
    FileIO(const std::wstring& path, wchar_t mode);
    /// The path would be gone before the handle is.
    FileIO(std::wstring&& path, wchar_t mode) = delete;
    virtual ~FileIO();
    FileIO(const FileIO&) = delete;
    FileIO& operator=(const FileIO&) = delete;

    /// Scoped opens: hand the open file to the callback, close it, return true; false when the
    /// file does not open (the callback is then not run).
    static bool open(const std::wstring& path, const Callback& callback);
    [[nodiscard]] static bool open_w(const std::wstring& path, const Callback& callback);
    [[nodiscard]] static bool open_a(const std::wstring& path, const Callback& callback);

    /// True when the file opens for reading; otherwise the open failure has been printed.
    static bool exist(const std::wstring& path);
    [[nodiscard]] static bool rename(const std::wstring& from, const std::wstring& to);
    static bool unlink(const std::wstring& path);
    /// The file that `path` leads to when it is a symbolic link; otherwise, and where it leads
    /// nowhere, `path` itself.
    static std::wstring resolve(const std::wstring& path);
    /// The state of the file at `path`; all zero when there is none.
    static FileStamp stampOf(const std::wstring& path);

    /// What the scoped opens do with an open file: announces it, runs the callback, returns true;
    /// false when the file is not open.
    bool handOut(const Callback& callback);

    bool isOpen() const { return descriptor != 0; }
    bool isReadOnly() const { return mode != 'a' && mode != 'w'; }
    /// Why the file did not open, as the system's error number; 0 when it did.
    int openError() const { return error; }
    /// False for folders, devices and the like, and when not open.
    bool isRegular() const;
    /// Both stand for the same open file.
    bool isSharing(const FileIO& other) const { return descriptor == other.descriptor; }
    const std::wstring& name() const { return path; }
    std::uint64_t tell() const { return position; }

    /// The file's size in bytes; 0 when not open or unknown.
    std::uint64_t length() const;

    /// One system read or write at the position, which advances by the result. Returns the number
    /// of bytes, which may be short, or `failed`.
    [[nodiscard]] std::uint64_t read(unsigned char* bytes, std::uint64_t count);
    [[nodiscard]] std::uint64_t write(const unsigned char* bytes, std::uint64_t count);

    /// Reads at `offset`, repeating short reads, without moving the position. Returns the bytes
    /// that could be read before the end of the file or a failure.
    std::uint64_t readAt(std::uint64_t offset, unsigned char* bytes, std::uint64_t count) const;

    /// Moves the position; a refusal prints "seek_set(%lld) failed - %ls(%d)" (or seek_cur).
    [[nodiscard]] bool seek_set(std::uint64_t offset);
    [[nodiscard]] bool seek_cur(std::int64_t distance);

    /// Copies `count` bytes from here to the destination in chunks of 65536. What a short read
    /// leaves in the chunk is written all the same; returns the sum of the write results.
    std::uint64_t copyTo(FileIO& destination, std::uint64_t count);

    /// Copies `count` bytes as copyTo does, but stops at the first short read or write; true when
    /// all were copied. Holes of the source stay holes where the system tells them.
    [[nodiscard]] bool copyAll(FileIO& destination, std::uint64_t count);
    /// For a file that its copy will replace: what is copied from here leaves the system's cache
    /// at once, which makes room for the copy and spares doing it all when the file goes.
    void expectNoReuse();

    FileStamp stamp() const;
    /// Flushes the contents to the disk.
    [[nodiscard]] bool sync();
    /// Cuts (or fills with zeros) the file to `length` bytes.
    [[nodiscard]] bool truncate(std::uint64_t length);
    /// Keeps other editors of the same kind out until the file is closed; false when one is at
    /// work. True as well on file systems without locks.
    [[nodiscard]] bool lock();

    /// As write, but repeats short writes; true when all the bytes arrived.
    [[nodiscard]] bool writeAll(const unsigned char* bytes, std::uint64_t count);

    /// True once a copy from here, or a field of the file, got less than it asked for, or a write
    /// here fell short.
    bool sawShortRead() const { return shortRead; }
    bool sawShortWrite() const { return shortWrite; }
    /// The system's error number of the last write, flush or cut that failed, through this handle
    /// or one that shares its file; 0 when none did.
    int writeError() const { return shared->writeError; }

  protected:
    /// Shares the open file of `other`, which keeps it and must outlive this handle.
    explicit FileIO(FileIO& other);
    /// Takes over a descriptor; one below 0 is a failure to open `path`.
    FileIO(const std::wstring& path, wchar_t mode, int descriptor);
    /// How often the file was changed through this handle and those that share it.
    std::uint64_t changeCount() const { return shared->changes; }
    /// A read within the file's length failed.
    void markShortRead() { shortRead = true; }

  private:
    friend class ReplacementFile;

    std::int64_t writeOnce(const unsigned char* bytes, std::uint64_t count);
    std::uint64_t copyWhole(FileIO& destination, std::uint64_t count);
    std::uint64_t copyBySystem(FileIO& destination, std::uint64_t count);
    bool seek(std::int64_t offset, int whence, const wchar_t* message, std::int64_t shown);

    int descriptor = 0;
    int error = 0;
    const std::wstring& path;
    int mode;
    /// What all handles of one open file know.
    struct Shared {
        std::uint64_t changes = 0;
        int writeError = 0;
    };
    Shared own;
    Shared* shared = &own;

  protected:
    std::uint64_t position = 0;

  private:
    bool owner = true;
    bool reused = true;
    bool shortRead = false;
    bool shortWrite = false;
};

}  // namespace WEKU
