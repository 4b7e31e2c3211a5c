#include "kalim/report/ProgressBar.h"

#include <gmock/gmock.h>

#include <limits>
#include <thread>

namespace kalim::test
{

using namespace program;

using std::chrono::seconds;
using ::testing::EndsWith;
using ::testing::StartsWith;

TEST(ProgressBarTest, WritesNothingWhereThereIsNoTerminal)
{
    auto* file = std::tmpfile();
    {
        ProgressBar bar(file);
        std::this_thread::sleep_for(std::chrono::milliseconds(120));
        bar.update(0.5);
    }
    EXPECT_EQ(std::ftell(file), 0);
    std::fclose(file);
}

TEST(ProgressBarTest, TellsShareAndTimeLeftWithinTheTerminal)
{
    EXPECT_THAT(progressLine(0.25, seconds(30), 80), StartsWith(" 25 % [##########---"));
    EXPECT_THAT(progressLine(0.25, seconds(30), 80), EndsWith(" 1:30 left"));
    EXPECT_THAT(progressLine(0.5, seconds(4000), 80), EndsWith(" 1:06:40 left"));
    EXPECT_THAT(progressLine(0.999, seconds(0), 80), StartsWith(" 99 %"));
    EXPECT_THAT(progressLine(std::numeric_limits<double>::quiet_NaN(), seconds(1), 80),
                StartsWith("  0 %"));
    for (int width = 1; width < 100; ++width)
        EXPECT_LT(progressLine(0.5, seconds(4000), width).size(), static_cast<std::size_t>(width));
}

} // namespace kalim::test
