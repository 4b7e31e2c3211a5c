#include "dev/gallery/Sheet.h"
#include "ui/controls/AboutDialog.h"

namespace kalim::gallery
{
namespace
{

class Rows : public juce::ListBoxModel
{
public:
    int getNumRows() override { return 20; }

    void paintListBoxItem(int row, juce::Graphics& g, int width, int height,
                          bool isSelected) override
    {
        auto& theme = dynamic_cast<ui::BaseTheme&>(juce::LookAndFeel::getDefaultLookAndFeel());
        if (isSelected)
            g.fillAll(theme.findColour(juce::TextEditor::highlightColourId));
        g.setColour(isSelected ? theme.getPalette().selection.text : theme.getPalette().field.text);
        g.setFont(theme.getRegularFont(14.0F));
        g.drawText("Device " + juce::String(row + 1), 8, 0, width - 8, height,
                   juce::Justification::centredLeft, true);
    }
};

class OwningListBox : public juce::ListBox
{
public:
    ~OwningListBox() override { setModel(nullptr); }

    Rows rows;
};

std::unique_ptr<Sheet> makeLists()
{
    auto sheet = std::make_unique<Sheet>(700, 250);
    auto list = std::make_unique<OwningListBox>();
    list->setModel(&list->rows);
    list->setRowHeight(22);
    list->selectRow(2);
    list->setOutlineThickness(1);
    sheet->place(std::move(list), {20, 28, 180, 150}, "list");
    auto files = std::make_unique<Drawing>(
        [](juce::Graphics& g, juce::Component& component, ui::BaseTheme& theme)
        {
            g.fillAll(theme.getPalette().field.ground);
            // The framework's rows never look at the list they belong to.
            juce::TimeSliceThread thread("none");
            juce::DirectoryContentsList contents(nullptr, thread);
            juce::FileListComponent fileList(contents);
            for (int i = 0; i < 5; ++i)
            {
                const juce::Graphics::ScopedSaveState saved(g);
                g.addTransform(
                    juce::AffineTransform::translation(0.0F, 22.0F * static_cast<float>(i)));
                const bool isFolder = i < 2;
                theme.drawFileBrowserRow(g, component.getWidth(), 22, {},
                                         isFolder ? "Folder" : "Living room.xml", nullptr, "1 KB",
                                         "12 May 2024 10:00", isFolder, i == 2, i, fileList);
            }
        });
    sheet->place(std::move(files), {220, 28, 460, 120}, "files");
    auto resizer = std::make_unique<juce::ResizableCornerComponent>(sheet.get(), nullptr);
    sheet->place(std::move(resizer), {684, 234, 16, 16});
    return sheet;
}

std::unique_ptr<Sheet> makeAbout()
{
    auto sheet = std::make_unique<Sheet>(400, 244);
    auto dialog = std::make_unique<ui::AboutDialog>();
    dialog->setPlugInName("Kalim");
    const juce::Rectangle<int> bounds = dialog->getLocalBounds().withPosition(20, 20);
    sheet->place(std::move(dialog), bounds);
    return sheet;
}

std::unique_ptr<Sheet> makeAlerts()
{
    auto sheet = std::make_unique<Sheet>(900, 440);
    auto& look = juce::LookAndFeel::getDefaultLookAndFeel();
    int index = 0;
    for (const auto icon :
         {juce::MessageBoxIconType::NoIcon, juce::MessageBoxIconType::WarningIcon,
          juce::MessageBoxIconType::InfoIcon, juce::MessageBoxIconType::QuestionIcon})
    {
        std::unique_ptr<juce::AlertWindow> window(look.createAlertWindow(
            "File already exists", "There's already a file called: Living room.xml. Replace it?",
            "Overwrite", "Cancel", {}, icon, 2, nullptr));
        window->removeFromDesktop();
        const auto bounds =
            window->getLocalBounds().withPosition(20 + 440 * (index % 2), 20 + 210 * (index / 2));
        sheet->place(std::move(window), bounds);
        ++index;
    }
    return sheet;
}

} // namespace

Scenes getWindowScenes()
{
    Scenes scenes = {{"lists", makeLists}, {"about", makeAbout}};
    // Windows with messages exist on a screen only.
    if (juce::Desktop::getInstance().getDisplays().getPrimaryDisplay() != nullptr)
        scenes.push_back({"alerts", makeAlerts});
    return scenes;
}

} // namespace kalim::gallery
