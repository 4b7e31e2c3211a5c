#include "tests/ui/OpenEditor.h"
#include "ui/plot/PlotColours.h"

#include <cmath>
#include <limits>

using namespace kalim::ui;

namespace
{

using Handle = CurveEditor::Handle;

constexpr int width = 600;
constexpr int height = 176;

/// The editor's plot with the fundamental at 50 Hz.
class ThePlot : public OpenEditor
{
protected:
    ThePlot()
    {
        editor->setSize(680, 424);
        plugIn.prepareToPlay(48000.0, 512);
        editor->timerCallback();
        EXPECT_EQ(curves.getBounds(), juce::Rectangle<int>(56, 64, width, height));
    }

    static float toX(double hz) { return static_cast<float>(width * positionOf(hz)); }

    juce::MouseEvent mouseAt(float x, float y) { return makeMouseEvent(curves, {x, y}, pressed); }

    void press(float x, float y)
    {
        pressed = {x, y};
        curves.mouseDown(mouseAt(x, y));
    }

    float dragTo(float x)
    {
        curves.mouseDrag(mouseAt(x, 170.0F));
        return getFundamental();
    }

    /// In Hz, when everything has caught up.
    float getFundamental()
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
        editor->timerCallback();
        return valueOf(Kalimmer::FundamentalFrequency);
    }

    CurveEditor& curves = find<CurveEditor>("spectrumCurveEditor");
    juce::Point<float> pressed;
};

/// Collects what is asked to be painted again.
struct RepaintSpy : juce::CachedComponentImage
{
    void paint(juce::Graphics&) override {}

    void releaseResources() override {}

    bool invalidateAll() override { return invalidate({width, height}); }

    bool invalidate(const juce::Rectangle<int>& added) override
    {
        area = area.getUnion(added);
        return true;
    }

    juce::Rectangle<int> area;
};

struct ACurveEditor : ::testing::Test
{
    ACurveEditor()
    {
        editor.setSize(width, height);
        editor.setVisible(true);
    }

    CurveEditor editor;
};

juce::Image draw(CurveEditor& editor, float scale = 1.0F)
{
    return editor.createComponentSnapshot(editor.getLocalBounds(), true, scale);
}

} // namespace

TEST_F(ThePlot, LetsTheFundamentalBeDraggedWithinItsRangeInOneStepToUndo)
{
    // Off the triangle but within easy reach, and right on a marker's line.
    press(toX(50.0) + 6.0F, 20.0F);
    for (const auto& [x, expected] :
         {std::pair{toX(61.0), 61.0F}, {toX(47.0), 47.0F}, {1200.0F, 500.0F}, {-900.0F, 40.0F}})
        EXPECT_NEAR(dragTo(x + 6.0F), expected, 0.051F); // in steps of 0.1 Hz
    EXPECT_EQ(curves.getHandle(0)->y, 1.0F);
    EXPECT_NEAR(curves.getHandle(0)->x, 0.0F, 1e-6F);
    curves.mouseUp(mouseAt(-900.0F, 170.0F));
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
        press(toX(from), 5.0F);
        curves.mouseDrag(mouseAt(toX(to), 5.0F));
        curves.mouseUp(mouseAt(toX(to), 5.0F));
        EXPECT_EQ(getFundamental(), 50.0F);
    }
    EXPECT_EQ(told, "");
    EXPECT_FALSE(plugIn.canUndo());

    press(toX(50.0), 5.0F);
    dragTo(toX(60.0));
    curves.clearHandles();
    curves.mouseDrag(mouseAt(toX(70.0), 5.0F));
    curves.mouseUp(mouseAt(toX(70.0), 5.0F));
    EXPECT_EQ(curves.getHandle(0), nullptr);
    EXPECT_NEAR(getFundamental(), 60.0F, 0.051F);
    EXPECT_EQ(told, "(0v0)0");
}

