#include "kit/OutputFile.h"

#include <sys/stat.h>

namespace kit {
namespace {

bool isStream(const std::string& path) {
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode);
}

}  // namespace

OutputFile::OutputFile(const std::string& path, bool overwrite) : path(path) {
    if (path == "-" || isStream(path)) {
        stream = std::make_unique<Output>(path == "-" ? "" : path, Output::Existing::refuse);
        return;
    }
    auto made = sondex::NewFile::make(path, overwrite);
    if (made) {
        file = std::move(*made);
        return;
    }
    const std::string message = path + ": " + made.error().message;
    if (made.error().code != sondex::ErrorCode::refused) throw OutputFailure(message);
    throw OutputRefused(message + (overwrite ? "" : "; --overwrite replaces it"));
}

void OutputFile::check(const sondex::Status& status) const {
    if (!status) throw OutputFailure(path + ": " + status.error().message);
}

void OutputFile::append(std::string_view bytes) {
    if (stream) {
        stream->append(bytes);
    } else {
        check(file->append(bytes));
    }
}

void OutputFile::flush() {
    if (stream) stream->flush();
}

void OutputFile::finish() {
    if (file) check(file->finish());
}

}  // namespace kit
