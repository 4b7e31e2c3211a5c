#include "ui/themes/Themes.h"

#include <cmath>
#include <map>
#include <vector>

namespace kalim::ui
{
namespace
{

constexpr juce::int64 seed = 0x4B414C494D;

/// How much of the last pixel's shade the next one keeps: strokes are some fifty pixels long.
constexpr float strokeMemory = 0.98F;

/// Brings a stroke's noise to a deviation of about one.
const float strokeGain = 1.7F * std::sqrt(1.0F - strokeMemory * strokeMemory);

juce::uint8 toByte(float value)
{
    return static_cast<juce::uint8>(juce::jlimit(0.0F, 255.0F, value * 255.0F + 0.5F));
}

/// Between -1 and 1.
float nextSigned(juce::Random& random)
{
    return random.nextFloat() * 2.0F - 1.0F;
}

/// 1 where the light falls, 0 far from there.
std::vector<float> makeSheen(int width)
{
    std::vector<float> sheen(static_cast<size_t>(width));
    for (int x = 0; x < width; ++x)
    {
        const float distance = static_cast<float>(x) / static_cast<float>(width) - 0.36F;
        sheen[static_cast<size_t>(x)] = std::exp(-distance * distance * 9.0F);
    }
    return sheen;
}

/// The brightness of a disc in a direction: turned metal has two opposite bright sectors.
float getDiscShade(float angle)
{
    const float wide = std::cos(2.0F * (angle + 0.9F));
    const float narrow = std::cos(6.0F * angle + 1.1F);
    return 0.055F * wide + 0.012F * narrow;
}

/// How a brushed plate looks.
struct Look
{
    /// The colour at the upper and at the lower edge.
    juce::Colour top;
    juce::Colour bottom;
    /// How far the grain goes from the colour, as a part of full brightness.
    float grain;
    /// How much brighter it is where the light falls than at the sides.
    float sheen;
};

/// A plate that was brushed from left to right, the same at every call. Width and height in
/// pixels.
juce::Image makePlate(int width, int height, const Look& look)
{
    juce::Image image(juce::Image::RGB, width, height, false);
    juce::Image::BitmapData pixels(image, juce::Image::BitmapData::writeOnly);
    const std::vector<float> sheen = makeSheen(width);
    juce::Random random(seed);
    float stroke = 0.0F;
    for (int y = 0; y < height; ++y)
    {
        const juce::Colour base = look.top.interpolatedWith(
            look.bottom, static_cast<float>(y) / static_cast<float>(height));
        const float rowShade = 0.5F * nextSigned(random);
        for (int x = 0; x < width; ++x)
        {
            stroke = strokeMemory * stroke + strokeGain * nextSigned(random);
            const float shade = look.grain * (rowShade + 0.6F * stroke) +
                                look.sheen * (sheen[static_cast<size_t>(x)] - 0.5F);
            pixels.setPixelColour(x, y,
                                  juce::Colour(toByte(base.getFloatRed() + shade),
                                               toByte(base.getFloatGreen() + shade),
                                               toByte(base.getFloatBlue() + shade)));
        }
    }
    return image;
}

/// The face of a turned disc, lit from above, that fills a square; transparent outside the disc.
juce::Image makeDisc(int size, juce::Colour colour)
{
    juce::Image image(juce::Image::ARGB, size, size, true);
    juce::Image::BitmapData pixels(image, juce::Image::BitmapData::writeOnly);
    const float radius = static_cast<float>(size) * 0.5F;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
        {
            const float dx = static_cast<float>(x) + 0.5F - radius;
            const float dy = static_cast<float>(y) + 0.5F - radius;
            const float distance = std::hypot(dx, dy);
            const float coverage = juce::jlimit(0.0F, 1.0F, radius - distance + 0.5F);
            // Near the middle the sectors would meet in a point.
            const float strength = juce::jmin(1.0F, distance / (radius * 0.4F));
            const float shade = strength * getDiscShade(std::atan2(dx, -dy)) - 0.035F * dy / radius;
            pixels.setPixelColour(x, y,
                                  juce::Colour::fromFloatRGBA(
                                      juce::jlimit(0.0F, 1.0F, colour.getFloatRed() + shade),
                                      juce::jlimit(0.0F, 1.0F, colour.getFloatGreen() + shade),
                                      juce::jlimit(0.0F, 1.0F, colour.getFloatBlue() + shade),
                                      coverage));
        }
    return image;
}

/// A brushed plate. Painting it is costly, so its picture is kept for the size and the screen's
/// scale that it was last shown at, as sharp as if it were painted anew.
class Plate
{
public:
    explicit Plate(const Look& plateLook)
        : look(plateLook)
    {
    }

