#include "kit/EachFile.h"

#include "kit/Command.h"
#include "kit/scan/Record.h"

namespace kit {

namespace {

std::string lineOf(const std::string& path, const sondex::Done& done) {
    std::string text = printable(path) + ": ";
    for (const std::string& sentence : done)
        text += (&sentence == &done.front() ? "" : ", ") + sentence;
    return text + (done.empty() ? "nothing to do\n" : "\n");
}

std::string jsonOf(const std::string& path, const sondex::Done& done) {
    std::string text = "{\"path\":" + sondex::jsonText(path) + ",\"done\":[";
    for (const std::string& sentence : done)
        text += (&sentence == &done.front() ? "" : ",") + sondex::jsonText(sentence);
    return text + "]}\n";
}

}  // namespace

int statusOf(const sondex::Error& error) {
    using sondex::ErrorCode;
    switch (error.code) {
        case ErrorCode::notFound:
        case ErrorCode::noPermission:
        case ErrorCode::ioFailed:
        case ErrorCode::outOfMemory:
            return someFailed;
        default:
            return refused;
    }
}

int report(std::string_view path, const sondex::Error& error) {
    complain(std::string(path) + ": " + error.message);
    return statusOf(error);
}

int editEach(const std::vector<std::string>& paths, bool json,
             const std::function<sondex::Result<sondex::Done>(const std::string&)>& edit) {
    int status = allWell;
    for (const std::string& path : paths) {
        const auto done = edit(path);
        if (!done) {
            status = report(path, done.error());
        } else if (!print(json ? jsonOf(path, *done) : lineOf(path, *done))) {
            return stopped;
        }
    }
    return status;
}

}  // namespace kit
