#include "ui/KalimAudioProcessorEditor.h"

#include <algorithm>
#include <memory>

using namespace kalim::ui;

namespace
{

using orvo::audio::Kalimmer;

constexpr int smallestWidth = 680;
constexpr int smallestHeight = 424;
constexpr int refreshMilliseconds = 40;

constexpr const char* widthKey = "Kalim-LastWindowWidth";
constexpr const char* heightKey = "Kalim-LastWindowHeight";

} // namespace

KalimAudioProcessorEditor::KalimAudioProcessorEditor(BasePlugInProcessor* owner)
    : BasePluginEditor(owner)
    , plugIn(owner)
    , engine(dynamic_cast<Kalimmer*>(owner->getBaseProcessor().get()))
{
    addAndMakeVisible(header);
    addAndMakeVisible(spectrumCurveEditor);
    spectrumCurveEditor.setTitle(juce::translate("Spectral level (dB)"));
    spectrumCurveEditor.setDescription(juce::translate("The fundamental frequency of the hum"));
    addToTabOrder(header);
    addToTabOrder(spectrumCurveEditor);
    addControls();
    addAndMakeVisible(resizer);

    setSize(smallestWidth, smallestHeight);
    constrainer.setMinimumSize(smallestWidth, smallestHeight);
    setConstrainer(&constrainer);
    restoreSize();
    updateParameterControls();
    addAxes();
    updateGrid(lastSampleRate);
    spectrumCurveEditor.addListener(this);
    plugIn->addListener(this);
    header.attach(this, plugIn);
    parametersChanged = false;
    startTimer(refreshMilliseconds);
}

void KalimAudioProcessorEditor::addToTabOrder(juce::Component& component)
{
    component.setExplicitFocusOrder(++numInTabOrder);
}

void KalimAudioProcessorEditor::addControls()
{
    addKnob(frequencySlider, Kalimmer::FundamentalFrequency,
            juce::translate("The fundamental frequency of the hum"), frequencyLabel,
            juce::translate("Frequency\n(Hz)"));
    addKnob(sensitivitySlider, Kalimmer::Sensitivity,
            juce::translate("The sensitivity of the hum signal detection in percent."),
            // Spelled so on purpose: the translations know the text by its spelling.
            detectionLabel, juce::translate("Sensitiviy\n(%)"));
    addKnob(adaptivitySlider, Kalimmer::Adaptivity,
            juce::translate("The maximum change rate of the fundamental frequency"),
            adaptivityLabel, juce::translate("Adaptivity\n(Hz/s)"));
    addKnob(harmonicsSlider, Kalimmer::NumberOfHarmonics,
            juce::translate("The number of harmonics to remove"), reductionLabel,
            juce::translate("Number of\nharmonics"));
    for (ParameterSlider* const slider : {&frequencySlider, &sensitivitySlider, &harmonicsSlider})
        slider->setSkewFactor(0.8);
    addToggle(oddHarmonicsToggle, Kalimmer::OnlyOddHarmonics, juce::translate("Only odd harmonics"),
              juce::translate(
                  "Enable this if you want to process only odd harmonics and leave even harmonics "
                  "unprocessed. Hum signals that are symmetrical around zero will contain only odd "
                  "harmonics."));
    addToggle(aggresiveToggle, Kalimmer::AggressiveMode, juce::translate("Aggressive hum removal"),
              juce::translate(
                  "Notch filters are used in the aggressive mode. These affect the wanted signal, "
                  "but can be useful for severely damaged recordings."));
    addToggle(residualToggle, Kalimmer::ResidualMode, juce::translate("Listen to removed signal"),
              juce::translate("Listen to the signal that was removed during the restoration "
                              "process (residual signal)."));
}

KalimAudioProcessorEditor::~KalimAudioProcessorEditor()
{
    stopTimer();
    plugIn->removeListener(this);
    spectrumCurveEditor.removeListener(this);
    remember(widthKey, getWidth());
    remember(heightKey, getHeight());
}

