#include "dev/gallery/Sheet.h"
#include "ui/themes/Themes.h"

#include <iostream>

namespace kalim::gallery
{
namespace
{

bool writePicture(const juce::Image& image, const juce::File& file)
{
    file.deleteFile();
    juce::FileOutputStream stream(file);
    juce::PNGImageFormat format;
    return stream.openedOk() && format.writeImageToStream(image, stream);
}

bool show(const Scene& scene, ui::BaseTheme& theme, const juce::String& themeName,
          const juce::File& folder)
{
    const std::unique_ptr<Sheet> sheet = scene.make();
    sheet->setLookAndFeel(&theme);
    sheet->stage();
    bool isWritten = true;
    for (const float scale : {1.0F, 1.5F, 2.0F})
    {
        const juce::Image image =
            sheet->createComponentSnapshot(sheet->getLocalBounds(), true, scale);
        const juce::String name =
            scene.name + "-" + themeName + "@" + juce::String(scale, 1) + "x.png";
        isWritten = writePicture(image, folder.getChildFile(name)) && isWritten;
    }
    return isWritten;
}

bool showAll(const ui::Theme& row, const juce::File& folder)
{
    const std::unique_ptr<ui::BaseTheme> theme = row.make();
    theme->setStateReader(readStage);
    // Windows that are made by the framework take the default look.
    juce::LookAndFeel::setDefaultLookAndFeel(theme.get());
    const juce::String themeName = juce::String(row.name).fromLastOccurrenceOf(" ", false, false);
    bool isWritten = true;
    for (const auto& scenes : {getButtonScenes(), getSliderScenes(), getTextScenes(),
                               getMenuScenes(), getWindowScenes()})
        for (const Scene& scene : scenes)
            isWritten = show(scene, *theme, themeName, folder) && isWritten;
    juce::LookAndFeel::setDefaultLookAndFeel(nullptr);
    return isWritten;
}

} // namespace
} // namespace kalim::gallery

/// Writes a picture of every scene, in every theme and at three scales, into the folder given.
int main(int argumentCount, char* arguments[])
{
    const juce::ScopedJuceInitialiser_GUI framework;
    const juce::File folder = juce::File::getCurrentWorkingDirectory().getChildFile(
        juce::CharPointer_UTF8(argumentCount > 1 ? arguments[1] : "gallery"));
    if (!folder.createDirectory())
    {
        std::cerr << "kalim_gallery: cannot make the folder " << folder.getFullPathName() << '\n';
        return 1;
    }
    bool isWritten = true;
    for (const kalim::ui::Theme& theme : kalim::ui::themes)
        isWritten = kalim::gallery::showAll(theme, folder) && isWritten;
    if (isWritten)
        return 0;
    std::cerr << "kalim_gallery: some pictures could not be written\n";
    return 1;
}
