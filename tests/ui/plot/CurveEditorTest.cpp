#include "tests/ui/OpenEditor.h"
#include "ui/plot/PlotColours.h"

#include <cmath>

using namespace kalim::ui;

namespace
{

constexpr int width = 600;
constexpr int height = 176;

/// The editor's plot with the fundamental at 50 Hz.
class ThePlot : public OpenEditor
{
protected:
    ThePlot()
    {
        editor->setSize(width + 80, height + 248);
        editor->timerCallback();
    }

    static float toX(double hz) { return static_cast<float>(width * positionOf(hz)); }

    juce::MouseEvent mouseAt(float x, float y = 20.0F)
    {
        return makeMouseEvent(curves, {x, y}, {pressed, 20.0F});
    }

    void press(float x) { curves.mouseDown(mouseAt(pressed = x)); }

    float dragTo(float x)
    {
        curves.mouseDrag(mouseAt(x, 170.0F));
        return getFundamental();
    }

    /// In Hz, when all that was posted before is delivered, however long that takes.
    float getFundamental()
    {
        bool isDelivered = false;
        juce::MessageManager::callAsync([&] { isDelivered = true; });
        while (!isDelivered)
            juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
        editor->timerCallback();
        return valueOf(Kalimmer::FundamentalFrequency);
    }

    CurveEditor& curves = find<CurveEditor>("spectrumCurveEditor");
    float pressed = 0.0F;
};

struct ACurveEditor : ::testing::Test
{
    ACurveEditor()
    {
        curves.setSize(width, height);
        curves.setVisible(true);
    }

    juce::Image draw(float scale = 1.0F)
    {
        return curves.createComponentSnapshot(curves.getLocalBounds(), true, scale);
    }

    CurveEditor curves;
};

} // namespace

TEST_F(ThePlot, TellsTheFrequenciesOfItsHandleAndOfTheMarkerUnderTheMouse)
{
    setValue(Kalimmer::NumberOfHarmonics, 6.0F);
    plugIn.prepareToPlay(48000.0, 512);
    editor->timerCallback();
    // What is written beside the place of a frequency, in the row of handles or of markers.
    const auto countBright = [&](double hz, int row)
    {
        editor->timerCallback();
        const juce::Rectangle<int> area(juce::roundToInt(toX(hz)) + 14, 18 * row, 50, 16);
        const juce::Image picture = curves.createComponentSnapshot(area);
        int numBright = 0;
        for (int y = 0; y < picture.getHeight(); ++y)
            for (int x = 0; x < picture.getWidth(); ++x)
                numBright += picture.getPixelAt(x, y).getPerceivedBrightness() > 0.4F ? 1 : 0;
        return numBright;
    };
    const auto isWritten = [&](double hz, int row) { return countBright(hz, row) > 60; };
    EXPECT_TRUE(isWritten(50.0, 0));
    EXPECT_FALSE(isWritten(100.0, 1));
    curves.mouseMove(mouseAt(toX(100.0) + 5.0F, 120.0F));
    EXPECT_TRUE(isWritten(100.0, 1));
    curves.mouseMove(mouseAt(toX(150.0) - 5.0F, 120.0F));
    EXPECT_TRUE(isWritten(150.0, 1));
    EXPECT_FALSE(isWritten(100.0, 1));
    curves.mouseExit(mouseAt(0.0F));
    EXPECT_FALSE(isWritten(150.0, 1));
    EXPECT_EQ(curves.getCursorInfo({curves.getHandle(0)->x, 1.0F}), "50.00 Hz");
}

TEST_F(ThePlot, LetsTheFundamentalBeDraggedWithinItsRangeInOneStepToUndo)
{
    // Off the triangle but within easy reach, and right on a marker's line.
    press(toX(50.0) + 6.0F);
    for (const auto& [x, expected] :
         {std::pair{toX(61.0), 61.0F}, {toX(47.0), 47.0F}, {1200.0F, 500.0F}, {-900.0F, 40.0F}})
        EXPECT_NEAR(dragTo(x + 6.0F), expected, 0.051F); // in steps of 0.1 Hz
    EXPECT_EQ(curves.getHandle(0)->y, 1.0F);
    EXPECT_NEAR(curves.getHandle(0)->x, 0.0F, 1e-6F);
    curves.mouseUp(mouseAt(-900.0F));
    getFundamental();
    EXPECT_TRUE(told.startsWith("(0v0") && told.endsWith("v0)0")) << told;
    plugIn.undo();
    EXPECT_EQ(getFundamental(), 50.0F);
    EXPECT_FALSE(plugIn.canUndo());
}

