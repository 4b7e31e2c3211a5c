#include "ui/plot/CurveEditor.h"

#include <gmock/gmock.h>

#include <limits>

using Handle = CurveEditor::Handle;

namespace
{

constexpr int width = 600;
constexpr int height = 176;

/// A step of an arrow key in normalised coordinates.
constexpr float keyStep = 1.0F / 500.0F;

/// Pins handle 0 to the top and to 0.2 to 0.6 sideways, and writes down what happens.
class PinningListener : public CurveEditor::Listener
{
public:
    void handleDragStarted(CurveEditor*, int index, Handle&) override { note("start", index); }

    void handlePositionChanged(CurveEditor*, int index, Handle& handle) override
    {
        note("move", index);
        handle.x = juce::jlimit(0.2F, 0.6F, handle.x);
        if (grain > 0.0F)
            handle.x = grain * std::round(handle.x / grain);
        handle.y = 1.0F;
    }

    void handleDragEnded(CurveEditor*, int index, Handle&) override { note("end", index); }

    void backGroundClick(CurveEditor*, juce::Point<float>) override { note("background", 0); }

    /// Positions are rounded to multiples of this.
    float grain = 0.0F;
    std::vector<std::string> events;

private:
    void note(const std::string& what, int index)
    {
        events.push_back(what + " " + std::to_string(index));
    }
};

/// Counts what is asked to be painted again.
class RepaintSpy : public juce::CachedComponentImage
{
public:
    explicit RepaintSpy(juce::Rectangle<int>& areaToFill)
        : area(areaToFill)
    {
    }

    void paint(juce::Graphics&) override {}

    bool invalidateAll() override { return invalidate({width, height}); }

    bool invalidate(const juce::Rectangle<int>& added) override
    {
        area = area.getUnion(added);
        return true;
    }

    void releaseResources() override {}

private:
    juce::Rectangle<int>& area;
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
        editor.setHandle(0, {x, 1.0F, 20.0F, 3, 0, juce::Colours::orange, 16, {}, false, false});
        for (int i = 1; i < 20; ++i)
            editor.setHandle(i, {x + static_cast<float>(i - 1) * 0.02F,
                                 1.0F,
                                 20.0F,
                                 0,
                                 0,
                                 juce::Colours::green,
                                 16,
                                 {},
                                 false,
                                 false});
    }

    float fundamental() const { return editor.getHandle(0)->x; }

    juce::MouseEvent mouseAt(float x, float y)
    {
        const juce::Point<float> position(x, y);
        return {juce::Desktop::getInstance().getMainMouseSource(),
                position,
                juce::ModifierKeys(juce::ModifierKeys::leftButtonModifier),
                0.0F,
                0.0F,
                0.0F,
                0.0F,
                0.0F,
                &editor,
                &editor,
                {},
                pressed,
                {},
                1,
                position != pressed};
    }

    void press(float x, float y)
    {
        pressed = {x, y};
        editor.mouseDown(mouseAt(x, y));
    }

    juce::Image picture(float scale = 1.0F)
    {
        return editor.createComponentSnapshot(editor.getLocalBounds(), true, scale);
    }

    /// What has to be painted again once pending messages are through.
    juce::Rectangle<int> takeRepainted()
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
        return std::exchange(repainted, {});
    }

    CurveEditor editor;
    PinningListener listener;
    juce::Point<float> pressed;
    juce::Rectangle<int> repainted;
};

} // namespace

TEST_F(ACurveEditor, DragsTheFundamentalThroughMarkersWhileHandlesAreReplaced)
{
    // Off the triangle but within easy reach, and right on a marker's line.
    press(300.0F, 20.0F);
    editor.mouseDrag(mouseAt(330.0F, 20.0F));
    EXPECT_NEAR(fundamental(), 0.55F, 1e-6F);
    placeHandles(fundamental());
    editor.mouseDrag(mouseAt(270.0F, 170.0F));
    EXPECT_NEAR(fundamental(), 0.45F, 1e-6F);
    editor.mouseUp(mouseAt(270.0F, 170.0F));
    EXPECT_THAT(listener.events, ::testing::ElementsAre("start 0", "move 0", "move 0", "end 0"));
}

TEST_F(ACurveEditor, LetsTheListenerPinTheHandle)
{
    press(305.0F, 3.0F);
    editor.mouseDrag(mouseAt(590.0F, 100.0F));
    EXPECT_FLOAT_EQ(fundamental(), 0.6F);
    EXPECT_FLOAT_EQ(editor.getHandle(0)->y, 1.0F);
    editor.mouseDrag(mouseAt(-900.0F, 100.0F));
    EXPECT_FLOAT_EQ(fundamental(), 0.2F);
}

TEST_F(ACurveEditor, EndsADragWhoseHandleIsGone)
{
    press(300.0F, 5.0F);
    editor.mouseDrag(mouseAt(310.0F, 5.0F));
    editor.clearHandles();
    editor.mouseDrag(mouseAt(320.0F, 5.0F));
    editor.mouseUp(mouseAt(320.0F, 5.0F));
    EXPECT_THAT(listener.events, ::testing::ElementsAre("start 0", "move 0", "end 0"));
    EXPECT_EQ(editor.getHandle(0), nullptr);
}

TEST_F(ACurveEditor, DoesNotStartADragOnAMereClickNorOnAMarker)
{
    press(300.0F, 5.0F);
    editor.mouseUp(mouseAt(300.0F, 5.0F));
    EXPECT_TRUE(listener.events.empty());
    for (const float x : {360.0F, 2.0F})
    {
        press(x, 5.0F);
        editor.mouseUp(mouseAt(x, 5.0F));
    }
    EXPECT_THAT(listener.events, ::testing::ElementsAre("background 0", "background 0"));
}

TEST_F(ACurveEditor, MovesTheFundamentalWithTheArrowKeys)
{
    editor.keyPressed(juce::KeyPress(juce::KeyPress::rightKey));
    EXPECT_NEAR(fundamental(), 0.5F + keyStep, 1e-6F);
    EXPECT_THAT(listener.events, ::testing::ElementsAre("start 0", "move 0", "end 0"));
    editor.keyPressed(
        juce::KeyPress(juce::KeyPress::leftKey, juce::ModifierKeys::shiftModifier, 0));
    EXPECT_NEAR(fundamental(), 0.5F + 0.9F * keyStep, 1e-6F);
    EXPECT_FALSE(editor.keyPressed(juce::KeyPress('a')));
}

TEST_F(ACurveEditor, GetsAheadInFineStepsThoughTheListenerRounds)
{
    listener.grain = keyStep / 2.0F;
    const juce::KeyPress fine(juce::KeyPress::rightKey, juce::ModifierKeys::shiftModifier, 0);
    for (int i = 0; i < 20; ++i)
    {
        editor.keyPressed(fine);
        placeHandles(fundamental());
    }
    EXPECT_NEAR(fundamental(), 0.5F + 2.0F * keyStep, 1e-5F);
}

TEST_F(ACurveEditor, RepaintsOnlyWhereHandlesHaveChanged)
{
    editor.setCachedComponentImage(new RepaintSpy(repainted));
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
