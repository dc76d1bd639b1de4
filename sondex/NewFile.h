#pragma once

#include <memory>
#include <string_view>

#include "sondex/Result.h"

namespace sondex {

/// A file of the caller's making that appears at its path whole, or not at all. Until it is put
/// there it has no name where the file system allows, and elsewhere one that goes with the object.
class NewFile {
  public:
    /// Refused when something is at the path; with `replace` when that is no regular file. What is
    /// replaced stays until then, and who may read it may read the new one.
    [[nodiscard]] static Result<NewFile> make(std::string_view path, bool replace);

    NewFile(NewFile&&) noexcept;
    NewFile& operator=(NewFile&&) noexcept;
    ~NewFile();

    [[nodiscard]] Status append(std::string_view bytes);

    /// Flushes the contents to the disk and gives the file its name. Refused when somebody else
    /// has put something there meanwhile.
    [[nodiscard]] Status finish();

  private:
    struct Inside;
    explicit NewFile(std::unique_ptr<Inside> inside);

    std::unique_ptr<Inside> inside;
};

}  // namespace sondex
