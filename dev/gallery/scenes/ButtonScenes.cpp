#include "Artwork.h"
#include "dev/gallery/Sheet.h"
#include "ui/controls/IconButton.h"

namespace kalim::gallery
{
namespace
{

std::unique_ptr<ui::IconButton> makeIconButton(const char* data, int size)
{
    auto button = std::make_unique<ui::IconButton>("icon");
    button->setIcon(juce::Drawable::createFromImageData(data, static_cast<size_t>(size)).release());
    return button;
}

std::unique_ptr<Sheet> makeTextButtons()
{
    auto sheet = std::make_unique<Sheet>(560, 200);
    int x = 20;
    for (const Stage stage : allStages)
    {
        int y = 28;
        for (const bool isOn : {false, true})
        {
            auto button = std::make_unique<juce::TextButton>(isOn ? "On" : "Button");
            button->setToggleState(isOn, juce::dontSendNotification);
            setStage(*button, stage);
            sheet->place(std::move(button), {x, y, 92, 24}, getName(stage));
            y += 56;
        }
        auto icon = makeIconButton(artwork::undo_svg, artwork::undo_svgSize);
        setStage(*icon, stage);
        sheet->place(std::move(icon), {x, y, 24, 24}, getName(stage));
        auto text = std::make_unique<ui::IconButton>("fallback");
        text->setButtonText("->");
        setStage(*text, stage);
        sheet->place(std::move(text), {x + 36, y, 24, 24});
        x += 106;
    }
    return sheet;
}

std::unique_ptr<Sheet> makeJoinedButtons()
{
    auto sheet = std::make_unique<Sheet>(560, 110);
    int x = 20;
    for (const Stage stage : allStages)
    {
        for (int i = 0; i < 3; ++i)
        {
            auto button = std::make_unique<juce::TextButton>(
                juce::String::charToString(static_cast<juce::juce_wchar>('A' + i)));
            const int edges = (i > 0 ? juce::Button::ConnectedOnLeft : 0) |
                              (i < 2 ? juce::Button::ConnectedOnRight : 0);
            button->setConnectedEdges(edges);
            button->setToggleState(i == 0, juce::dontSendNotification);
            if (i < 2)
                setStage(*button, stage);
            sheet->place(std::move(button), {x + 24 * i, 28, 24, 24},
                         i == 0 ? getName(stage) : juce::String());
        }
        for (int i = 0; i < 2; ++i)
        {
            auto button = std::make_unique<juce::TextButton>(i == 0 ? "top" : "bottom");
            button->setConnectedEdges(i == 0 ? juce::Button::ConnectedOnBottom
                                             : juce::Button::ConnectedOnTop);
            if (i == 1)
                setStage(*button, stage);
            sheet->place(std::move(button), {x, 58 + 22 * i, 72, 22});
        }
        x += 106;
    }
    return sheet;
}

std::unique_ptr<Sheet> makeIcons()
{
    auto sheet = std::make_unique<Sheet>(340, 60);

    struct Icon
    {
        const char* data;
        int size;
    };

    const std::array icons = {Icon{artwork::undo_svg, artwork::undo_svgSize},
                              Icon{artwork::redo_svg, artwork::redo_svgSize},
                              Icon{artwork::copyRight_svg, artwork::copyRight_svgSize},
                              Icon{artwork::copyLeft_svg, artwork::copyLeft_svgSize},
                              Icon{artwork::arrowLeft_svg, artwork::arrowLeft_svgSize},
                              Icon{artwork::arrowRight_svg, artwork::arrowRight_svgSize},
                              Icon{artwork::menu_svg, artwork::menu_svgSize}};
    int x = 16;
    for (const Icon& icon : icons)
    {
        sheet->place(makeIconButton(icon.data, icon.size), {x, 18, 24, 24});
        x += 40;
    }
    return sheet;
}

std::unique_ptr<Sheet> makeToggles()
{
    auto sheet = std::make_unique<Sheet>(620, 340);
    int y = 14;
    for (const Stage stage : allStages)
    {
        int x = 20;
        for (const bool isOn : {false, true})
        {
            auto toggle =
                std::make_unique<juce::ToggleButton>("Listen to removed signal, " + getName(stage));
            toggle->setToggleState(isOn, juce::dontSendNotification);
            setStage(*toggle, stage);
            sheet->place(std::move(toggle), {x, y, 272, 24});
            x += 300;
        }
        y += 34;
    }
    const juce::String longText = "A text that is too long for a single line of this toggle button";
    sheet->place(std::make_unique<juce::ToggleButton>(longText), {20, y + 8, 272, 64});
    sheet->place(std::make_unique<juce::ToggleButton>(longText), {20, y + 90, 272, 24});
    return sheet;
}

} // namespace

Scenes getButtonScenes()
{
    return {{"buttons", makeTextButtons},
            {"buttons-joined", makeJoinedButtons},
            {"icons", makeIcons},
            {"toggles", makeToggles}};
}

} // namespace kalim::gallery
