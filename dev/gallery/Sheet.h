#pragma once

#include "ui/themes/BaseTheme.h"

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace kalim::gallery
{

/// Paints the theme's background below what is added, and owns it.
class Sheet : public juce::Component
{
public:
    Sheet(int width, int height);
    ~Sheet() override;

    /// Adds a component, with a caption above it where one is given.
    template <typename Component>
    Component& place(std::unique_ptr<Component> component, juce::Rectangle<int> bounds,
                     const juce::String& caption = {})
    {
        Component& placed = *component;
        adopt(std::move(component), bounds, caption);
        return placed;
    }

    void paint(juce::Graphics& g) override;

    /// Shown states of buttons are put on last, since most changes put them back.
    void stage();

    ui::BaseTheme& getTheme() const;

private:
    struct Caption
    {
        juce::String text;
        juce::Rectangle<int> area;
    };

    void adopt(std::unique_ptr<juce::Component> component, juce::Rectangle<int> bounds,
               const juce::String& caption);

    std::vector<std::unique_ptr<juce::Component>> components;
    std::vector<Caption> captions;
};

/// Something that is drawn by a theme's functions alone.
class Drawing : public juce::Component
{
public:
    using Painter = std::function<void(juce::Graphics&, juce::Component&, ui::BaseTheme&)>;

    explicit Drawing(Painter painter);

    void paint(juce::Graphics& g) override;

private:
    Painter painter;
};

enum class Stage
{
    normal,
    hovered,
    pressed,
    focused,
    disabled
};

inline constexpr std::array allStages = {Stage::normal, Stage::hovered, Stage::pressed,
                                         Stage::focused, Stage::disabled};

juce::String getName(Stage stage);

/// Lets the component appear in the state, which its theme reads with `readStage`.
void setStage(juce::Component& component, Stage stage);

/// The state that a component is to appear in: the gallery has neither mouse nor keyboard.
ui::ControlState readStage(const juce::Component& component);

/// One picture of the gallery. To show a new component, write a function that makes a sheet with it
/// and add it to the list of its file.
struct Scene
{
    juce::String name;
    std::unique_ptr<Sheet> (*make)();
};

using Scenes = std::vector<Scene>;

Scenes getButtonScenes();
Scenes getSliderScenes();
Scenes getTextScenes();
Scenes getMenuScenes();
Scenes getWindowScenes();

} // namespace kalim::gallery
