#include "ui/plot/Axis.h"

#include "ui/plot/LogarithmicValueMapping.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace
{

std::vector<std::string> textsOf(const Axis& axis)
{
    std::vector<std::string> texts;
    for (const AxisMarker& marker : axis.getCurrentMarkers())
        texts.push_back(marker.text.toStdString());
    return texts;
}

void expectNumbersApart(const Axis& axis)
{
    const std::vector<AxisMarker>& markers = axis.getCurrentMarkers();
    for (size_t i = 1; i < markers.size(); ++i)
        EXPECT_FALSE(
            axis.getNumberBounds(markers[i - 1]).intersects(axis.getNumberBounds(markers[i])))
            << axis.getWidth() << " x " << axis.getHeight() << ", at " << markers[i].text;
}

void makeFrequencyAxis(Axis& axis, double lowest, double highest)
{
    axis.setPlacement(AxisPlacement::bottom);
    axis.setValueMapping(std::make_shared<LogarithmicValueMapping>());
    axis.setValueRange({lowest, highest});
}

} // namespace

TEST(AnAxis, NeverLetsItsNumbersOverlap)
{
    const std::vector<juce::Range<double>> ranges = {{40.0, 2000.0}, {20.0, 24000.0}, {-100.0, 0.0},
                                                     {47.0, 53.0},   {0.0, 1e-3},     {0.0, 1e9}};
    for (const bool isLogarithmic : {false, true})
    {
        for (const juce::Range<double> range : ranges)
        {
            Axis axis;
            if (isLogarithmic)
                axis.setValueMapping(std::make_shared<LogarithmicValueMapping>());
            axis.setValueRange(range);
            for (int size = 0; size < 2000; size += 1 + size / 8)
            {
                axis.setPlacement(AxisPlacement::bottom);
                axis.setSize(size, 40);
                expectNumbersApart(axis);
                axis.setPlacement(AxisPlacement::left);
                axis.setSize(48, size);
                expectNumbersApart(axis);
            }
        }
    }
}

TEST(AnAxis, HasRoundNumbersWhereTheMappingPutsThem)
{
    Axis axis;
    makeFrequencyAxis(axis, 40.0, 2000.0);
    axis.setSize(632, 40);
    EXPECT_THAT(textsOf(axis), ::testing::ElementsAre("50", "100", "200", "500", "1k", "2k"));
    const std::vector<double> positions = axis.getCurrentMarkerPositions();
    ASSERT_EQ(positions.size(), 6U);
    EXPECT_NEAR(positions[1], std::log10(100.0 / 40.0) / std::log10(2000.0 / 40.0), 1e-12);
    EXPECT_DOUBLE_EQ(positions[5], 1.0);
    // The plot begins 16 pixels from the end of the axis.
    EXPECT_NEAR(axis.getNumberBounds(axis.getCurrentMarkers()[1]).getCentreX(),
                16.0 + positions[1] * 600.0, 0.5);
}

TEST(AnAxis, CountsLevelsUpwardsWithFewerNumbersWhenSmall)
{
    Axis axis;
    axis.setValueRange({-100.0, 0.0});
    axis.setSize(48, 208);
    EXPECT_THAT(axis.getCurrentMarkerPositions(),
                ::testing::Pointwise(::testing::DoubleNear(1e-12), {0.0, 0.2, 0.4, 0.6, 0.8, 1.0}));
    EXPECT_LT(axis.getNumberBounds(axis.getCurrentMarkers()[5]).getY(), 16.0F);
    axis.setSize(48, 96);
    EXPECT_THAT(axis.getCurrentMarkerPositions(),
                ::testing::Pointwise(::testing::DoubleNear(1e-12), {0.0, 0.5, 1.0}));
}

TEST(AnAxis, HasNumbersInLessThanADecadeToo)
{
    Axis axis;
    makeFrequencyAxis(axis, 61.0, 69.0);
    axis.setSize(400, 40);
    EXPECT_GE(axis.getCurrentMarkers().size(), 4U);
}

TEST(AnAxis, BearsRangesWithoutLogarithmOrSense)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    Axis axis;
    axis.setSize(400, 40);
    for (const juce::Range<double> range :
         {juce::Range<double>(0.0, 1000.0), {-5.0, -1.0}, {3.0, 3.0}, {0.0, infinity}})
    {
        makeFrequencyAxis(axis, range.getStart(), range.getEnd());
        for (const double position : axis.getCurrentMarkerPositions())
            EXPECT_TRUE(position >= 0.0 && position <= 1.0);
        expectNumbersApart(axis);
    }
}

TEST(ALogarithmicMapping, GivesFiniteResultsForEverything)
{
    const LogarithmicValueMapping mapping;
    EXPECT_DOUBLE_EQ(mapping.back(mapping.forward(50.0)), 50.0);
    for (const double value : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()})
    {
        EXPECT_TRUE(std::isfinite(mapping.forward(value))) << value;
        EXPECT_TRUE(std::isfinite(mapping.back(value))) << value;
        EXPECT_TRUE(std::isfinite(mapping.back(1e3 * value))) << value;
    }
}
