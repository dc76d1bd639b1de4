#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "kit/Command.h"
#include "kit/Sandbox.h"
#include "kit/scan/Record.h"
#include "sondex/sondex.h"

namespace kit {
namespace {

template <class Number>
std::string digits(Number number) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

/// As JSON: numbers that are none become null.
struct JsonValue {
    std::string operator()(bool truth) const { return truth ? "true" : "false"; }
    std::string operator()(const std::string& text) const { return sondex::jsonText(text); }
    std::string operator()(double number) const {
        return std::isfinite(number) ? digits(number) : "null";
    }
    std::string operator()(auto integer) const { return digits(integer); }
};

/// For people: long texts cut, times to the microsecond.
struct PlainValue : JsonValue {
    using JsonValue::operator();
    std::string operator()(const std::string& text) const {
        constexpr std::size_t most = 60;
        std::size_t shown = std::min(text.size(), most);
        // Not through a character, of which four bytes are the most.
        while (shown < text.size() && shown + 3 > most && (text[shown] & 0xC0) == 0x80)
            --shown;
        return '"' + printable(std::string_view(text).substr(0, shown)) +
               (text.size() > most ? "\"..." : "\"");
    }
    std::string operator()(double number) const {
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "%.9g", number);
        return text.data();
    }
};

void addJson(std::string& text, const sondex::Box& box) {
    text += "{\"type\":" + sondex::jsonText(box.type) + ",\"offset\":" + digits(box.offset) +
            ",\"size\":" + digits(box.size) + ",\"headerSize\":" + digits(box.headerSize);
    if (box.openEnded) text += ",\"openEnded\":true";
    const char* separator = ",\"fields\":{";
    for (const auto& field : box.fields) {
        text +=
            separator + sondex::jsonText(field.name) + ':' + std::visit(JsonValue(), field.value);
        separator = ",";
    }
    if (!box.fields.empty()) text += '}';
    separator = ",\"boxes\":[";
    for (const auto& child : box.children) {
        text += separator;
        addJson(text, child);
        separator = ",";
    }
    text += box.children.empty() ? "}" : "]}";
}

/// A line a box: offset, size, type indented by depth, fields.
void addLines(std::string& text, const sondex::Box& box, std::size_t depth) {
    const auto column = [&](const std::string& value, std::size_t width) {
        if (value.size() < width) text.append(width - value.size(), ' ');
        text += value;
    };
    column(digits(box.offset), 12);
    column(digits(box.size), 14);
    text.append(2 + 2 * depth, ' ') += printable(box.type);
    for (const auto& field : box.fields)
        text += "  " + field.name + '=' + std::visit(PlainValue(), field.value);
    text += '\n';
    for (const auto& child : box.children)
        addLines(text, child, depth + 1);
}

struct Wishes {
    std::vector<std::string> paths;
    bool json = false;
};

int run(const Wishes& wishes) {
    enterSandbox();
    int status = allWell;
    bool isFirst = true;
    for (const auto& path : wishes.paths) {
        const auto root = sondex::readBoxes(path);
        if (!root) {
            complain(path + ": " + root.error().message);
            status = someFailed;
            continue;
        }
        std::string text;
        if (wishes.json) {
            text = recordHead(path, {}) + ",\"boxes\":[";
            for (const auto& box : root->children) {
                if (&box != &root->children.front()) text += ',';
                addJson(text, box);
            }
            text += "]}\n";
        } else {
            text = (isFirst ? "" : "\n") + printable(path) + "\n      offset          size  type\n";
            for (const auto& box : root->children)
                addLines(text, box, 0);
            isFirst = false;
        }
        if (!print(text)) return stopped;
    }
    return status;
}

}  // namespace

Command boxesCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words =
        program.add_subcommand("boxes", "Show a movie's boxes: offset, size, type, fields.");
    words->add_option("file", wishes->paths, "Movies")->required()->type_name("FILE");
    words->add_flag("--json", wishes->json, "Print a JSON object a line");
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
