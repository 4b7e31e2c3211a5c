#include "tools/kalim/report/ProgressBar.h"

#include "tests/tools/kalim/files/ScratchFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <thread>

namespace kalim::program
{

using std::chrono::seconds;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class ProgressBarTest : public test::ScratchFolder
{
};

TEST_F(ProgressBarTest, WritesNothingWhereThereIsNoTerminal)
{
    auto* file = std::fopen(path("log").c_str(), "w");
    {
        ProgressBar bar(file);
        std::this_thread::sleep_for(std::chrono::milliseconds(120));
        bar.update(0.5);
    }
    std::fclose(file);
    EXPECT_EQ(contentsOf(path("log")), "");
}

TEST_F(ProgressBarTest, TellsShareAndTimeLeft)
{
    EXPECT_THAT(progressLine(0.25, seconds(30), 80), StartsWith(" 25 % [##########---"));
    EXPECT_THAT(progressLine(0.25, seconds(30), 80), EndsWith("1:30 left"));
    EXPECT_THAT(progressLine(0.5, seconds(4000), 80), HasSubstr("1:06:40"));
    EXPECT_THAT(progressLine(0.999, seconds(0), 80), StartsWith(" 99 %"));
    EXPECT_THAT(progressLine(std::numeric_limits<double>::quiet_NaN(), seconds(1), 80),
                StartsWith("  0 %"));
}

TEST_F(ProgressBarTest, FitsTheTerminal)
{
    for (int width = 1; width < 100; ++width)
        EXPECT_LT(progressLine(0.5, seconds(4000), width).size(), static_cast<std::size_t>(width));
}

} // namespace kalim::program
