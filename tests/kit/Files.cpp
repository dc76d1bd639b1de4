#include "tests/kit/Files.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "support/WideText.h"

namespace kit {

TempFolder::TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sondex-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    folder = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::wstring TempFolder::wide(std::string_view name) const {
    return WEKU::wchar::widen((folder / name).string());
}

std::wstring TempFolder::write(std::string_view name, std::string_view bytes) const {
    std::ofstream file(folder / name, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return wide(name);
}

std::string readFile(const std::filesystem::path& path) {
    std::error_code failed;
    const std::uintmax_t length = std::filesystem::file_size(path, failed);
    std::string bytes(failed ? 0 : length, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

std::string readFile(const std::wstring& path) {
    return readFile(std::filesystem::path(WEKU::wchar::narrow(path)));
}

int memoryFile(const std::string& bytes) {
    const int file = ::memfd_create("stream", MFD_CLOEXEC);
    if (::write(file, bytes.data(), bytes.size()) < 0) std::abort();
    ::lseek(file, 0, SEEK_SET);
    return file;
}

std::string contentsOf(int memoryFile) {
    return readFile(std::filesystem::path("/proc/self/fd/" + std::to_string(memoryFile)));
}

std::string captureOutput(const std::function<void()>& action) {
    const int console = ::dup(STDOUT_FILENO);
    const int capture = memoryFile();
    ::dup2(capture, STDOUT_FILENO);
    action();
    ::dup2(console, STDOUT_FILENO);
    ::close(console);
    const std::string text = contentsOf(capture);
    ::close(capture);
    return text;
}

}  // namespace kit
