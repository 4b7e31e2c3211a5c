#pragma once

#include "dsp/hum/Kalimmer.h"
#include "ui/BasePluginEditor.h"
#include "ui/ParameterSlider.h"
#include "ui/PlugInEditorHeader.h"
#include "ui/plot/Axis.h"
#include "ui/plot/CurveEditor.h"

#include <atomic>
#include <cmath>
#include <memory>
#include <vector>

namespace kalim::ui
{

/// A logarithmic scale of frequencies in Hz onto positions from 0 to 1. Single precision
/// throughout, so that a position and its frequency are found alike wherever they are needed.
class FrequencyScale
{
public:
    FrequencyScale(float minFrequency, float maxFrequency)
        : minimum(minFrequency)
        , decades(std::log10(maxFrequency / minFrequency))
    {
    }

    /// Below 0 or above 1 for frequencies off the scale.
    float toPosition(float frequency) const { return std::log10(frequency / minimum) / decades; }

    float toFrequency(float position) const
    {
        return minimum * std::pow(10.0F, position * decades);
    }

private:
    float minimum;
    float decades;
};

} // namespace kalim::ui

/// The window of the plug-in: the live spectrum with a marker for each tracked harmonic and a
/// handle for the fundamental, four knobs and three switches. Reads the processor 25 times a
/// second. Message thread, but for `parameterChanged`.
class KalimAudioProcessorEditor : public BasePluginEditor,
                                  private juce::Timer,
                                  private juce::Button::Listener,
                                  private juce::Slider::Listener,
                                  private kalim::ui::CurveEditor::Listener,
                                  private BasePlugInProcessor::Listener
{
public:
    explicit KalimAudioProcessorEditor(BasePlugInProcessor* owner);
    ~KalimAudioProcessorEditor() override;

    void paint(juce::Graphics& g) override;
    void paintOverChildren(juce::Graphics& g) override;
    void resized() override;
    void updateParameterControls() override;
    void setControlHighlight(ParameterControlHighlightInfo info) override;

    /// The magnitudes of a spectrum of C channels as a line of at most `numPoints` points over the
    /// displayed frequencies. Bins that would repeat are left out, so there are fewer points at low
    /// frequencies.
    kalim::ui::Curve createCurve(const orvo::audio::Signal32& magnitudes, juce::Colour fillColour,
                                 juce::Colour lineColour, float sampleRate, int numPoints) const;

    /// Reads spectrum, harmonics and changed parameters. Called by the timer.
    void timerCallback() override;

private:
    using CurveEditor = kalim::ui::CurveEditor;

    struct Knob
    {
        ParameterSlider* slider;
        int parameterId;
    };

    struct Toggle
    {
        juce::Button* button;
        int parameterId;
    };

    void addControls();
    void addToTabOrder(juce::Component& component);
    void addKnob(ParameterSlider& slider, int parameterId, const juce::String& tooltip,
                 juce::Label& label, const juce::String& text);
    void addToggle(juce::ToggleButton& toggle, int parameterId, const juce::String& text,
                   const juce::String& tooltip);
    void addAxes();
    void restoreSize();
    void updateGrid(double sampleRate);
    void updateSpectrum(float sampleRate);
    void updateHandles();

    void beginUndoStep(const juce::Slider* slider);
    void parameterChanged(int index) override;
    void buttonClicked(juce::Button* button) override;
    void sliderDragStarted(juce::Slider* slider) override;
    void sliderDragEnded(juce::Slider* slider) override;
    void sliderValueChanged(juce::Slider* slider) override;
    void handleDragStarted(CurveEditor* editor, int index, CurveEditor::Handle& handle) override;
    void handleDragEnded(CurveEditor* editor, int index, CurveEditor::Handle& handle) override;
    void handlePositionChanged(CurveEditor* editor, int index,
                               CurveEditor::Handle& handle) override;
    juce::String getCursorInfoFromPoint(CurveEditor* editor, juce::Point<float> position) override;

    static constexpr float displayMinFrequency = 40.0F;
    static constexpr float displayMaxFrequency = 2000.0F;
    const kalim::ui::FrequencyScale scale{displayMinFrequency, displayMaxFrequency};

    BasePlugInProcessor* plugIn;
    orvo::audio::Kalimmer* engine = nullptr;
    double lastSampleRate = 44100.0;
    std::atomic<bool> parametersChanged{false};
    ParameterControlHighlightInfo highlight{-1, false, juce::Colours::transparentBlack};

    PlugInEditorHeader header;
    juce::ToggleButton residualToggle{"residualToggle"};
    kalim::ui::Axis spectrumAxis{"spectrumAxis"};
    kalim::ui::Axis horizontalAxis{"horizontalAxis"};
    ParameterSlider frequencySlider{"frequencySlider"};
    juce::Label frequencyLabel{"frequencyLabel"};
    CurveEditor spectrumCurveEditor{"spectrumCurveEditor"};
    ParameterSlider sensitivitySlider{"sensitivitySlider"};
    juce::Label detectionLabel{"detectionLabel"};
    ParameterSlider harmonicsSlider{"harmonicsSlider"};
    juce::Label reductionLabel{"reductionLabel"};
    juce::ToggleButton oddHarmonicsToggle{"oddHarmonicsToggle"};
    ParameterSlider adaptivitySlider{"adaptivitySlider"};
    juce::Label adaptivityLabel{"adaptivityLabel"};
    /// Spelled so on purpose: the component is known by this name.
    juce::ToggleButton aggresiveToggle{"aggresiveToggle"};
    std::vector<Knob> knobs;
    std::vector<Toggle> toggles;
    int numInTabOrder = 0;
    juce::ComponentBoundsConstrainer constrainer;
    juce::ResizableCornerComponent resizer{this, &constrainer};
};

namespace kalim::ui
{

/// An editor for hosts, which own it. Message thread.
std::unique_ptr<juce::AudioProcessorEditor> createKalimEditor(BasePlugInProcessor& plugIn);

} // namespace kalim::ui
