#include "kalim/report/Report.h"

#include "base/Text.h"
#include "kalim/report/PlotAxes.h"
#include "kalim/report/ProgressBar.h"
#include "kalim/report/SpectrumPlot.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/support/TestSignals.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace kalim::test
{
namespace
{

using namespace program;
using namespace ::testing;
using std::chrono::seconds;

constexpr double silence = SpectrumMeter::silence;
constexpr PlotArea area{100, 0, 1100, 500};

/// Feeds interleaved stereo in pieces.
std::vector<double> levelsOf(const std::vector<float>& stereo, std::size_t piece)
{
    SpectrumMeter meter(2, 48000, static_cast<std::int64_t>(stereo.size() / 2));
    for (std::size_t start = 0; start < stereo.size(); start += piece)
        meter.add(std::span(stereo).subspan(start, std::min(piece, stereo.size() - start)));
    meter.finish();
    return meter.getLevels();
}

SpectrumPlotData humAt(double fundamental, int harmonics, double sampleRate = 48000)
{
    const std::vector<double> flat(static_cast<std::size_t>(sampleRate / 2), -80);
    SpectrumPlotData data{"title", "subtitle", sampleRate, 1, "before", "after", flat, flat, {}};
    for (int number = 1; number <= harmonics; ++number)
        data.harmonics.push_back({number, number * fundamental, -30, -80});
    return data;
}

using SpectrumPlotTest = ScratchFolder;

} // namespace

TEST(SpectrumMeterTest, ShowsSilenceAndASineAtItsLevelHoweverLongItIsAndHoweverItArrives)
{
    for (const double length : {0.05, 0.5, 3.0, 10.0})
    {
        const auto tone = testing_support::makeTone(1000.0, 0.1, 48000.0, length);
        std::vector<float> stereo;
        for (int n = 0; n < tone.getNumSamples(); ++n)
            stereo.insert(stereo.end(), 2, tone.getReadChannelPtr(0)[n]);
        EXPECT_THAT(levelsOf(std::vector<float>(stereo.size(), 1.0e-12F), 100), Each(silence));
        for (const std::size_t piece : {std::size_t{2}, std::size_t{4098}, stereo.size()})
        {
            const auto levels = levelsOf(stereo, piece);
            const double binsPerHz = static_cast<double>(levels.size() - 1) / 24000.0;
            // Between two bins a line shows lower; all but the last length are below a segment.
            EXPECT_NEAR(levels.at(std::size_t(std::lround(1000.0 * binsPerHz))), -20.0, 0.5);
            EXPECT_LT(levels.at(std::size_t(900.0 * binsPerHz)), length < 10.0 ? -20.0 : -100.0);
        }
    }
}

TEST_F(SpectrumPlotTest, DrawsWhateverTheDataHoldInTheKindThatTheNameAsksFor)
{
    EXPECT_EQ(validUtf8("Grüße 録音 🎧 a\xff\xc3, \xed\xa0\x80"), "Grüße 録音 🎧 a��, ���");
    auto data = humAt(50, 96);
    data.title = "broken \xff\xfe name \xe3\x81";
    data.before.assign(100, silence);
    data.after.assign(24000, std::nan(""));
    data.harmonics[0].after = silence;
    OutputFile png(path("a.PNG"), Existing::keep);
    drawSpectrumPlot(png, data);
    EXPECT_THAT(contentsOf(png.getTemporaryPath()), StartsWith("\x89PNG"));
    OutputFile svg(path("b.svg"), Existing::keep);
    drawSpectrumPlot(svg, {"", "", 8000, 1, "", "", {}, {}, {}});
    EXPECT_THAT(contentsOf(svg.getTemporaryPath()), HasSubstr("<svg"));
}

TEST(PlotAxesTest, ShowEveryHarmonicBelowHalfTheSampleRateAndTheLevelsInSight)
{
    const FrequencyAxis usual(humAt(50, 4), area);
    EXPECT_LT(FrequencyAxis(humAt(16.7, 4), area).getLowest(), 10);
    EXPECT_GT(FrequencyAxis(humAt(60, 96), area).getHighest(), 60 * 96);
    EXPECT_EQ(FrequencyAxis(humAt(60, 96, 8000), area).getHighest(), 4000);
    EXPECT_EQ(usual.getPosition(200), 600);
    EXPECT_EQ(usual.getTicks().front().label + usual.getTicks().back().label, "202k");

    auto data = humAt(50, 4);
    data.before[50] = -12;
    data.before[5] = 40;
    data.after[300] = silence;
    const LevelAxis axis(data, usual, area);
    EXPECT_EQ(axis.getPosition(silence), area.bottom);
    EXPECT_EQ(axis.getTicks().front().label + axis.getTicks().back().label, "−90−10");
}

TEST(ProgressBarTest, TellsShareAndTimeLeftWithinTheTerminal)
{
    EXPECT_THAT(progressLine(0.25, seconds(30), 80),
                MatchesRegex(" 25 % .##########-.* 1:30 left"));
    EXPECT_THAT(progressLine(0.5, seconds(4000), 80), EndsWith(" 1:06:40 left"));
    EXPECT_THAT(progressLine(std::nan(""), seconds(1), 80), StartsWith("  0 %"));
    for (int width = 1; width < 100; ++width)
        EXPECT_LT(progressLine(0.5, seconds(4000), width).size(), static_cast<std::size_t>(width));
}

TEST(ReportTest, ListsPresetsBelowTheirFolders)
{
    using enum PresetOrigin;
    EXPECT_EQ(presetsToText({{user, "", "A", ""}, {user, "B", "x", ""}, {user, "B", "y", ""}},
                            {"/f", "/u"}),
              "Factory presets in /f\n  none\nUser presets in /u\n  A\n  B/\n    x\n    y\n");
}

} // namespace kalim::test
