#pragma once

#include "standalone/AudioEngine.h"
#include "standalone/StandaloneSettings.h"

namespace kalim::standalone
{

/// The program without its window: what drives the processor, and what is remembered from one start
/// to the next. Message thread.
class Session
{
public:
    /// Restores all that is remembered but the device. The processor must outlive the session.
    Session(juce::AudioProcessor& processorToDrive, const juce::File& folderOfBinary);

    /// Remembers.
    ~Session();

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Opens the device that was used the last time, or the system's usual one.
    void openDevice();

    /// Takes down what has changed, to be called every now and then.
    void remember();

    /// Opens a file, stopped at its start. Returns what to tell the user when that fails, in which
    /// case the old file stays.
    juce::String openFile(const juce::File& file);

    juce::AudioProcessor& getProcessor() { return processor; }

    AudioEngine& getEngine() { return engine; }

    FilePlayer& getPlayer() { return engine.getPlayer(); }

    StandaloneSettings& getSettings() { return settings; }

private:
    juce::AudioProcessor& processor;
    StandaloneSettings settings;
    AudioEngine engine;
};

} // namespace kalim::standalone
