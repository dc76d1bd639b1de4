#include "sensor/Filters.h"

#include <gtest/gtest.h>

TEST(Filters, ConvolveWithReplicatedEdges) {
    std::vector<double> out(3);
    covFilter<double>({}, {1, 2, 3}, out);
    EXPECT_TRUE(out.empty());
    covFilter<double>({1, 10, 100}, {1, 2, 3}, out);
    EXPECT_EQ(out, (std::vector<double>{33, 321, 510}));
    // The kernels' gains.
    const std::pair<void (*)(const std::vector<double>&, std::vector<double>&), double> filters[] =
        {{filterForAcc, 1.0001}, {filterForGap, 1.0001}, {filterForGap30, 0.99999}};
    for (const auto& [filter, gain] : filters) {
        filter(std::vector<double>(3000, 1.0), out);
        EXPECT_NEAR(out[1500], gain, 1e-9);
    }
}
