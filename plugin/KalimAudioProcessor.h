#pragma once

#include "plugin/BasePluginProcessor.h"

#include <functional>
#include <memory>

/// The engine as a plug-in, with its seven public parameters.
class KalimAudioProcessor : public BasePlugInProcessor
{
public:
    /// Makes an editor, on the message thread.
    using EditorFactory =
        std::function<std::unique_ptr<juce::AudioProcessorEditor>(BasePlugInProcessor&)>;

    /// The editor is handed in by the formats, so that the shell needs nothing of it. Without a
    /// factory none can be opened.
    explicit KalimAudioProcessor(EditorFactory factory = {});

    bool hasEditor() const override { return true; }

    /// The host owns the editor.
    juce::AudioProcessorEditor* createEditor() override;

private:
    EditorFactory editorFactory;
};
