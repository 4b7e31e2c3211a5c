#include "tests/support/framework/ScratchHome.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <juce_events/juce_events.h>

/// The bundles' hosts need the message thread, and must see no other plug-ins than ours.
int main(int numArguments, char** arguments)
{
    const ScratchHome home;
    const std::filesystem::path lv2Folder = std::filesystem::path(KALIM_LV2_BUNDLE).parent_path();
    setenv("LV2_PATH", lv2Folder.c_str(), 1);
    ::testing::InitGoogleTest(&numArguments, arguments);
    const juce::ScopedJuceInitialiser_GUI framework;
    return RUN_ALL_TESTS();
}
