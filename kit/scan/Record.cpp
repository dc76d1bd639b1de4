#include "kit/scan/Record.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "kit/Base64.h"

namespace kit {
namespace {

constexpr std::string_view pathBytes = "pathBytes";

/// The name as a JSON text, and whether that lost some of its bytes. A name that holds U+FFFD
/// itself counts as one that did.
std::pair<std::string, bool> nameText(std::string_view path) {
    std::string text = sondex::jsonText(path);
    const bool lossy = text.find("\\ufffd") != std::string::npos;
    return {std::move(text), lossy};
}

/// A field of a CSV line (RFC 4180).
std::string csvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string field = "\"";
    for (const char c : text) {
        if (c == '"') field += c;
        field += c;
    }
    return field + '"';
}

const nlohmann::json* member(const nlohmann::json& object, std::string_view key) {
    const auto found = object.find(key);
    if (found != object.end()) return &*found;
    const std::size_t dot = key.find('.');
    if (dot == std::string_view::npos) return nullptr;
    const auto inner = object.find(key.substr(0, dot));
    return inner == object.end() ? nullptr : member(*inner, key.substr(dot + 1));
}

std::string csvTail(const std::string& json, const Format& format) {
    const auto object = nlohmann::json::parse(json);
    std::string row;
    for (const auto& field : format.fields) {
        if (field == pathBytes) continue;
        row += ',';
        const nlohmann::json* value = member(object, field);
        if (value == nullptr || value->is_null()) continue;
        // A row is one line: what a file holds must not begin another.
        row += csvField(value->is_string() ? printable(value->get_ref<const std::string&>())
                                           : value->dump());
    }
    return row;
}

std::string tailOf(std::string json, const Format& format) {
    if (format.csv) return csvTail(json, format);
    json.front() = ',';
    return json;
}

bool hasPathBytes(const Format& format) {
    return std::find(format.fields.begin(), format.fields.end(), pathBytes) != format.fields.end();
}

}  // namespace

std::string recordTail(const sondex::Facts& facts, const Format& format) {
    std::string json = sondex::toJson(facts);
    json.replace(0, 1, json == "{}" ? "{\"status\":\"succeed\"" : "{\"status\":\"succeed\",");
    return tailOf(std::move(json), format);
}

std::string recordTail(std::string_view code, std::string_view message, const Format& format) {
    return tailOf("{\"status\":\"failed\",\"error\":{\"code\":" + sondex::jsonText(code) +
                      ",\"message\":" + sondex::jsonText(message) + "}}",
                  format);
}

std::string recordHead(std::string_view path, const Format& format) {
    auto [text, lossy] = nameText(path);
    if (format.csv) {
        std::string head = csvField(nlohmann::json::parse(text).get_ref<const std::string&>());
        if (hasPathBytes(format)) head += lossy ? ',' + base64(path) : ",";
        return head;
    }
    std::string head = "{\"path\":" + text;
    if (lossy) head += ",\"pathBytes\":\"" + base64(path) + '"';
    return head;
}

std::string recordHeader(const Format& format) {
    if (!format.csv) return {};
    std::string header = "path";
    if (hasPathBytes(format)) header += ",pathBytes";
    for (const auto& field : format.fields) {
        if (field != pathBytes) header += ',' + csvField(field);
    }
    return header + '\n';
}

std::string printable(std::string_view text) {
    std::string line(text);
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
    }
    return line;
}

}  // namespace kit
