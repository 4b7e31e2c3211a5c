#include "tests/support/framework/ScratchHome.h"

#include <gtest/gtest.h>

#include <juce_events/juce_events.h>

int main(int numArguments, char** arguments)
{
    const ScratchHome home;
    ::testing::InitGoogleTest(&numArguments, arguments);
    const juce::ScopedJuceInitialiser_GUI framework;
    return RUN_ALL_TESTS();
}
