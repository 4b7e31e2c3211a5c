// What the editor shows of the sound: spectrum, grid and harmonics.

#include "dsp/signal/MathEx.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace kalim::ui;

namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

constexpr float floorDb = -100.0F;
constexpr float lineThickness = 1.5F;
constexpr float handleSize = 20.0F;
constexpr int labelHeight = 16;
const juce::Colour fundamentalColour(0xFFEEAC18);

float meanOfChannels(const Signal32& magnitudes, int bin)
{
    float sum = 0.0F;
    for (int channel = 0; channel < magnitudes.getNumChannels(); ++channel)
        sum += magnitudes.getReadChannelPtr(channel)[bin];
    return sum / static_cast<float>(magnitudes.getNumChannels());
}

CurveHandle makeHandle(float x, int shape, juce::Colour colour)
{
    return {.x = x,
            .y = 1.0F,
            .size = handleSize,
            .shape = shape,
            .colour = colour,
            .labelHeight = labelHeight};
}

} // namespace

void KalimAudioProcessorEditor::timerCallback()
{
    const double sampleRate = plugIn->getPreparedSampleRate();
    if (parametersChanged.exchange(false))
        updateParameterControls();
    header.updateHistoryButtons();
    updateSpectrum(static_cast<float>(sampleRate));
    updateHandles();
    if (sampleRate > 0.0 && sampleRate != lastSampleRate)
    {
        // Only the axis follows the rate: the plot keeps its own span, and the grid waits for the
        // next change of size.
        horizontalAxis.setValueRange({20.0, std::round(sampleRate * 0.5)});
        lastSampleRate = sampleRate;
    }
}

void KalimAudioProcessorEditor::updateSpectrum(float sampleRate)
{
    const Signal32 magnitudes = engine->getInputMagnitudes();
    if (magnitudes.getNumChannels() == 0 || magnitudes.getNumSamples() == 0)
        return;
    // No colours for an unknown theme, though the rest of the window is dark then.
    const Theme* const theme = findTheme(getTheme());
    const juce::Colour fill(theme == nullptr ? 0 : theme->spectrumFill);
    const juce::Colour line(theme == nullptr ? 0 : theme->spectrumColour);
    spectrumCurveEditor.setCurve(
        0, createCurve(magnitudes, fill, line, sampleRate, spectrumCurveEditor.getWidth()));
}

void KalimAudioProcessorEditor::updateHandles()
{
    spectrumCurveEditor.clearHandles();
    const float fundamental = engine->getParameterValue(Kalimmer::FundamentalFrequency);
    spectrumCurveEditor.setHandle(
        0, makeHandle(scale.toPosition(fundamental), CurveHandle::triangle, fundamentalColour));
    int number = 0;
    for (const orvo::audio::HarmonicStatus& harmonic : engine->getDetectionStatus())
    {
        CurveHandle handle =
            makeHandle(scale.toPosition(harmonic.frequency), CurveHandle::marker,
                       harmonic.present ? juce::Colours::green : juce::Colours::red);
        handle.isDashed = !harmonic.present;
        spectrumCurveEditor.setHandle(++number, handle);
    }
}

// 30, 40, ... 90, 100, 200, ... Hz up to half the rate. The plot leaves out those beyond its edges.
void KalimAudioProcessorEditor::updateGrid(double sampleRate)
{
    std::vector<double> frequencies;
    const double nyquist = sampleRate * 0.5;
    if (nyquist > 30.0)
    {
        double frequency = 30.0;
        double step = 10.0;
        do
        {
            frequencies.push_back(
                static_cast<double>(scale.toPosition(static_cast<float>(frequency))));
            if (step * 10.0 <= frequency)
                step *= 10.0;
            frequency += step;
        } while (nyquist > frequency);
    }
    spectrumCurveEditor.setGridPositions(spectrumAxis.getCurrentMarkerPositions(), frequencies);
}

Curve KalimAudioProcessorEditor::createCurve(const Signal32& magnitudes, juce::Colour fillColour,
                                             juce::Colour lineColour, float sampleRate,
                                             int numPoints) const
{
    std::vector<juce::Point<float>> points;
    const int numBins = magnitudes.getNumSamples();
    const float ratio = std::pow(displayMaxFrequency / displayMinFrequency,
                                 1.0F / static_cast<float>(std::max(numPoints, 1)));
    float frequency = displayMinFrequency;
    int previousBin = -1;
    for (int k = 0; k < numPoints; ++k, frequency *= ratio)
    {
        const float position = frequency / (sampleRate * 0.5F + 1.0F);
        const int bin =
            std::clamp(juce::roundToInt(position * static_cast<float>(numBins)), 0, numBins - 1);
        if (bin == previousBin)
            continue;
        previousBin = bin;
        const float level = orvo::MathEx::toDecibel(meanOfChannels(magnitudes, bin), floorDb);
        points.emplace_back(scale.toPosition(frequency), (level - floorDb) / -floorDb);
    }
    return {std::move(points), fillColour, lineColour, lineThickness};
}