TEST_F(ThePlot, MovesTheFundamentalWithTheArrowKeysThoughItIsRounded)
{
    EXPECT_TRUE(curves.keyPressed(juce::KeyPress(juce::KeyPress::rightKey)));
    EXPECT_FALSE(curves.keyPressed(juce::KeyPress('a')));
    EXPECT_NEAR(getFundamental(), 50.0 * std::pow(50.0, 1.0 / 500.0), 0.051);
    const juce::KeyPress fine(juce::KeyPress::leftKey, juce::ModifierKeys::shiftModifier, 0);
    for (int i = 0; i < 20; ++i)
    {
        curves.keyPressed(fine);
        getFundamental();
    }
    EXPECT_NEAR(getFundamental(), 50.0 * std::pow(50.0, -1.0 / 500.0), 0.051);
}

TEST_F(ACurveEditor, RepaintsOnlyWhereHandlesHaveChanged)
{
    for (int i = 0; i < 20; ++i)
        editor.setHandle(i, {0.5F + 0.01F * static_cast<float>(i), 1.0F, 20.0F});
    auto* const spy = std::make_unique<RepaintSpy>().release();
    editor.setCachedComponentImage(spy);
    const auto takeRepainted = [&](float firstX)
    {
        editor.setHandle(0, {firstX, 1.0F, 20.0F});
        juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
        return std::exchange(spy->area, {});
    };
    takeRepainted(0.5F);
    EXPECT_TRUE(takeRepainted(0.5F).isEmpty());
    const juce::Rectangle<int> area = takeRepainted(0.1F);
    EXPECT_TRUE(area.contains(juce::Rectangle<int>(50, 0, 260, height)));
    EXPECT_FALSE(area.intersects(juce::Rectangle<int>(400, 0, 200, height)));
    editor.setCurve(0, Curve({{0.0F, 0.5F}, {1.0F, 0.5F}}, {}, juce::Colours::white, 1.5F));
    EXPECT_EQ(takeRepainted(0.1F), juce::Rectangle<int>(width, height));
}

TEST_F(ACurveEditor, LeavesOutWhatIsNotFinite)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    Curve curve({{0.0F, 0.5F}, {0.5F, 0.25F}, {1.0F, 0.5F}}, juce::Colours::grey,
                juce::Colours::white, 1.5F);
    editor.setCurve(0, curve);
    const juce::Image expected = draw(editor);
    curve.points.insert(curve.points.begin() + 1, {{0.2F, nan}, {nan, 0.3F}, {0.3F, -infinity}});
    editor.setCurve(0, curve);
    int index = 0;
    for (const int shape : {Handle::marker, Handle::ellipse, Handle::triangle})
        for (const auto& [x, y] : {std::pair{nan, 1.0F}, {0.5F, infinity}, {1.5F, 0.5F}})
            editor.setHandle(index++, {x, y, 20.0F, shape});
    const juce::Image drawn = draw(editor);
    for (int y = 0; y < height; y += 3)
        for (int x = 0; x < width; ++x)
            ASSERT_EQ(drawn.getPixelAt(x, y), expected.getPixelAt(x, y)) << x << ", " << y;
}

TEST_F(ACurveEditor, DrawsLinesOfTheirThicknessAtAnySlope)
{
    for (const int id : {PlotColours::backgroundId, PlotColours::outlineId})
        editor.setColour(id, juce::Colours::black);
    for (const float end : {0.5F, 0.55F, 0.7F, 1.0F})
    {
        editor.setCurve(0, Curve({{0.5F, 0.1F}, {end, 0.9F}}, {}, juce::Colours::white, 4.0F));
        const juce::Image drawn = draw(editor);
        double light = 0.0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                light += drawn.getPixelAt(x, y).getFloatRed();
        const double length = std::hypot((end - 0.5F) * width, 0.8 * height);
        // The pen is an octagon, a twelfth wider over its corners than a circle, and has two ends.
        EXPECT_NEAR(light, 4.0 * length, 4.0 * length * 0.09 + 16.0) << end;
    }
}

TEST_F(ACurveEditor, TellsMarkersApartWithoutColour)
{
    for (const bool isDashed : {false, true})
    {
        editor.setHandle(0, {.x = 0.25F, .y = 1.0F, .size = 20.0F, .isDashed = isDashed});
        const juce::Image drawn = draw(editor, 2.0F);
        int changes = 0;
        for (int y = 40; y < 2 * height - 8; ++y)
            changes += drawn.getPixelAt(300, y) != drawn.getPixelAt(300, y - 1) ? 1 : 0;
        EXPECT_EQ(changes > 0, isDashed) << changes;
    }
}
