#include "dev/gallery/Scenes.h"
#include "ui/themes/DarkTheme.h"
#include "ui/themes/SteelTheme.h"

#include <iostream>

namespace
{

bool writePicture(const juce::Image& image, const juce::File& file)
{
    file.deleteFile();
    juce::FileOutputStream stream(file);
    juce::PNGImageFormat format;
    return stream.openedOk() && format.writeImageToStream(image, stream);
}

bool show(const Scene& scene, BaseTheme& theme, const juce::String& themeName,
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

bool showAll(BaseTheme& theme, const juce::String& themeName, const juce::File& folder)
{
    // Windows that are made by the framework take the default look.
    juce::LookAndFeel::setDefaultLookAndFeel(&theme);
    bool isWritten = true;
    for (const auto& scenes : {getButtonScenes(), getSliderScenes(), getTextScenes(),
                               getMenuScenes(), getWindowScenes(), getEditorScenes()})
        for (const Scene& scene : scenes)
            isWritten = show(scene, theme, themeName, folder) && isWritten;
    juce::LookAndFeel::setDefaultLookAndFeel(nullptr);
    return isWritten;
}

} // namespace

/// Writes a picture of every scene, in both themes and at three scales, into the folder given.
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
    StagedTheme<DarkTheme> dark;
    StagedTheme<SteelTheme> steel;
    const bool isDarkWritten = showAll(dark, "dark", folder);
    const bool isSteelWritten = showAll(steel, "steel", folder);
    if (isDarkWritten && isSteelWritten)
        return 0;
    std::cerr << "kalim_gallery: some pictures could not be written\n";
    return 1;
}