void KalimAudioProcessorEditor::addKnob(ParameterSlider& slider, int parameterId,
                                        const juce::String& tooltip, juce::Label& label,
                                        const juce::String& text)
{
    knobs.push_back({&slider, parameterId});
    addToTabOrder(slider);
    slider.setSliderStyle(juce::Slider::RotaryVerticalDrag);
    slider.setTextBoxStyle(juce::Slider::TextBoxBelow, false, 60, 20);
    slider.setTooltip(tooltip);
    slider.setTitle(text.replaceCharacter('\n', ' '));
    slider.setWantsKeyboardFocus(true);
    slider.addListener(this);
    addAndMakeVisible(slider);

    label.setText(text, juce::dontSendNotification);
    label.setFont(juce::Font(13.0F));
    label.setJustificationType(juce::Justification::centred);
    label.setEditable(false);
    label.setColour(juce::TextEditor::textColourId, juce::Colours::black);
    addAndMakeVisible(label);
}

void KalimAudioProcessorEditor::addToggle(juce::ToggleButton& toggle, int parameterId,
                                          const juce::String& text, const juce::String& tooltip)
{
    toggles.push_back({&toggle, parameterId});
    addToTabOrder(toggle);
    toggle.setButtonText(text);
    toggle.setTooltip(tooltip);
    toggle.addListener(this);
    addAndMakeVisible(toggle);
}

void KalimAudioProcessorEditor::addAxes()
{
    spectrumAxis.setValueRange({-100.0, 0.0});
    spectrumAxis.setLabelText(juce::translate("Spectral level (dB)"));
    addAndMakeVisible(spectrumAxis);
    horizontalAxis.setPlacement(AxisPlacement::bottom);
    horizontalAxis.setValueMapping(std::make_shared<LogarithmicValueMapping>());
    horizontalAxis.setValueRange({displayMinFrequency, displayMaxFrequency});
    horizontalAxis.setLabelText(juce::translate("Frequency (Hz)"));
    addAndMakeVisible(horizontalAxis);
}

void KalimAudioProcessorEditor::restoreSize()
{
    // Whatever the file says, the window must stay on the screen.
    constexpr int largestWithoutScreen = 1 << 14;
    const auto limit = [](int value, int smallest, int screen)
    {
        const int largest = screen > 0 ? screen : largestWithoutScreen;
        return std::clamp(value, smallest, std::max(smallest, largest));
    };
    const juce::Rectangle<int> screens =
        juce::Desktop::getInstance().getDisplays().getTotalBounds(true);
    const juce::PropertiesFile& remembered = plugIn->getProperties();
    setSize(
        limit(remembered.getIntValue(widthKey, getWidth()), smallestWidth, screens.getWidth()),
        limit(remembered.getIntValue(heightKey, getHeight()), smallestHeight, screens.getHeight()));
}

void KalimAudioProcessorEditor::paint(juce::Graphics& g)
{
    if (auto* const theme = dynamic_cast<BaseTheme*>(&getLookAndFeel()))
        theme->paintBackground(g, getWidth(), getHeight());
}

void KalimAudioProcessorEditor::paintOverChildren(juce::Graphics& g)
{
    if (!highlight.isHighlighted)
        return;
    g.setColour(highlight.suggestedColour);
    for (juce::Component* const child : getChildren())
        if (getControlParameterIndex(*child) == highlight.parameterIndex)
            g.drawRoundedRectangle(child->getBounds().toFloat(), 4.0F, 2.0F);
}

void KalimAudioProcessorEditor::setControlHighlight(ParameterControlHighlightInfo info)
{
    highlight = info;
    repaint();
}

void KalimAudioProcessorEditor::resized()
{
    BasePluginEditor::resized();
    const int width = getWidth();
    const int height = getHeight();
    header.setBounds(0, 0, width, 48);
    spectrumAxis.setBounds(8, 48, 48, height - 216);
    spectrumCurveEditor.setBounds(56, 64, width - 80, height - 248);
    horizontalAxis.setBounds(40, height - 184, width - 48, 40);
    const auto placeColumn = [height](int x, juce::Label& label, juce::Slider& slider)
    {
        label.setBounds(x, height - 136, 88, 28);
        slider.setBounds(x, height - 104, 88, 84);
    };
    placeColumn(8, frequencyLabel, frequencySlider);
    placeColumn(104, detectionLabel, sensitivitySlider);
    placeColumn(200, adaptivityLabel, adaptivitySlider);
    placeColumn(296, reductionLabel, harmonicsSlider);
    oddHarmonicsToggle.setBounds(392, height - 128, 272, 64);
    aggresiveToggle.setBounds(392, height - 60, 272, 24);
    residualToggle.setBounds(392, height - 38, 272, 24);
    resizer.setBounds(width - 16, height - 16, 16, 16);
    updateGrid(lastSampleRate);
}

