#include "app/JsonText.h"

#include "support/WideText.h"

std::wstring toJsonValueL(std::string_view text) {
    std::string printable(text.substr(0, text.find('\0')));
    for (char& byte : printable) {
        if (byte == '"' || static_cast<signed char>(byte) < 32) byte = ' ';
    }
    std::wstring value = WEKU::wchar::mbs2wcs(printable);
    value.resize(value.find_last_not_of(L' ') + 1);  // npos + 1 is 0
    return L'"' + value + L'"';
}
