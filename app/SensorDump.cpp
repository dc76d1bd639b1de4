#include "app/SensorDump.h"

#include "support/Console.h"
#include "support/WideText.h"

namespace SensorDump {

BlockWriter::BlockWriter(WEKU::FileIO& file) : file(file) {
    text.reserve(blockSize + 1024);
}

bool BlockWriter::flush() {
    std::string_view rest = text;
    while (!failed && !rest.empty()) {
        const std::uint64_t n =
            file.write(reinterpret_cast<const unsigned char*>(rest.data()), rest.size());
        if (n == 0 || n == WEKU::FileIO::failed) {
            failed = true;
            WEKU::Console::warn("%s: writing failed, the file is incomplete",
                                WEKU::wchar::narrow(file.name()).c_str());
        } else {
            rest.remove_prefix(n);
        }
    }
    text.clear();
    return !failed;
}

}  // namespace SensorDump
