#pragma once

#include <dirent.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kit {

/// What is to be scanned: words, the names of a list, and the files of folders among them.
struct NameOptions {
    std::vector<std::string> words = {};
    /// A file of names; "-" is standard input.
    std::optional<std::string> list = {};
    char separator = '\n';
    /// Folders stand for the files below them.
    bool recursive = false;
    /// Of those files, all that begin as media do, and not only those that are named so.
    bool byContent = false;
};

struct Name {
    std::string path;
    /// Of interest only with a movie's or still's content.
    bool ifMedia = false;
    /// Why a folder could not be read; empty for a file.
    std::optional<int> folderError = {};
};

/// The list of names could not be read.
class ListFailure : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// Gives the names one after the other, in memory that does not grow with their number.
class Names {
  public:
    enum class Next { name, wait, end };

    /// Throws ListFailure.
    explicit Names(const NameOptions& options);
    ~Names();
    Names(const Names&) = delete;
    Names& operator=(const Names&) = delete;

    /// `wait`: the list has no whole name yet; poll `descriptor`. Throws ListFailure.
    Next next(Name& name);

    [[nodiscard]] int descriptor() const { return file; }

    /// The part of the names that was given out, 0 to 1, where that can be told.
    [[nodiscard]] std::optional<double> part() const;

  private:
    struct Close {
        void operator()(DIR* folder) const { ::closedir(folder); }
    };
    struct Folder {
        std::unique_ptr<DIR, Close> entries;
        std::string prefix;
    };

    Next nextGiven(std::string& path);
    bool nextInFolder(Name& name);
    void take(Folder& folder, const dirent& entry, Name& name);
    bool enter(const std::string& path);
    Next fill();

    NameOptions options;
    std::size_t word = 0;
    std::vector<Folder> folders;

    int file = -1;
    bool listEnded = false;
    std::string block;
    std::size_t at = 0;
    std::uint64_t listLength = 0;
    std::uint64_t listRead = 0;
};

}  // namespace kit
