#include "kalim/report/Report.h"

#include "base/Text.h"
#include "kalim/report/HumText.h"
#include "kalim/report/PlotAxes.h"
#include "kalim/report/ProgressBar.h"
#include "kalim/report/Spectrogram.h"
#include "kalim/report/SpectrumPlot.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/support/TestSignals.h"

#include <fmt/format.h>

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

/// A tone of 1 kHz at -20 dBFS from the second to the third quarter of a silent recording.
std::vector<float> makeToneBetween(double sampleRate, double length)
{
    const auto tone = testing_support::makeTone(1000.0, 0.1, sampleRate, length);
    const auto quarter = static_cast<std::size_t>(tone.getNumSamples()) / 4;
    std::vector<float> samples(4 * quarter);
    std::copy_n(tone.getReadChannelPtr(0) + quarter, 2 * quarter,
                samples.begin() + static_cast<std::ptrdiff_t>(quarter));
    return samples;
}

/// Where the tone is heard, in seconds from its start and to its end.
std::pair<double, double> findTone(const Spectrogram& spectrogram)
{
    std::pair found(-1.0, -1.0);
    const auto bin = static_cast<std::size_t>(std::lround(1000.0 / spectrogram.getBinSpacing()));
    const auto columns = spectrogram.getLevels();
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (columns[i].at(bin) > -40.0F)
        {
            const double time = static_cast<double>(i) * spectrogram.getSecondsPerColumn();
            found.first = found.first < 0.0 ? time : found.first;
            found.second = time + spectrogram.getSecondsPerColumn();
        }
    return found;
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

TEST(SpectrogramTest, ShowsWhenAndHowLoudItWasInFewColumnsHoweverLongItIs)
{
    for (const double length : {0.0, 0.01, 12.0, 1000.0})
        for (const std::size_t piece : {std::size_t{1000}, std::size_t{1000000}})
        {
            const std::vector<float> samples = makeToneBetween(8000.0, length);
            Spectrogram spectrogram(1, 8000);
            for (std::size_t start = 0; start < samples.size(); start += piece)
                spectrogram.add(
                    std::span(samples).subspan(start, std::min(piece, samples.size() - start)));
            spectrogram.finish();
            const auto columns = spectrogram.getLevels();
            const double spacing = spectrogram.getSecondsPerColumn();
            EXPECT_LE(columns.size(), 800U);
            EXPECT_GE(static_cast<double>(columns.size()) * spacing, length);
            EXPECT_LT(static_cast<double>(columns.size()) * spacing, length + spacing);
            if (length < 1.0)
                continue;
            EXPECT_NEAR(findTone(spectrogram).first, length / 4, 1.5 * spacing);
            EXPECT_NEAR(findTone(spectrogram).second, 0.75 * length, 1.5 * spacing);
            EXPECT_NEAR(*std::ranges::max_element(columns[columns.size() / 2]), -20.0, 0.1);
            EXPECT_THAT(columns[columns.size() / 8], Each(Spectrogram::lowestLevel));
        }
    const std::vector<float> left{0.5F, 0.0F, -0.5F, 0.0F}; // 500 Hz at 1 kHz, twice as loud
    Spectrogram stereo(2, 1000);
    for (int i = 0; i < 1000; ++i)
        stereo.add(left);
    EXPECT_NEAR(stereo.getLevels()[5].back(), -6.0 + 6.0 - 3.0, 0.1);
}

TEST(FundamentalCourseTest, KeepsGapsAndMeansInFewColumns)
{
    FundamentalCourse course;
    for (int i = 0; i < 36000; ++i)
        if (i < 10000 || i >= 20000)
            course.add(i, i < 10000 ? 50.0 : 59.0 + i % 2 * 2.0);
    const auto frequencies = course.getFrequencies();
    const auto at = [&](double time)
    { return frequencies.at(static_cast<std::size_t>(time / course.getSecondsPerColumn())); };
    EXPECT_LE(frequencies.size(), 800U);
    EXPECT_EQ(at(5000), 50.0);
    EXPECT_EQ(at(15000), 0.0);
    EXPECT_NEAR(at(30000), 60.0, 1e-9);
    EXPECT_EQ(at(35999), at(30000));
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

TEST_F(SpectrumPlotTest, DrawsWhateverThereIsOverTime)
{
    const std::vector<float> few{-30.0F, Spectrogram::lowestLevel};
    const std::vector<float> silent(3, Spectrogram::lowestLevel);
    std::vector<SpectrogramData> cases{
        {3, 30, 1, 700, {few, few, few}, {}, 40, {50}, "x"},
        {0, 21, 30, 2, {silent}, {silent}, 30, {}, ""},
        {0, 1e7, 1e6, 2000, {few}, {few}, 1e6, {0, 50, 51, 0, 50000}, "x", 5000}};
    for (const SpectrogramData& overTime : cases)
    {
        auto data = humAt(50, 3);
        data.overTime = overTime;
        OutputFile file(path(fmt::format("{}.svg", overTime.start + overTime.end)), Existing::keep);
        drawSpectrumPlot(file, data);
        const std::string picture = contentsOf(file.getTemporaryPath());
        EXPECT_NE(picture.find("data:image/png"), std::string::npos);
        EXPECT_EQ(picture.find("nan"), std::string::npos);
    }
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

TEST(PlotAxesTest, HaveRoomForTheirLabels)
{
    for (const double start : {0.0, 7.3, 5000.0})
        for (const double length : {20.01, 61.0, 3599.0, 36000.0, 1e7})
        {
            const TimeAxis axis(start, start + length, area);
            const auto ticks = axis.getTicks();
            EXPECT_THAT(ticks, SizeIs(AllOf(Ge(5U), Le(14U))));
            EXPECT_GE(axis.getPosition(ticks.front().value), area.left);
            EXPECT_LE(axis.getPosition(ticks.back().value), area.right);
        }
    EXPECT_EQ(TimeAxis(3599, 3620, area).getTicks()[1].label, "1:00:02");
    for (const double highest : {300.0, 651.0, 2000.0})
        EXPECT_THAT(LinearFrequencyAxis(highest, area).getTicks(), SizeIs(AllOf(Ge(4U), Le(7U))));
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

TEST(HumTextTest, NamesTheFirstFewChanges)
{
    std::vector<double> times{0.04, 3.25, 59.96};
    EXPECT_EQ(changesToText(times), "0.0 s, 3.2 s, 60.0 s");
    times.resize(8, 100.0);
    EXPECT_THAT(changesToText(times), EndsWith("100.0 s, 100.0 s"));
    times.resize(10000, 100.0);
    EXPECT_THAT(changesToText(times), EndsWith("100.0 s, 100.0 s and 9992 more"));
}

} // namespace kalim::test