void KalimAudioProcessorEditor::updateParameterControls()
{
    for (const auto& [slider, id] : knobs)
        slider->attachParameter(plugIn, engine, id, true);
    for (const auto& [toggle, id] : toggles)
        toggle->setToggleState(engine->getParameterValue(id) > 0.5F, juce::dontSendNotification);
    // Exactly 0.5, which no switch writes, is off for the switch and on for the sensitivity.
    sensitivitySlider.setEnabled(engine->getParameterValue(Kalimmer::AggressiveMode) < 0.5F);
    header.updatePresetName();
}

void KalimAudioProcessorEditor::parameterChanged(int)
{
    parametersChanged = true;
}

void KalimAudioProcessorEditor::beginUndoStep(const juce::Slider* slider)
{
    for (const Knob& knob : knobs)
        if (knob.slider != slider)
            knob.slider->endWheelGesture();
    plugIn->addUndoState();
}

void KalimAudioProcessorEditor::buttonClicked(juce::Button* button)
{
    beginUndoStep(nullptr);
    const int id = std::ranges::find(toggles, button, &Toggle::button)->parameterId;
    const int index = plugIn->findPublicParameterIndex(id);
    plugIn->beginParameterGesture(index);
    engine->setParameterValue(id, button->getToggleState() ? 1.0F : 0.0F, true);
    plugIn->notifyInternalParameterChange(id);
    plugIn->endParameterGesture(index);
    plugIn->removeUndoStateIfUnchanged();
    if (button == &aggresiveToggle)
        sensitivitySlider.setEnabled(!button->getToggleState());
}

void KalimAudioProcessorEditor::sliderDragStarted(juce::Slider* slider)
{
    if (std::ranges::find(knobs, slider, &Knob::slider)->slider->getGestureDepth() == 1)
        beginUndoStep(slider);
}

void KalimAudioProcessorEditor::sliderDragEnded(juce::Slider* slider)
{
    if (std::ranges::find(knobs, slider, &Knob::slider)->slider->getGestureDepth() == 0)
        plugIn->removeUndoStateIfUnchanged();
}

// The slider writes its parameter itself.
void KalimAudioProcessorEditor::sliderValueChanged(juce::Slider*) {}

void KalimAudioProcessorEditor::handleDragStarted(CurveEditor*, int index, CurveEditor::Handle&)
{
    beginUndoStep(nullptr);
    if (index == 0)
        frequencySlider.startedDragging();
}

void KalimAudioProcessorEditor::handleDragEnded(CurveEditor*, int index, CurveEditor::Handle&)
{
    // After the last value, which is on its way.
    juce::MessageManager::callAsync(
        [self = SafePointer<KalimAudioProcessorEditor>(this), index]
        {
            if (self == nullptr)
                return;
            if (index == 0)
                self->frequencySlider.stoppedDragging();
            self->plugIn->removeUndoStateIfUnchanged();
        });
}

void KalimAudioProcessorEditor::handlePositionChanged(CurveEditor*, int index,
                                                      CurveEditor::Handle& handle)
{
    if (index != 0)
        return;
    handle.y = 1.0F;
    float min = 0.0F;
    float max = 0.0F;
    engine->getParameterRange(Kalimmer::FundamentalFrequency, min, max);
    const float frequency = std::clamp(scale.toFrequency(handle.x), min, max);
    frequencySlider.setValue(static_cast<double>(frequency), juce::sendNotificationAsync);
    handle.x = scale.toPosition(frequency);
}

juce::String KalimAudioProcessorEditor::getCursorInfoFromPoint(CurveEditor*,
                                                               juce::Point<float> position)
{
    return juce::String(scale.toFrequency(position.x), 2) + " Hz";
}

std::unique_ptr<juce::AudioProcessorEditor>
kalim::ui::createKalimEditor(BasePlugInProcessor& plugIn)
{
    return std::make_unique<KalimAudioProcessorEditor>(&plugIn);
}
