#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace kit {

/// A folder of its own for one test, removed with everything in it at the end.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    /// The wide path of a file of this folder.
    std::wstring wide(std::string_view name) const;
    /// Writes a file of this folder and returns its wide path.
    std::wstring write(std::string_view name, std::string_view bytes) const;

  private:
    std::filesystem::path folder;
};

/// The whole file as bytes; empty when it cannot be read.
std::string readFile(const std::filesystem::path& path);
std::string readFile(const std::wstring& path);

/// A file without a name, and all that it holds.
int memoryFile(const std::string& bytes = {});
std::string contentsOf(int memoryFile);

/// What `action` writes to standard output, at the level of the descriptor.
std::string captureOutput(const std::function<void()>& action);

}  // namespace kit
