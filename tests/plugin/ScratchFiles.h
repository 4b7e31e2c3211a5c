#pragma once

#include <gtest/gtest.h>

#include <juce_core/juce_core.h>

/// A folder for every test, removed at the end.
class ScratchFiles : public ::testing::Test
{
protected:
    ScratchFiles() { EXPECT_TRUE(folder.createDirectory()); }

    ~ScratchFiles() override { folder.deleteRecursively(); }

    /// Writes a file, with the folders that it is in.
    juce::File write(const juce::String& name, const juce::String& text) const
    {
        const juce::File file = folder.getChildFile(name);
        EXPECT_TRUE(file.create());
        EXPECT_TRUE(file.replaceWithText(text));
        return file;
    }

    juce::File folder = juce::File::createTempFile("kalim");
};
