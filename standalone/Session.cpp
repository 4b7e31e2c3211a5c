#include "standalone/Session.h"

#include "base/FileError.h"
#include "standalone/ErrorText.h"

namespace kalim::standalone
{

Session::Session(juce::AudioProcessor& processorToDrive, const juce::File& folderOfBinary)
    : processor(processorToDrive)
    , settings(folderOfBinary)
    , engine(processor)
{
    engine.setInputMuted(settings.isInputMuted());
    getPlayer().setLooping(settings.isLooping());
    const juce::MemoryBlock state = settings.getState();
    if (!state.isEmpty())
        processor.setStateInformation(state.getData(), static_cast<int>(state.getSize()));
}

Session::~Session()
{
    remember();
}

void Session::openDevice()
{
    engine.openDevice(settings.getDevice().get());
}

void Session::remember()
{
    juce::MemoryBlock state;
    processor.getStateInformation(state);
    settings.setState(state);
    settings.setInputMuted(engine.isInputMuted());
    settings.setLooping(getPlayer().isLooping());
    settings.setDevice(engine.getDevices().createStateXml().get());
}

juce::String Session::openFile(const juce::File& file)
{
    try
    {
        getPlayer().open(file);
    }
    catch (const FileError& error)
    {
        return translateError(juce::String::fromUTF8(error.what()));
    }
    settings.setFolder(file.getParentDirectory());
    return {};
}

} // namespace kalim::standalone
