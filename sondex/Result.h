#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace sondex {

/// Why something could not be done.
enum class ErrorCode {
    notFound,        ///< There is no such file, or a folder of its path is missing.
    noPermission,    ///< The system does not let this process.
    notRegularFile,  ///< A folder, a device or the like.
    notAMovie,       ///< No MP4 or MOV movie; the message says what the file looks like.
    notAStill,       ///< No JPEG and no DNG; the message says what the file looks like.
    noCameraRecord,  ///< A still of another camera, or its camera record cannot be read.
    damaged,         ///< The right kind of file, but what is needed of it cannot be read.
    notDecodable,    ///< The movie's first picture, or the one asked for, could not be decoded.
    noSuchFrame,     ///< The movie ends ahead of the picture that was asked for.
    decoderMissing,  ///< Pictures cannot be decoded here: the decoder module is missing or unfit.
    busy,            ///< Another program is editing the file.
    changed,         ///< The file was changed or exchanged meanwhile, again and again.
    refused,         ///< The edit would harm the file; the message says why.
    noSpace,         ///< The disk is full, or a limit on the file's length is reached.
    outOfMemory,     ///< There was not enough memory.
    ioFailed,        ///< Reading or writing failed; the message has the system's words.
};

/// The code's name as it is spelt above: a stable word for records and scripts.
[[nodiscard]] std::string_view toString(ErrorCode code);

/// A code for programs and a sentence for people, which does not repeat the name of the file.
struct Error {
    ErrorCode code;
    std::string message;
};

/// Thrown by those who take the value out of a result that has none.
class BadResult : public std::logic_error {
  public:
    explicit BadResult(const Error& error) : std::logic_error(error.message) {}
};

/// A value, or the reason why there is none. The shape is that of C++23's std::expected, which
/// these headers cannot ask of a C++20 compiler; a type of another library would become every
/// caller's dependency. Unlike there, taking a value that is not there always throws.
template <class T>
class [[nodiscard]] Result {
  public:
    Result(T value) : content(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : content(std::in_place_index<1>, std::move(error)) {}

    bool has_value() const { return content.index() == 0; }
    explicit operator bool() const { return has_value(); }

    T& value() & { return held(); }
    const T& value() const& { return const_cast<Result&>(*this).held(); }
    T&& value() && { return std::move(held()); }
    T& operator*() & { return held(); }
    const T& operator*() const& { return value(); }
    T&& operator*() && { return std::move(held()); }
    T* operator->() { return &held(); }
    const T* operator->() const { return &value(); }

    /// Throws std::bad_variant_access when there is a value.
    const Error& error() const { return std::get<1>(content); }

  private:
    T& held() {
        if (!has_value()) throw BadResult(std::get<1>(content));
        return *std::get_if<0>(&content);
    }

    std::variant<T, Error> content;
};

/// Done, or the reason why not.
template <>
class [[nodiscard]] Result<void> {
  public:
    Result() = default;
    Result(Error error) : content(std::move(error)) {}

    bool has_value() const { return content.index() == 0; }
    explicit operator bool() const { return has_value(); }
    void value() const {
        if (!has_value()) throw BadResult(error());
    }
    const Error& error() const { return std::get<1>(content); }

  private:
    std::variant<std::monostate, Error> content;
};

using Status = Result<void>;

/// What an edit did, or is to do: sentences without a full stop; none when there is nothing to do.
using Done = std::vector<std::string>;

}  // namespace sondex
