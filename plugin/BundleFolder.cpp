#include "plugin/BundleFolder.h"

namespace
{

juce::File findAbove(juce::File folder)
{
    for (;;)
    {
        if (folder.getChildFile("Contents/Resources").isDirectory())
            return folder;
        const juce::File parent = folder.getParentDirectory();
        if (parent == folder)
            return {};
        folder = parent;
    }
}

} // namespace

juce::File findBundleFolder()
{
    const auto folderOf = [](juce::File::SpecialLocationType location)
    { return juce::File::getSpecialLocation(location).getParentDirectory(); };
    const juce::File own = folderOf(juce::File::currentExecutableFile);
    const juce::File found = findAbove(own);
    if (found != juce::File())
        return found;
    // A program that was started by its bare name does not know its own path, but that of the
    // process.
    const juce::File ofProcess = findAbove(folderOf(juce::File::hostApplicationPath));
    return ofProcess != juce::File() ? ofProcess : own;
}
