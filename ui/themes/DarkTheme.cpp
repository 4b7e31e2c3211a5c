#include "ui/themes/Themes.h"

namespace kalim::ui
{
namespace
{

constexpr float darkScaleWidth = 4.0F;

Palette makeDarkPalette()
{
    using juce::Colour;
    Palette p;
    p.window = {Colour(0xff202327), Colour(0xffe8eaec), Colour(0xff7d848b)};
    p.header = {Colour(0xff17191c), Colour(0xfff2f4f5), Colour(0xff7d848b)};
    p.control = {Colour(0xff31363c), Colour(0xffe8eaec), Colour(0xff7d848b)};
    p.toggled = {Colour(0xffeeac18), Colour(0xff1a1508), Colour(0xffa89c80)};
    p.field = {Colour(0xff15171a), Colour(0xffe8eaec), Colour(0xff7d848b)};
    p.display = {Colour(0xff121416), Colour(0xffe8eaec), Colour(0xff7d848b)};
    p.menu = {Colour(0xff272b30), Colour(0xffe8eaec), Colour(0xff7d848b)};
    p.highlight = {Colour(0xff4a5563), Colour(0xffffffff), Colour(0xffacb5bf)};
    p.tooltip = {Colour(0xff363b42), Colour(0xfff2f4f5), Colour(0xff9aa1a8)};
    p.selection = {Colour(0xff35597f), Colour(0xffffffff), Colour(0xffb4bec9)};
    p.secondaryText = Colour(0xffa9b0b7);
    p.hoveredControl = Colour(0xff3e444b);
    p.pressedControl = Colour(0xff282c31);
    p.disabledControl = Colour(0xff282c30);
    p.disabledToggled = Colour(0xff4b4230);
    p.outline = Colour(0xff4b5259);
    p.accent = Colour(0xffeeac18);
    p.mutedAccent = Colour(0xff6f757c);
    p.track = Colour(0xff43494f);
    p.knob = Colour(0xff3a4047);
    p.pointer = Colour(0xffffffff);
    p.grid = Colour(0xff2b2f34);
    p.focusOnLight = Colour(0xff0a4f9e);
    p.focusOnDark = Colour(0xff6db8ff);
    p.warning = Colour(0xffc93a35);
    return p;
}

class DarkTheme : public BaseTheme
{
public:
    DarkTheme()
        : BaseTheme(makeDarkPalette())
    {
    }

    void paintBackground(juce::Graphics& g, int width, int height) override
    {
        g.setColour(palette.window.ground);
        g.fillRect(0, 0, width, height);
    }

    void paintHeaderBackground(juce::Graphics& g, int width, int height,
                               const juce::String& title) override
    {
        g.setColour(palette.header.ground);
        g.fillRect(0, 0, width, height);
        drawHeaderTitle(g, height, title);
    }

protected:
    void drawControlSurface(juce::Graphics& g, const juce::Path& shape, juce::Rectangle<float>,
                            juce::Colour ground, const ControlState& state, bool isOn) override
    {
        g.setColour(ground);
        g.fillPath(shape);
        const juce::Colour edge = isOn ? ground.darker(0.3F) : palette.outline;
        g.setColour(edge.withMultipliedAlpha(state.isEnabled ? 1.0F : 0.6F));
        g.strokePath(shape, juce::PathStrokeType(1.0F));
    }

    void drawWell(juce::Graphics& g, juce::Rectangle<float> bounds, float cornerSize,
                  juce::Colour ground) override
    {
        g.setColour(ground);
        g.fillRoundedRectangle(bounds, cornerSize);
        // What is narrower than a line of text is a track, which needs no edge.
        if (juce::jmin(bounds.getWidth(), bounds.getHeight()) < 8.0F)
            return;
        g.setColour(ground.getBrightness() > 0.25F ? ground.darker(0.3F) : palette.outline);
        g.drawRoundedRectangle(bounds.reduced(0.5F), cornerSize - 0.5F, 1.0F);
    }

    void drawKnobScale(juce::Graphics& g, juce::Point<float> centre, float radius,
                       juce::Range<float> angles, float valueAngle,
                       const ControlState& state) override
    {
        const float middle = radius - darkScaleWidth * 0.5F;
        const juce::PathStrokeType stroke(darkScaleWidth, juce::PathStrokeType::curved,
                                          juce::PathStrokeType::rounded);
        g.setColour(state.isEnabled ? palette.track : palette.track.withMultipliedAlpha(0.6F));
        g.strokePath(makeKnobArc(centre, middle, angles.getStart(), angles.getEnd()), stroke);
        g.setColour(state.isEnabled ? palette.accent : palette.mutedAccent);
        if (valueAngle - angles.getStart() > 0.01F)
            g.strokePath(makeKnobArc(centre, middle, angles.getStart(), valueAngle), stroke);
    }

    void drawCap(juce::Graphics& g, juce::Point<float> centre, float radius,
                 const ControlState& state) override
    {
        juce::Colour cap = palette.knob;
        if (!state.isEnabled)
            cap = cap.interpolatedWith(palette.window.ground, 0.5F);
        else if (state.isPressed)
            cap = cap.darker(0.2F);
        else if (state.isHovered)
            cap = cap.brighter(0.15F);
        const auto area = juce::Rectangle<float>(radius * 2.0F, radius * 2.0F).withCentre(centre);
        g.setColour(cap);
        g.fillEllipse(area);
        g.setColour(
            palette.outline.brighter(0.15F).withMultipliedAlpha(state.isEnabled ? 1.0F : 0.6F));
        g.drawEllipse(area.reduced(0.5F), 1.0F);
    }

    void drawThumb(juce::Graphics& g, juce::Point<float> centre, float radius,
                   const ControlState& state, bool isOn) override
    {
        juce::Colour thumb = isOn ? palette.toggled.text : palette.secondaryText;
        if (!state.isEnabled)
            thumb = isOn ? palette.window.ground : palette.mutedAccent;
        else if (state.isHovered && !state.isPressed)
            thumb = isOn ? thumb.brighter(0.25F) : palette.window.text;
        g.setColour(thumb);
        g.fillEllipse(juce::Rectangle<float>(radius * 2.0F, radius * 2.0F).withCentre(centre));
    }
};

} // namespace

std::unique_ptr<BaseTheme> makeDarkTheme()
{
    return std::make_unique<DarkTheme>();
}

} // namespace kalim::ui
