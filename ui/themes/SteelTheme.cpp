#include "ui/themes/SteelTheme.h"

#include "ui/themes/BrushedMetal.h"
#include "ui/themes/KnobArc.h"

namespace
{

constexpr float grooveWidth = 7.0F;
constexpr float scaleWidth = 3.0F;

BrushedMetal::Look makePlateLook()
{
    return {juce::Colour(0xffc3c7ca), juce::Colour(0xffafb4b8), 0.015F, 0.05F};
}

BrushedMetal::Look makeBarLook()
{
    return {juce::Colour(0xff3d4348), juce::Colour(0xff2e3338), 0.016F, 0.03F};
}

} // namespace

SteelTheme::SteelTheme()
    : BaseTheme(makePalette())
{
}

Palette SteelTheme::makePalette()
{
    using juce::Colour;
    Palette p;
    p.window = {Colour(0xffb8bcc0), Colour(0xff14171a), Colour(0xff565b60)};
    p.header = {Colour(0xff353a3f), Colour(0xfff4f5f6), Colour(0xff9aa1a7)};
    p.control = {Colour(0xffd3d7da), Colour(0xff14171a), Colour(0xff666b70)};
    p.toggled = {Colour(0xff262b30), Colour(0xffffc23d), Colour(0xffd2d5d8)};
    p.field = {Colour(0xffeceef0), Colour(0xff14171a), Colour(0xff7a8085)};
    p.display = {Colour(0xff14181b), Colour(0xffefece4), Colour(0xff80878d)};
    p.menu = {Colour(0xffe1e4e6), Colour(0xff14171a), Colour(0xff757b80)};
    p.highlight = {Colour(0xff343a40), Colour(0xffffffff), Colour(0xffa5acb2)};
    p.tooltip = {Colour(0xff262b30), Colour(0xfff4f5f6), Colour(0xff9aa1a7)};
    p.selection = {Colour(0xff9fc0e6), Colour(0xff14171a), Colour(0xff4c5358)};
    p.secondaryText = Colour(0xff33393e);
    p.hoveredControl = Colour(0xffe3e6e8);
    p.pressedControl = Colour(0xffbcc1c5);
    p.disabledControl = Colour(0xffc6cacd);
    p.disabledToggled = Colour(0xff6a7075);
    p.outline = Colour(0xff6a7177);
    p.accent = Colour(0xffeeac18);
    p.mutedAccent = Colour(0xff80878d);
    p.track = Colour(0xff3a4046);
    p.knob = Colour(0xffc9cdd0);
    p.pointer = Colour(0xff14171a);
    p.grid = Colour(0xff2a3035);
    p.focusOnLight = Colour(0xff0a4f9e);
    p.focusOnDark = Colour(0xff6db8ff);
    p.warning = Colour(0xffb52a25);
    return p;
}

void SteelTheme::paintBackground(juce::Graphics& g, int width, int height)
{
    plate.draw(g, width, height,
               [](int w, int h, float) { return BrushedMetal::makePlate(w, h, makePlateLook()); });
}

void SteelTheme::paintHeaderBackground(juce::Graphics& g, int width, int height,
                                       const juce::String& title)
{
    bar.draw(g, width, height,
             [](int w, int h, float) { return BrushedMetal::makePlate(w, h, makeBarLook()); });
    g.setColour(juce::Colours::white.withAlpha(0.12F));
    g.fillRect(0, 0, width, 1);
    g.setColour(juce::Colours::black.withAlpha(0.45F));
    g.fillRect(0, height - 1, width, 1);
    drawHeaderTitle(g, height, title);
}

