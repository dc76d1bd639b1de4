#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What the fuzz targets share. A target is one file beside this folder with one entry point,
/// LLVMFuzzerTestOneInput; a property that does not hold ends the program like a crash.
namespace fuzz {

/// Takes numbers off the front of an input; the rest are the bytes under test.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size)
        : bytes(reinterpret_cast<const char*>(data), size) {}

    /// The next byte; 0 when there is none.
    std::uint8_t take8();
    std::uint16_t take16();
    std::string_view rest() const { return bytes; }

  private:
    std::string_view bytes;
};

/// A file in memory that holds these bytes, and a path that opens it. The same file serves every
/// call, so only the bytes given last are there.
const std::wstring& memoryFile(std::string_view bytes);

/// Ends the program, with the text on standard error, when the property does not hold.
void require(bool holds, const char* property);

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
