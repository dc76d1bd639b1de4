#include "app/ResultTail.h"

#include <cmath>

#include "app/JsonText.h"
#include "support/NumberText.h"
#include "support/WideText.h"

const wchar_t* jsonWord(bool value) {
    return value ? L"true" : L"false";
}

void ResultTail::text(const wchar_t* key, const std::string& value) {
    if (!value.empty()) member(key, toJsonValueL(value));
}

void ResultTail::number(const wchar_t* key, float value) {
    if (std::isnan(value)) return;
    std::string text;
    WEKU::appendNumber(text, double{value});
    member(key, WEKU::wchar::widen(text));
}

void ResultTail::integer(const wchar_t* key, std::int64_t value) {
    member(key, std::to_wstring(value));
}

void ResultTail::truth(const wchar_t* key, bool value) {
    member(key, jsonWord(value));
}

void ResultTail::member(const wchar_t* key, const std::wstring& json) {
    line.append(L", \"").append(key).append(L"\":").append(json);
}
