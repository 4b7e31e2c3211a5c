#include "kalim/report/SpectrumPlot.h"

#include "base/Text.h"
#include "kalim/report/PlotAxes.h"
#include "tests/audiofile/ScratchFolder.h"

#include <cmath>
#include <limits>

namespace kalim::test
{

using namespace program;

namespace
{

using ::testing::StartsWith;

constexpr double silence = -std::numeric_limits<double>::infinity();
constexpr PlotArea area{100, 0, 1100, 500};

SpectrumPlotData humAt(double fundamental, int harmonics, double sampleRate = 48000)
{
    SpectrumPlotData data{"title", "subtitle", sampleRate, 1, "before", "after", {}, {}, {}};
    data.before.assign(static_cast<std::size_t>(sampleRate / 2), -80);
    data.after = data.before;
    for (int number = 1; number <= harmonics; ++number)
        data.harmonics.push_back({number, number * fundamental, -30, -80});
    return data;
}

class SpectrumPlotTest : public ScratchFolder
{
protected:
    std::string drawn(const std::string& name, const SpectrumPlotData& data) const
    {
        OutputFile output(path(name), Existing::replace);
        drawSpectrumPlot(output, data);
        output.commit();
        return contentsOf(path(name));
    }
};

} // namespace

TEST_F(SpectrumPlotTest, DrawsWhateverTheDataHoldInTheKindThatTheNameAsksFor)
{
    auto data = humAt(50, 96);
    data.title = "broken \xff\xfe name \xe3\x81";
    data.before.assign(100, silence);
    data.after.assign(24000, std::numeric_limits<double>::quiet_NaN());
    data.harmonics[0].levelAfter = silence;
    EXPECT_THAT(drawn("a.PNG", data), StartsWith("\x89PNG"));
    EXPECT_THAT(drawn("b.svg", {"", "", 8000, 1, "", "", {}, {}, {}}), HasSubstr("<svg"));
}

TEST_F(SpectrumPlotTest, ShowsEveryHarmonicAndNothingBeyondHalfTheSampleRate)
{
    const FrequencyAxis usual(humAt(50, 4), area);
    EXPECT_EQ(usual.lowest(), 20);
    EXPECT_LT(FrequencyAxis(humAt(16.7, 4), area).lowest(), 10);
    EXPECT_GT(FrequencyAxis(humAt(60, 96), area).highest(), 60 * 96);
    EXPECT_EQ(FrequencyAxis(humAt(60, 96, 8000), area).highest(), 4000);
    EXPECT_EQ(usual.position(200), 600);
    EXPECT_EQ(usual.ticks().front().label, "20");
    EXPECT_EQ(usual.ticks().back().label, "2k");
}

TEST_F(SpectrumPlotTest, LevelsFollowTheVisibleData)
{
    auto data = humAt(50, 4);
    data.before[50] = -12;
    data.before[5] = 40;
    data.after[300] = silence;
    const LevelAxis axis(data, FrequencyAxis(data, area), area);
    EXPECT_EQ(axis.highest(), -10);
    EXPECT_EQ(axis.lowest(), -90);
    EXPECT_EQ(axis.position(silence), area.bottom);
    EXPECT_EQ(axis.ticks().front().label, "−90");
}

TEST(PlotCanvasTest, ReplacesOnlyWhatIsNoUtf8)
{
    EXPECT_EQ(validUtf8("Grüße 録音 🎧"), "Grüße 録音 🎧");
    EXPECT_EQ(validUtf8("a\xff\xc3"), "a\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(validUtf8("\xed\xa0\x80"), "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
}

} // namespace kalim::test
