#include "ui/plot/CurveEditor.h"

#include "tests/ui/Mouse.h"

#include <gtest/gtest.h>

#include <limits>

using Handle = CurveEditor::Handle;

namespace
{

constexpr int width = 600;
constexpr int height = 176;

/// A step of an arrow key in normalised coordinates.
constexpr float keyStep = 1.0F / 500.0F;

/// Pins handles to the top and to 0.2 to 0.6 sideways, there to multiples of `grain`, and writes
/// down what happens.
class PinningListener : public CurveEditor::Listener
{
public:
    void handleDragStarted(CurveEditor*, int index, Handle&) override { events << "(" << index; }

    void handlePositionChanged(CurveEditor*, int index, Handle& handle) override
    {
        events << "v" << index;
        handle.x = juce::jlimit(0.2F, 0.6F, handle.x);
        if (grain > 0.0F)
            handle.x = grain * std::round(handle.x / grain);
        handle.y = 1.0F;
    }

    void handleDragEnded(CurveEditor*, int index, Handle&) override { events << ")" << index; }

    void backGroundClick(CurveEditor*, juce::Point<float>) override { events << "b"; }

    float grain = 0.0F;
    juce::String events;
};

/// Collects what is asked to be painted again.
struct RepaintSpy : juce::CachedComponentImage
{
    void paint(juce::Graphics&) override {}

    bool invalidateAll() override { return invalidate({width, height}); }

    bool invalidate(const juce::Rectangle<int>& added) override
    {
        area = area.getUnion(added);
        return true;
    }

    void releaseResources() override {}

    juce::Rectangle<int> area;
};

class ACurveEditor : public ::testing::Test
{
protected:
    ACurveEditor()
    {
        editor.setSize(width, height);
        editor.setVisible(true);
        editor.addListener(&listener);
        placeHandles(0.5F);
    }

    ~ACurveEditor() override { editor.removeListener(&listener); }

    /// The fundamental at x, with a marker in the same place and others to its right.
    void placeHandles(float x)
    {
        editor.clearHandles();
        editor.setHandle(0, {x, 1.0F, 20.0F, Handle::triangle});
        for (int i = 1; i < 20; ++i)
            editor.setHandle(i, {x + static_cast<float>(i - 1) * 0.01F, 1.0F, 20.0F});
    }

    float fundamental() const { return editor.getHandle(0)->x; }

    juce::MouseEvent mouseAt(float x, float y) { return makeMouseEvent(editor, {x, y}, pressed); }

    void press(float x, float y)
    {
        pressed = {x, y};
        editor.mouseDown(mouseAt(x, y));
    }

    juce::Image picture(float scale = 1.0F)
    {
        return editor.createComponentSnapshot(editor.getLocalBounds(), true, scale);
    }

    CurveEditor editor;
    PinningListener listener;
    juce::Point<float> pressed;
};

} // namespace

TEST_F(ACurveEditor, DragsTheFundamentalAsFarAsTheListenerLetsItWhileHandlesAreReplaced)
{
    // Off the triangle but within easy reach, and right on a marker's line.
    press(306.0F, 20.0F);
    for (const auto& [x, expected] :
         {std::pair{336.0F, 0.55F}, {276.0F, 0.45F}, {590.0F, 0.6F}, {-900.0F, 0.2F}})
    {
        editor.mouseDrag(mouseAt(x, 170.0F));
        EXPECT_FLOAT_EQ(fundamental(), expected);
        EXPECT_FLOAT_EQ(editor.getHandle(0)->y, 1.0F);
        placeHandles(fundamental());
    }
    editor.mouseUp(mouseAt(270.0F, 170.0F));
    EXPECT_EQ(listener.events, "(0v0v0v0v0)0");
}

TEST_F(ACurveEditor, EndsADragWhoseHandleIsGone)
{
    press(300.0F, 5.0F);
    editor.mouseDrag(mouseAt(310.0F, 5.0F));
    editor.clearHandles();
    editor.mouseDrag(mouseAt(320.0F, 5.0F));
    editor.mouseUp(mouseAt(320.0F, 5.0F));
    EXPECT_EQ(listener.events, "(0v0)0");
    EXPECT_EQ(editor.getHandle(0), nullptr);
}

TEST_F(ACurveEditor, DoesNotStartADragOnAMereClickNorOnAMarker)
{
    for (const auto& [x, expected] : {std::pair{300.0F, ""}, {360.0F, "b"}, {2.0F, "bb"}})
    {
        press(x, 5.0F);
        editor.mouseUp(mouseAt(x, 5.0F));
        EXPECT_EQ(listener.events, expected);
    }
}

