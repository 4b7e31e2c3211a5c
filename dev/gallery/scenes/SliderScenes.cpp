#include "dev/gallery/Sheet.h"

namespace kalim::gallery
{
namespace
{

std::unique_ptr<juce::Slider> makeKnob(double value)
{
    auto slider = std::make_unique<juce::Slider>(juce::Slider::RotaryVerticalDrag,
                                                 juce::Slider::TextBoxBelow);
    slider->setTextBoxStyle(juce::Slider::TextBoxBelow, false, 60, 20);
    slider->setRange(0.0, 100.0, 0.01);
    slider->setValue(value, juce::dontSendNotification);
    return slider;
}

std::unique_ptr<Sheet> makeKnobs()
{
    auto sheet = std::make_unique<Sheet>(520, 240);
    int x = 16;
    for (const Stage stage : allStages)
    {
        auto knob = makeKnob(stage == Stage::pressed ? 80.0 : 35.0);
        setStage(*knob, stage);
        sheet->place(std::move(knob), {x, 26, 88, 84}, getName(stage));
        x += 100;
    }
    x = 16;
    for (const double value : {0.0, 1.0, 50.0, 99.0, 100.0})
    {
        sheet->place(makeKnob(value), {x, 140, 88, 84}, juce::String(value));
        x += 100;
    }
    return sheet;
}

std::unique_ptr<Sheet> makeLinearSliders()
{
    auto sheet = std::make_unique<Sheet>(520, 270);
    int y = 26;
    for (const Stage stage : allStages)
    {
        auto slider = std::make_unique<juce::Slider>(juce::Slider::LinearHorizontal,
                                                     juce::Slider::TextBoxRight);
        slider->setRange(0.0, 10.0, 0.1);
        slider->setValue(3.5, juce::dontSendNotification);
        setStage(*slider, stage);
        sheet->place(std::move(slider), {16, y, 300, 24}, getName(stage));
        y += 48;
    }
    int x = 340;
    for (const Stage stage : {Stage::normal, Stage::focused, Stage::disabled})
    {
        auto slider = std::make_unique<juce::Slider>(juce::Slider::LinearVertical,
                                                     juce::Slider::TextBoxBelow);
        slider->setTextBoxStyle(juce::Slider::TextBoxBelow, false, 44, 20);
        slider->setRange(0.0, 10.0, 0.1);
        slider->setValue(6.0, juce::dontSendNotification);
        setStage(*slider, stage);
        sheet->place(std::move(slider), {x, 26, 48, 220}, getName(stage));
        x += 58;
    }
    return sheet;
}

} // namespace

Scenes getSliderScenes()
{
    return {{"knobs", makeKnobs}, {"sliders", makeLinearSliders}};
}

} // namespace kalim::gallery