TEST_F(ThePlot, EndsADragWhoseHandleIsGoneAndStartsNoneOnAMereClickNorOnAMarker)
{
    for (const auto& [from, to] : {std::pair{50.0, 50.0}, {100.0, 150.0}})
    {
        press(toX(from));
        curves.mouseDrag(mouseAt(toX(to)));
        curves.mouseUp(mouseAt(toX(to)));
        EXPECT_EQ(getFundamental(), 50.0F);
    }
    EXPECT_EQ(told, "");
    EXPECT_FALSE(plugIn.canUndo());

    press(toX(50.0));
    dragTo(toX(60.0));
    curves.clearHandles();
    curves.mouseDrag(mouseAt(toX(70.0)));
    curves.mouseUp(mouseAt(toX(70.0)));
    EXPECT_EQ(curves.getHandle(0), nullptr);
    EXPECT_NEAR(getFundamental(), 60.0F, 0.051F);
    EXPECT_EQ(told, "(0v0)0");
}

TEST_F(ThePlot, MovesTheFundamentalWithTheArrowKeysThoughItIsRounded)
{
    EXPECT_TRUE(curves.keyPressed(juce::KeyPress(juce::KeyPress::rightKey)));
    EXPECT_FALSE(curves.keyPressed(juce::KeyPress('a')));
    EXPECT_NEAR(getFundamental(), 50.0 * std::pow(50.0, 1.0 / 500.0), 0.051);
    for (int i = 0; i < 20; ++i)
    {
        curves.keyPressed({juce::KeyPress::leftKey, juce::ModifierKeys::shiftModifier, 0});
        getFundamental();
    }
    EXPECT_NEAR(getFundamental(), 50.0 * std::pow(50.0, -1.0 / 500.0), 0.051);
}

TEST_F(ACurveEditor, LeavesOutWhatIsNotFinite)
{
    Curve curve({{0.0F, 0.5F}, {0.5F, 0.25F}, {1.0F, 0.5F}}, juce::Colours::grey,
                juce::Colours::white, 1.5F);
    curves.setCurve(0, curve);
    const juce::Image expected = draw();
    curve.points.insert(curve.points.begin() + 1, {{0.2F, NAN}, {NAN, 0.3F}, {0.3F, -INFINITY}});
    curves.setCurve(0, curve);
    int index = 0;
    for (const int shape : {CurveHandle::marker, CurveHandle::ellipse, CurveHandle::triangle})
        for (const auto& [x, y] : {std::pair{NAN, 1.0F}, {0.5F, INFINITY}, {1.5F, 0.5F}})
            curves.setHandle(index++, {x, y, 20.0F, shape});
    const juce::Image drawn = draw();
    for (int y = 0; y < height; y += 3)
        for (int x = 0; x < width; ++x)
            ASSERT_EQ(drawn.getPixelAt(x, y), expected.getPixelAt(x, y)) << x << ", " << y;
}

TEST_F(ACurveEditor, DrawsLinesOfTheirThicknessAtAnySlope)
{
    for (const int id : {PlotColours::backgroundId, PlotColours::outlineId})
        curves.setColour(id, juce::Colours::black);
    for (const float end : {0.5F, 0.55F, 0.7F, 1.0F})
    {
        curves.setCurve(0, Curve({{0.5F, 0.1F}, {end, 0.9F}}, {}, juce::Colours::white, 4.0F));
        const juce::Image drawn = draw();
        double light = 0.0;
        for (int pixel = 0; pixel < width * height; ++pixel)
            light += drawn.getPixelAt(pixel % width, pixel / width).getFloatRed();
        const double length = std::hypot((end - 0.5F) * width, 0.8 * height);
        // The pen is an octagon, a twelfth wider over its corners than a circle, and has two ends.
        EXPECT_NEAR(light, 4.0 * length, 4.0 * length * 0.09 + 16.0) << end;
    }
}

TEST_F(ACurveEditor, TellsMarkersApartWithoutColour)
{
    for (const bool isDashed : {false, true})
    {
        curves.setHandle(0, {.x = 0.25F, .y = 1.0F, .size = 20.0F, .isDashed = isDashed});
        const juce::Image drawn = draw(2.0F);
        int changes = 0;
        for (int y = 40; y < 2 * height - 8; ++y)
            changes += drawn.getPixelAt(300, y) != drawn.getPixelAt(300, y - 1) ? 1 : 0;
        EXPECT_EQ(changes > 0, isDashed) << changes;
    }
}
