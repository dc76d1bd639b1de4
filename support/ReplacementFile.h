#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "support/FileIO.h"

namespace WEKU {

class Leftover;

/// A new file that takes the place of another in one step, or of which nothing stays. It is made
/// exclusively in the folder of its target and open, for reading and writing, through the one
/// descriptor from the first byte to the exchange: no path is opened twice, so nobody can slip
/// another file in between. Where the file system can, it has no name until then and vanishes
/// with the process; elsewhere it has one that nobody can guess.
class ReplacementFile : public FileIO {
  public:
    static constexpr mode_t ownersAlone = 0600;
    static constexpr mode_t everyones = 0666;

    /// `target` is no symbolic link (see `resolve`). A failure prints "open(SHOWN, 'w') failed.";
    /// `shown` must outlive the file. `permissions` are narrowed by the process's mask.
    ReplacementFile(const std::wstring& target, const std::wstring& shown,
                    mode_t permissions = ownersAlone);
    /// Removes the file unless it has taken its place.
    ~ReplacementFile() override;

    /// Gives the file what says who may use `model`. What cannot be carried over is said on
    /// standard error.
    void resemble(const FileIO& model);

    /// The state of what stands at the target: all zero when nothing does.
    FileStamp standing() const;
    /// True when nothing but a regular file stands at the target.
    bool mayTakePlace() const;
    /// Puts the file at the target and flushes the folder. Refused, with a line on standard error,
    /// when what stands there is not what `expected` says.
    bool takePlace(const FileStamp& expected);

  private:
    struct Made;
    ReplacementFile(Made&& made, const std::wstring& target, const std::wstring& shown);

    static Made make(const std::string& target, mode_t permissions);
    /// The entry of the folder is this file.
    bool isOwn(const std::string& entry) const;
    bool linkAs(const std::string& newName) const;
    bool enterFolder(bool overwrites);

    const std::wstring& target;
    int folder;
    /// The target's name in the folder, and the file's own, if it has one.
    std::string name, temporary;
    std::unique_ptr<Leftover> leftover;
};

}  // namespace WEKU
