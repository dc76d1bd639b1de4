#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kit/scan/Output.h"
#include "sondex/sondex.h"

namespace kit {

/// Where a result goes that is good for nothing unless it is whole: a new file, which appears when
/// it is finished, or a stream (standard output for "-", a FIFO, a device).
class OutputFile {
  public:
    /// Throws OutputRefused for a file that is there already, unless it may be replaced;
    /// OutputFailure.
    OutputFile(const std::string& path, bool overwrite);

    /// Throws OutputFailure.
    void append(std::string_view bytes);
    /// Once all is appended. Throws OutputFailure.
    void flush();
    /// Puts the file in its place. Throws OutputFailure.
    void finish();

  private:
    void check(const sondex::Status& status) const;

    std::string path;
    std::optional<sondex::NewFile> file;
    std::unique_ptr<Output> stream;
};

}  // namespace kit
