#include "sensor/Filters.h"

#include <gtest/gtest.h>

#include "sensor/FilterKernels.h"

TEST(Filters, KernelsAreWhatTheyShouldBe) {
    const auto check = [](const auto& taps, std::size_t count, double first, double centre,
                          auto filter, double total) {
        ASSERT_EQ(taps.size(), count);
        EXPECT_EQ(taps[0], first);
        EXPECT_EQ(taps[count / 2], centre);
        for (std::size_t i = 0; i < count; ++i)
            EXPECT_EQ(taps[i], taps[count - 1 - i]);
        std::vector<double> out;
        filter(std::vector<double>(3000, 1.0), out);
        ASSERT_EQ(out.size(), 3000U);
        for (const double value : out)
            ASSERT_NEAR(value, total, 1e-9);
    };
    check(kernelForAcc<double>::dFilterLL, 301, 0.000550534627094975, 0.00695370241241445,
          filterForAcc, 1.0001);
    check(kernelForTsunagi<double>::dFilterLL, 71, 0.000754820452491311, 0.0297464025277169,
          filterForGap, 1.0001);
    check(kernelForTsunagi30<double>::dFilterLL, 301, 0.00013606671733066276, 0.012941838186242888,
          filterForGap30, 0.99999);
}

TEST(Filters, ConvolveWithReplicatedEdges) {
    std::vector<double> out(3);
    covFilter<double>({}, {1, 2, 3}, out);
    EXPECT_TRUE(out.empty());
    covFilter<double>({1, 10, 100}, {1, 2, 3}, out);
    EXPECT_EQ(out, (std::vector<double>{33, 321, 510}));
}
