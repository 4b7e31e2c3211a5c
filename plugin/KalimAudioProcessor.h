#pragma once

#include "plugin/BasePluginProcessor.h"

/// The hum remover as a plug-in, with its seven public parameters.
class KalimAudioProcessor : public BasePlugInProcessor
{
public:
    KalimAudioProcessor();

    bool hasEditor() const override { return true; }

    juce::AudioProcessorEditor* createEditor() override;
};
