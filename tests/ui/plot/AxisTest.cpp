#include "ui/plot/Axis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

using namespace kalim::ui;

namespace
{

/// Between the ends of the axis, without overlapping.
void expectSensibleNumbers(Axis& axis, AxisPlacement placement, int width, int height)
{
    axis.setPlacement(placement);
    axis.setSize(width, height);
    juce::Rectangle<float> previous;
    for (const AxisMarker& marker : axis.getCurrentMarkers())
    {
        const juce::Rectangle<float> bounds = axis.getNumberBounds(marker);
        EXPECT_FALSE(bounds.intersects(std::exchange(previous, bounds))) << width << "x" << height;
        EXPECT_EQ(marker.position, juce::jlimit(0.0, 1.0, marker.position)) << marker.text;
    }
}

} // namespace

TEST(AnAxis, NeverLetsItsNumbersOverlapWhateverTheRange)
{
    const std::pair<double, double> ranges[] = {{40.0, 2000.0}, {20.0, 24000.0}, {-100.0, 0.0},
                                                {47.0, 53.0},   {0.0, 1e-3},     {0.0, 1e9},
                                                {-5.0, -1.0},   {3.0, 3.0},      {0.0, HUGE_VAL}};
    for (const bool isLogarithmic : {false, true})
        for (const auto& [start, end] : ranges)
        {
            Axis axis;
            if (isLogarithmic)
                axis.setValueMapping(std::make_shared<LogarithmicValueMapping>());
            axis.setValueRange({start, end});
            for (int size = 0; size < 2000; size += 1 + size / 8)
            {
                expectSensibleNumbers(axis, AxisPlacement::bottom, size, 40);
                expectSensibleNumbers(axis, AxisPlacement::left, 48, size);
            }
        }
}

TEST(AnAxis, HasRoundNumbersWhereTheMappingPutsThemInLessThanADecadeToo)
{
    Axis axis;
    axis.setPlacement(AxisPlacement::bottom);
    axis.setValueMapping(std::make_shared<LogarithmicValueMapping>());
    axis.setValueRange({40.0, 2000.0});
    axis.setSize(632, 40);
    juce::String texts;
    for (const AxisMarker& marker : axis.getCurrentMarkers())
    {
        const double value = marker.text.replace("k", "000").getDoubleValue();
        EXPECT_NEAR(marker.position, std::log(value / 40.0) / std::log(50.0), 1e-12);
        // The plot begins 16 pixels from the end of the axis.
        EXPECT_NEAR(axis.getNumberBounds(marker).getCentreX(), 16.0 + marker.position * 600.0, 0.5);
        texts << marker.text << " ";
    }
    EXPECT_EQ(texts, "50 100 200 500 1k 2k ");
    axis.setValueRange({61.0, 69.0});
    EXPECT_GE(axis.getCurrentMarkers().size(), 4U);
}

TEST(AnAxis, CountsLevelsUpwardsWithFewerNumbersWhenSmall)
{
    Axis axis;
    axis.setValueRange({-100.0, 0.0});
    for (const auto& [height, step] : {std::pair{208, 0.2}, {96, 0.5}})
    {
        axis.setSize(48, height);
        double position = -step;
        for (const AxisMarker& marker : axis.getCurrentMarkers())
            EXPECT_NEAR(marker.position, position += step, 1e-12);
        EXPECT_NEAR(position, 1.0, 1e-12);
        EXPECT_LT(axis.getNumberBounds(axis.getCurrentMarkers().back()).getY(), 16.0F);
    }
}
