#pragma once

#include "ui/themes/BaseTheme.h"

/// "Simplistic dark": flat and calm; only what is set shines.
class DarkTheme : public BaseTheme
{
public:
    DarkTheme();

    static Palette makePalette();

    void paintBackground(juce::Graphics& g, int width, int height) override;
    void paintHeaderBackground(juce::Graphics& g, int width, int height,
                               const juce::String& title) override;

protected:
    void drawControlSurface(juce::Graphics& g, const juce::Path& shape,
                            juce::Rectangle<float> bounds, juce::Colour ground,
                            const ControlState& state, bool isOn) override;
    void drawWell(juce::Graphics& g, juce::Rectangle<float> bounds, float cornerSize,
                  juce::Colour ground) override;
    void drawKnobScale(juce::Graphics& g, juce::Point<float> centre, float radius,
                       juce::Range<float> angles, float valueAngle,
                       const ControlState& state) override;
    void drawCap(juce::Graphics& g, juce::Point<float> centre, float radius,
                 const ControlState& state) override;
    void drawThumb(juce::Graphics& g, juce::Point<float> centre, float radius,
                   const ControlState& state, bool isOn) override;

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(DarkTheme)
};
