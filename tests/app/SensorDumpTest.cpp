#include "app/SensorDump.h"

#include <gtest/gtest.h>

#include <cmath>

#include "sensor/SensorRecords.h"
#include "tests/kit/Files.h"

using namespace SensorRecords;

namespace {

template <class T, class Formatter = SensorDump::NoMembers>
std::string dumped(const std::vector<T>& samples, Formatter formatter = {}) {
    const kit::TempFolder folder;
    const std::wstring path = folder.write("out.json", std::string(100, 'x'));
    EXPECT_TRUE(SensorDump::dumpXYZT<T>(samples, path, formatter));
    return kit::readFile(path);
}

}  // namespace

TEST(SensorDump, WritesOneObjectALine) {
    EXPECT_EQ(dumped<Gyro>({}), "[");
    EXPECT_EQ(dumped<Ecompass>({{0.5F, 1e-7F, NAN, UINT64_MAX}}),
              "[{\"x\":0.5,\"y\":1e-07,\"z\":nan,\"timestamp\":18446744073709551615}]\n");
    const std::vector<float> yaw = {-0.25F};
    const std::vector<TopBottomCorrection> two = {{1, -32768, 3, 4}, {0, 0, 0, 9}};
    EXPECT_EQ(dumped(two, SensorDump::YawMember{yaw}),
              "[{\"x\":1,\"y\":-32768,\"z\":3,\"yaw\":-0.25,\"timestamp\":4},\n"
              "{\"x\":0,\"y\":0,\"z\":0,\"timestamp\":9}]\n");
    // More than one block: nothing is lost at the seams.
    std::string many;
    for (int i = 0; i < 30000; ++i)
        many += "{\"x\":1,\"y\":2,\"z\":3,\"timestamp\":4},\n";
    many.replace(many.size() - 2, 1, "]");
    EXPECT_TRUE(dumped(std::vector<Gyro>(30000, {1, 2, 3, 4})) == "[" + many);

    testing::internal::CaptureStderr();
    EXPECT_TRUE(SensorDump::dumpXYZT<Gyro>(std::vector<Gyro>(30000), L"/dev/full"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Sondex: /dev/full: writing failed, the file is incomplete\n");
}