void SteelTheme::drawControlSurface(juce::Graphics& g, const juce::Path& shape,
                                    juce::Rectangle<float> bounds, juce::Colour ground,
                                    const ControlState& state, bool isOn)
{
    const bool isSunk = state.isPressed || isOn;
    const float tilt = state.isEnabled ? (isSunk ? -0.05F : 0.06F) : 0.0F;
    const auto tilted = [ground](float amount)
    { return amount > 0.0F ? ground.brighter(amount * 3.0F) : ground.darker(-amount * 3.0F); };
    g.setGradientFill(juce::ColourGradient::vertical(tilted(tilt), bounds.getY(), tilted(-tilt),
                                                     bounds.getBottom()));
    g.fillPath(shape);
    // A line of light on the upper edge of what stands out, of shade on what is pressed in.
    const auto line = bounds.reduced(2.0F, 1.0F).removeFromTop(1.0F).translated(0.0F, -0.5F);
    g.setColour(isSunk ? juce::Colours::black.withAlpha(0.18F)
                       : juce::Colours::white.withAlpha(state.isEnabled ? 0.55F : 0.2F));
    g.fillRect(line.translated(0.0F, 0.5F));
    g.setColour(palette.outline.darker(0.4F).withAlpha(state.isEnabled ? 1.0F : 0.5F));
    g.strokePath(shape, juce::PathStrokeType(1.0F));
}

void SteelTheme::drawWell(juce::Graphics& g, juce::Rectangle<float> bounds, float cornerSize,
                          juce::Colour ground)
{
    g.setColour(ground);
    g.fillRoundedRectangle(bounds, cornerSize);
    if (juce::jmin(bounds.getWidth(), bounds.getHeight()) < 8.0F)
        return;
    g.setColour(ground.darker(0.5F));
    g.drawRoundedRectangle(bounds.reduced(0.5F), cornerSize - 0.5F, 1.0F);
}

void SteelTheme::drawKnobScale(juce::Graphics& g, juce::Point<float> centre, float radius,
                               juce::Range<float> angles, float valueAngle,
                               const ControlState& state)
{
    const float middle = radius - grooveWidth * 0.5F;
    const auto stroke = [](float width)
    {
        return juce::PathStrokeType(width, juce::PathStrokeType::curved,
                                    juce::PathStrokeType::rounded);
    };
    const juce::Path whole = makeKnobArc(centre, middle, angles.getStart(), angles.getEnd());
    // The groove's lower edge catches the light.
    g.setColour(juce::Colours::white.withAlpha(0.4F));
    g.strokePath(whole, stroke(grooveWidth), juce::AffineTransform::translation(0.0F, 1.0F));
    g.setColour(state.isEnabled ? palette.display.ground : palette.track.withAlpha(0.75F));
    g.strokePath(whole, stroke(grooveWidth));
    if (valueAngle - angles.getStart() < 0.01F)
        return;
    g.setColour(state.isEnabled ? palette.accent : palette.mutedAccent);
    g.strokePath(makeKnobArc(centre, middle, angles.getStart(), valueAngle), stroke(scaleWidth));
}

const juce::Image& SteelTheme::getDisc(int radius)
{
    juce::Image& disc = discs[radius];
    if (disc.isNull())
        disc = BrushedMetal::makeDisc(radius * 2, palette.knob);
    return disc;
}

void SteelTheme::drawCap(juce::Graphics& g, juce::Point<float> centre, float radius,
                         const ControlState& state)
{
    const auto area = juce::Rectangle<float>(radius * 2.0F, radius * 2.0F).withCentre(centre);
    g.setColour(juce::Colours::black.withAlpha(state.isEnabled ? 0.10F : 0.04F));
    g.fillEllipse(area.expanded(1.0F).translated(0.0F, 1.5F));
    g.fillEllipse(area.translated(0.0F, 1.0F));

    const float scale = g.getInternalContext().getPhysicalPixelScaleFactor();
    g.setOpacity(1.0F);
    g.drawImage(getDisc(juce::roundToInt(std::ceil(radius * scale))), area);
    if (!state.isEnabled)
        g.setColour(palette.window.ground.withAlpha(0.55F));
    else if (state.isPressed)
        g.setColour(juce::Colours::black.withAlpha(0.12F));
    else
        g.setColour(juce::Colours::white.withAlpha(state.isHovered ? 0.3F : 0.0F));
    g.fillEllipse(area);
    const juce::Colour edge = palette.outline.darker(0.6F);
    g.setColour(edge.withAlpha(state.isEnabled ? 1.0F : 0.5F));
    g.drawEllipse(area.reduced(0.5F), 1.0F);
}

void SteelTheme::drawThumb(juce::Graphics& g, juce::Point<float> centre, float radius,
                           const ControlState& state, bool)
{
    drawCap(g, centre, radius, state);
}
