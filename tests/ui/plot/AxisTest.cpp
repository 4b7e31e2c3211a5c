#include "ui/plot/Axis.h"

#include "ui/plot/LogarithmicValueMapping.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <utility>

namespace
{

void expectSensibleNumbers(const Axis& axis)
{
    juce::Rectangle<float> previous;
    for (const AxisMarker& marker : axis.getCurrentMarkers())
    {
        const juce::Rectangle<float> bounds = axis.getNumberBounds(marker);
        EXPECT_FALSE(bounds.intersects(std::exchange(previous, bounds)))
            << axis.getWidth() << " x " << axis.getHeight() << ", at " << marker.text;
        EXPECT_TRUE(marker.position >= 0.0 && marker.position <= 1.0) << marker.text;
    }
}

void makeFrequencyAxis(Axis& axis, double lowest, double highest)
{
    axis.setPlacement(AxisPlacement::bottom);
    axis.setValueMapping(std::make_shared<LogarithmicValueMapping>());
    axis.setValueRange({lowest, highest});
}

} // namespace

TEST(AnAxis, NeverLetsItsNumbersOverlapWhateverTheRange)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<juce::Range<double>> ranges = {
        {40.0, 2000.0}, {20.0, 24000.0}, {-100.0, 0.0}, {47.0, 53.0}, {0.0, 1e-3},
        {0.0, 1e9},     {0.0, 1000.0},   {-5.0, -1.0},  {3.0, 3.0},   {0.0, infinity}};
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
                expectSensibleNumbers(axis);
                axis.setPlacement(AxisPlacement::left);
                axis.setSize(48, size);
                expectSensibleNumbers(axis);
            }
        }
    }
}

TEST(AnAxis, HasRoundNumbersWhereTheMappingPutsThemInLessThanADecadeToo)
{
    Axis axis;
    makeFrequencyAxis(axis, 40.0, 2000.0);
    axis.setSize(632, 40);
    juce::String texts;
    for (const AxisMarker& marker : axis.getCurrentMarkers())
        texts << marker.text << " ";
    EXPECT_EQ(texts, "50 100 200 500 1k 2k ");
    const std::vector<double> positions = axis.getCurrentMarkerPositions();
    ASSERT_EQ(positions.size(), 6U);
    EXPECT_NEAR(positions[1], std::log10(100.0 / 40.0) / std::log10(2000.0 / 40.0), 1e-12);
    EXPECT_DOUBLE_EQ(positions[5], 1.0);
    // The plot begins 16 pixels from the end of the axis.
    EXPECT_NEAR(axis.getNumberBounds(axis.getCurrentMarkers()[1]).getCentreX(),
                16.0 + positions[1] * 600.0, 0.5);
    makeFrequencyAxis(axis, 61.0, 69.0);
    axis.setSize(400, 40);
    EXPECT_GE(axis.getCurrentMarkers().size(), 4U);
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
