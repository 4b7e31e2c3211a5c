#pragma once

#include "dev/gallery/Sheet.h"

#include <vector>

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
Scenes getEditorScenes();
