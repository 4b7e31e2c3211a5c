#include "ui/themes/BrushedMetal.h"

#include <cmath>
#include <vector>

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

} // namespace

juce::Image BrushedMetal::makePlate(int width, int height, const Look& look)
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

juce::Image BrushedMetal::makeDisc(int size, juce::Colour colour)
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
