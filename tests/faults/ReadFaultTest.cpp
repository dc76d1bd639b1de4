#include <gtest/gtest.h>

#include "app/MetaReader.h"
#include "tests/faults/Faults.h"
#include "tests/kit/Files.h"
#include "tests/kit/Program.h"
#include "tests/kit/TiffBuilder.h"

/// Whatever read fails, a file ends with its one result line, or with the banner when it cannot be
/// opened.
using namespace kit;
using faults::How;

TEST(ReadFault, EveryFileEndsWithItsOutcome) {
    const TempFolder folder;
    std::vector<std::wstring> paths = {folder.write("s.jpg", CameraTiff().jpeg()),
                                       folder.write("s.dng", CameraTiff().dng())};
    if (haveFfmpeg()) paths.push_back(folder.write("m.mp4", cameraMovie()));
    for (const std::wstring& path : paths) {
        const wchar_t* words[] = {L"Sondex", L"-dump", path.c_str()};
        long injected = 0;
        for (const How how : {How::errorOnce, How::errorThrice, How::errorForEver, How::shortOnce,
                              How::shortForEver}) {
            bool reached = true;
            for (long at = 1; reached && !HasFailure(); ++at) {
                SCOPED_TRACE("fault " + std::to_string(static_cast<int>(how)) + " at call " +
                             std::to_string(at));
                int status = 0;
                const std::string out = captureOutput([&] {
                    faults::arm(how, at);
                    status = MetaReader::process(3, words);
                    const faults::Record record = faults::disarm();
                    reached = record.calls >= at;
                    injected += record.faults > 0;
                });
                EXPECT_EQ(resultLine(out).empty(), status == 1) << out;
                EXPECT_EQ(out.find("usage: ") != std::string::npos, status == 1) << out;
            }
        }
        std::printf("%ls: %ld faults\n", path.c_str(), injected);
    }
}
