#pragma once

#include <juce_core/juce_core.h>

/// The folder of the plug-in's bundle, with the resources in "Contents/Resources": the first one,
/// from the folder of the plug-in's binary upwards, that holds such a folder; the binary's own
/// folder where there is none. So a bundle of any format and a program beside its resources find
/// them alike.
juce::File findBundleFolder();
