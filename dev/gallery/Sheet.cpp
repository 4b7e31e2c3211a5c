#include "dev/gallery/Sheet.h"

namespace kalim::gallery
{
namespace
{

// Names under which a component's properties hold its state.
const juce::Identifier hovered("hovered");
const juce::Identifier pressed("pressed");
const juce::Identifier focused("focused");

} // namespace

Sheet::Sheet(int width, int height)
{
    setSize(width, height);
}

Sheet::~Sheet()
{
    setLookAndFeel(nullptr);
}

void Sheet::adopt(std::unique_ptr<juce::Component> component, juce::Rectangle<int> bounds,
                  const juce::String& caption)
{
    if (caption.isNotEmpty())
        captions.push_back({caption, bounds.withY(bounds.getY() - 18).withSize(140, 16)});
    component->setBounds(bounds);
    addAndMakeVisible(*component);
    components.push_back(std::move(component));
}

ui::BaseTheme& Sheet::getTheme() const
{
    return dynamic_cast<ui::BaseTheme&>(getLookAndFeel());
}

void Sheet::paint(juce::Graphics& g)
{
    ui::BaseTheme& theme = getTheme();
    theme.paintBackground(g, getWidth(), getHeight());
    g.setFont(theme.getRegularFont(12.0F));
    g.setColour(theme.getPalette().secondaryText);
    for (const Caption& caption : captions)
        g.drawText(caption.text, caption.area, juce::Justification::centredLeft, false);
}

void Sheet::stage()
{
    for (const auto& component : components)
        if (auto* button = dynamic_cast<juce::Button*>(component.get()))
        {
            if (button->getProperties().contains(pressed))
                button->setState(juce::Button::buttonDown);
            else if (button->getProperties().contains(hovered))
                button->setState(juce::Button::buttonOver);
        }
}

Drawing::Drawing(Painter drawingPainter)
    : painter(std::move(drawingPainter))
{
}

void Drawing::paint(juce::Graphics& g)
{
    painter(g, *this, dynamic_cast<ui::BaseTheme&>(getLookAndFeel()));
}

juce::String getName(Stage stage)
{
    constexpr std::array names = {"normal", "hover", "pressed", "focused", "disabled"};
    return names[static_cast<size_t>(stage)];
}

void setStage(juce::Component& component, Stage stage)
{
    component.setEnabled(stage != Stage::disabled);
    if (stage == Stage::hovered || stage == Stage::pressed)
        component.getProperties().set(hovered, true);
    if (stage == Stage::pressed)
        component.getProperties().set(pressed, true);
    if (stage == Stage::focused)
        component.getProperties().set(focused, true);
}

ui::ControlState readStage(const juce::Component& component)
{
    const juce::NamedValueSet& properties = component.getProperties();
    return {component.isEnabled(), properties.contains(hovered), properties.contains(pressed),
            properties.contains(focused)};
}

} // namespace kalim::gallery