TEST_F(ACurveEditor, MovesTheFundamentalWithTheArrowKeysThoughTheListenerRounds)
{
    editor.keyPressed(juce::KeyPress(juce::KeyPress::rightKey));
    EXPECT_NEAR(fundamental(), 0.5F + keyStep, 1e-6F);
    EXPECT_EQ(listener.events, "(0v0)0");
    EXPECT_FALSE(editor.keyPressed(juce::KeyPress('a')));
    listener.grain = keyStep / 2.0F;
    const juce::KeyPress fine(juce::KeyPress::leftKey, juce::ModifierKeys::shiftModifier, 0);
    for (int i = 0; i < 20; ++i)
    {
        editor.keyPressed(fine);
        placeHandles(fundamental());
    }
    EXPECT_NEAR(fundamental(), 0.5F - keyStep, 1e-5F);
}

TEST_F(ACurveEditor, RepaintsOnlyWhereHandlesHaveChanged)
{
    auto* const spy = std::make_unique<RepaintSpy>().release();
    editor.setCachedComponentImage(spy);
    const auto takeRepainted = [spy]
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
        return std::exchange(spy->area, {});
    };
    takeRepainted();
    placeHandles(0.5F);
    EXPECT_TRUE(takeRepainted().isEmpty());
    Handle moved = *editor.getHandle(0);
    moved.x = 0.1F;
    editor.setHandle(0, moved);
    const juce::Rectangle<int> area = takeRepainted();
    EXPECT_TRUE(area.contains(juce::Rectangle<int>(50, 0, 260, height)));
    EXPECT_FALSE(area.intersects(juce::Rectangle<int>(400, 0, 200, height)));
    editor.setCurve(0, Curve({{0.0F, 0.5F}, {1.0F, 0.5F}}, {}, juce::Colours::white, 1.5F));
    EXPECT_EQ(takeRepainted(), juce::Rectangle<int>(width, height));
}

TEST_F(ACurveEditor, LeavesOutWhatIsNotFinite)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    editor.clearHandles();
    const Curve plain({{0.0F, 0.5F}, {0.5F, 0.25F}, {1.0F, 0.5F}}, juce::Colours::grey,
                      juce::Colours::white, 1.5F);
    editor.setCurve(0, plain);
    const juce::Image expected = picture();
    Curve broken = plain;
    broken.points.insert(broken.points.begin() + 1, {{0.2F, nan}, {nan, 0.3F}, {0.3F, -infinity}});
    editor.setCurve(0, broken);
    for (const int shape : {0, 1, 3})
    {
        editor.setHandle(3 * shape, {nan, 1.0F, 20.0F, shape});
        editor.setHandle(3 * shape + 1, {0.5F, infinity, 20.0F, shape});
        editor.setHandle(3 * shape + 2, {1.5F, 0.5F, 20.0F, shape});
    }
    const juce::Image drawn = picture();
    for (int y = 0; y < height; y += 3)
        for (int x = 0; x < width; ++x)
            ASSERT_EQ(drawn.getPixelAt(x, y), expected.getPixelAt(x, y)) << x << ", " << y;
}

TEST_F(ACurveEditor, DrawsLinesOfTheirThicknessAtAnySlope)
{
    editor.clearHandles();
    editor.setColour(CurveEditor::backgroundColourId, juce::Colours::black);
    editor.setColour(CurveEditor::outlineColourId, juce::Colours::black);
    for (const float end : {0.5F, 0.55F, 0.7F, 1.0F})
    {
        editor.setCurve(0, Curve({{0.5F, 0.1F}, {end, 0.9F}}, {}, juce::Colours::white, 4.0F));
        const juce::Image drawn = picture();
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
    editor.clearHandles();
    editor.setHandle(1, {0.25F, 1.0F, 20.0F, 0, 0, juce::Colours::green});
    editor.setHandle(2, {0.75F, 1.0F, 20.0F, 0, 0, juce::Colours::red});
    const juce::Image drawn = picture(2.0F);
    const auto countChanges = [&](int x)
    {
        int changes = 0;
        for (int y = 40; y < 2 * height - 8; ++y)
            changes += drawn.getPixelAt(x, y) != drawn.getPixelAt(x, y - 1) ? 1 : 0;
        return changes;
    };
    EXPECT_EQ(countChanges(300), 0);
    EXPECT_GT(countChanges(900), 20);
}