    /// Shows the plate with its top left corner at the origin.
    void draw(juce::Graphics& g, int width, int height)
    {
        const float scale = g.getInternalContext().getPhysicalPixelScaleFactor();
        const int pixelWidth = juce::roundToInt(std::ceil(static_cast<float>(width) * scale));
        const int pixelHeight = juce::roundToInt(std::ceil(static_cast<float>(height) * scale));
        if (pixelWidth <= 0 || pixelHeight <= 0)
            return;
        if (image.getWidth() != pixelWidth || image.getHeight() != pixelHeight)
            image = makePlate(pixelWidth, pixelHeight, look);
        g.setOpacity(1.0F);
        g.drawImageTransformed(image, juce::AffineTransform::scale(1.0F / scale));
    }

private:
    const Look look;
    juce::Image image;
};

constexpr float grooveWidth = 7.0F;
constexpr float steelScaleWidth = 3.0F;

Palette makeSteelPalette()
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

class SteelTheme : public BaseTheme
{
public:
    SteelTheme()
        : BaseTheme(makeSteelPalette())
    {
    }

    void paintBackground(juce::Graphics& g, int width, int height) override
    {
        plate.draw(g, width, height);
    }

    void paintHeaderBackground(juce::Graphics& g, int width, int height,
                               const juce::String& title) override
    {
        bar.draw(g, width, height);
        g.setColour(juce::Colours::white.withAlpha(0.12F));
        g.fillRect(0, 0, width, 1);
        g.setColour(juce::Colours::black.withAlpha(0.45F));
        g.fillRect(0, height - 1, width, 1);
        drawHeaderTitle(g, height, title);
    }

protected:
    void drawControlSurface(juce::Graphics& g, const juce::Path& shape,
                            juce::Rectangle<float> bounds, juce::Colour ground,
                            const ControlState& state, bool isOn) override
    {
        const bool isSunk = state.isPressed || isOn;
        const float tilt = state.isEnabled ? (isSunk ? -0.05F : 0.06F) : 0.0F;
        const auto tilted = [ground](float amount)
        { return amount > 0.0F ? ground.brighter(amount * 3.0F) : ground.darker(-amount * 3.0F); };
        g.setGradientFill(juce::ColourGradient::vertical(tilted(tilt), bounds.getY(), tilted(-tilt),
                                                         bounds.getBottom()));
        g.fillPath(shape);
        // A line of light on the upper edge of what stands out, of shade on what is pressed in.
        const auto line = bounds.reduced(2.0F, 1.0F).removeFromTop(1.0F);
        g.setColour(isSunk ? juce::Colours::black.withAlpha(0.18F)
                           : juce::Colours::white.withAlpha(state.isEnabled ? 0.55F : 0.2F));
        g.fillRect(line);
        g.setColour(palette.outline.darker(0.4F).withAlpha(state.isEnabled ? 1.0F : 0.5F));
        g.strokePath(shape, juce::PathStrokeType(1.0F));
    }

    void drawWell(juce::Graphics& g, juce::Rectangle<float> bounds, float cornerSize,
                  juce::Colour ground) override
    {
        g.setColour(ground);
        g.fillRoundedRectangle(bounds, cornerSize);
        if (juce::jmin(bounds.getWidth(), bounds.getHeight()) < 8.0F)
            return;
        g.setColour(ground.darker(0.5F));
        g.drawRoundedRectangle(bounds.reduced(0.5F), cornerSize - 0.5F, 1.0F);
    }

    void drawKnobScale(juce::Graphics& g, juce::Point<float> centre, float radius,
                       juce::Range<float> angles, float valueAngle,
                       const ControlState& state) override
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
        g.strokePath(makeKnobArc(centre, middle, angles.getStart(), valueAngle),
                     stroke(steelScaleWidth));
    }

    void drawCap(juce::Graphics& g, juce::Point<float> centre, float radius,
                 const ControlState& state) override
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

    void drawThumb(juce::Graphics& g, juce::Point<float> centre, float radius,
                   const ControlState& state, bool) override
    {
        drawCap(g, centre, radius, state);
    }

private:
    /// The disc of a knob or thumb, for a radius in pixels.
    const juce::Image& getDisc(int radius)
    {
        juce::Image& disc = discs[radius];
        if (disc.isNull())
            disc = makeDisc(radius * 2, palette.knob);
        return disc;
    }

    Plate plate{{juce::Colour(0xffc3c7ca), juce::Colour(0xffafb4b8), 0.015F, 0.05F}};
    Plate bar{{juce::Colour(0xff3d4348), juce::Colour(0xff2e3338), 0.016F, 0.03F}};
    std::map<int, juce::Image> discs;
};

} // namespace

std::unique_ptr<BaseTheme> makeSteelTheme()
{
    return std::make_unique<SteelTheme>();
}

} // namespace kalim::ui
