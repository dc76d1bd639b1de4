#pragma once

#include <cstdint>
#include <string>

/// The optional members of a result line, in the order in which they are added. Each stands
/// behind a comma, so that the tail follows the fixed members of the line.
class ResultTail {
  public:
    /// A text that is not empty. What is asked is the whole text, so one that begins with a NUL
    /// adds an empty value.
    void text(const wchar_t* key, const std::string& value);
    /// A number that is not NaN.
    void number(const wchar_t* key, float value);
    void integer(const wchar_t* key, std::int64_t value);
    void truth(const wchar_t* key, bool value);
    /// A value that is JSON already.
    void member(const wchar_t* key, const std::wstring& json);

    const wchar_t* c_str() const { return line.c_str(); }

  private:
    std::wstring line;
};

/// The JSON word of a truth value.
const wchar_t* jsonWord(bool value);
