#pragma once

#include "dsp/processor/BaseAudioProcessor.h"
#include "dsp/processor/ListenerRegistry.h"
#include "plugin/BlockProcessing.h"
#include "plugin/ParameterDescription.h"
#include "plugin/PresetTree.h"
#include "plugin/SettingsRecord.h"
#include "presets/PresetFile.h"

#include <atomic>
#include <juce_audio_processors/juce_audio_processors.h>
#include <memory>
#include <mutex>
#include <vector>

/// The face that a host sees: joins a signal processor to the framework. The work is done by the
/// parts it owns: block processing, the public parameters, the settings record, the undo history,
/// the presets.
class BasePlugInProcessor : public juce::AudioProcessor, private kalim::plugin::SettingsReceiver
{
public:
    /// Told of changed settings, on the thread that changed them, which may be the audio thread.
    class Listener
    {
    public:
        virtual ~Listener() = default;

        /// `index` is a public parameter index, or -1 when any parameter may have changed.
        virtual void parameterChanged(int index) = 0;
    };

    /// While it lives, the plug-in counts as having an open editor, and then the processor's own
    /// listeners are not told of what the host sets. Counted here because the framework answers
    /// that question under a lock, and some hosts set parameters on the audio thread.
    class OpenEditor
    {
    public:
        explicit OpenEditor(BasePlugInProcessor& owner);
        ~OpenEditor();

        OpenEditor(const OpenEditor&) = delete;
        OpenEditor& operator=(const OpenEditor&) = delete;

    private:
        BasePlugInProcessor& plugIn;
    };

    BasePlugInProcessor(std::shared_ptr<orvo::audio::BaseAudioProcessor> processorToWrap,
                        const juce::String& bundle, const juce::String& plugIn, unsigned int code,
                        const juce::String& version);

    std::shared_ptr<orvo::audio::BaseAudioProcessor> getBaseProcessor() const { return processor; }

    // Audio
    void prepareToPlay(double sampleRate, int maximumBlockSize) override;

    void releaseResources() override {}

    void processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;
    void processBlockBypassed(juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;

    /// The rate of the last preparation, 0 before. Any thread; the framework's own is for the
    /// host's.
    double getPreparedSampleRate() const { return preparedSampleRate; }

    bool isBusesLayoutSupported(const BusesLayout& layout) const override;

    double getTailLengthSeconds() const override { return 0.0; }

    bool acceptsMidi() const override { return false; }

    bool producesMidi() const override { return false; }

    bool silenceInProducesSilenceOut() const override { return false; }

    bool isInputChannelStereoPair(int /*index*/) const override { return true; }

    bool isOutputChannelStereoPair(int /*index*/) const override { return true; }

    const juce::String getInputChannelName(int index) const override
    {
        return juce::String(index + 1);
    }

    const juce::String getOutputChannelName(int index) const override
    {
        return juce::String(index + 1);
    }

    using juce::AudioProcessor::processBlock;
    using juce::AudioProcessor::processBlockBypassed;

    /// The loudspeaker of a host's name for it.
    static orvo::audio::SpeakerId getSpeakerId(const juce::String& name)
    {
        return kalim::plugin::getSpeakerId(name);
    }

    // Names
    const juce::String getName() const override;

    juce::String getShortName() const { return plugInName; }

    /// Major times 65536 plus minor times 256 plus patch.
    int getVersionCode() const;

    // Public parameters; indices out of range are ignored, and give -1 as value, 0 as default, no
    // text.
    int getNumParameters() override { return parameters.size(); }

    float getParameter(int index) override;
    void setParameter(int index, float normalized) override;
    const juce::String getParameterName(int index) override;
    juce::String getParameterID(int index) override;
    const juce::String getParameterText(int index) override;
    float getParameterDefaultValue(int index) override;

    using juce::AudioProcessor::getParameterName;
    using juce::AudioProcessor::getParameterText;

    /// Sets a parameter to its default and, if asked, tells the host. Listeners are not called.
    void resetParameter(int index, bool notifyHost);

    ParameterDescription* findPublicParameter(int internalId) const
    {
        return parameters.findByInternalId(internalId);
    }

    /// -1 where the processor's parameter is not public.
    int findPublicParameterIndex(int internalId) const
    {
        return parameters.findIndexByInternalId(internalId);
    }

    /// The index must be a valid one.
    int getInternalParameterId(int index) const;

    /// Tells the host of a parameter that was changed on the processor itself.
    void notifyInternalParameterChange(int internalId);

    /// Tell the host that a user takes hold of a parameter, and lets go of it. Indices out of range
    /// are ignored. Message thread.
    void beginParameterGesture(int index);
    void endParameterGesture(int index);

    // Settings
    void getStateInformation(juce::MemoryBlock& destination) override
    {
        getCurrentProgramStateInformation(destination);
    }

    void setStateInformation(const void* data, int size) override
    {
        setCurrentProgramStateInformation(data, size);
    }

    void getCurrentProgramStateInformation(juce::MemoryBlock& destination) override;
    void setCurrentProgramStateInformation(const void* data, int size) override;

    /// Writes all settings as a record, see SettingsContent.
    void getParameterSettings(juce::OutputStream& stream);

    /// Reads a record. Returns whether it was one of this plug-in and all its ids were known.
    bool setParameterSettings(juce::InputStream& stream);

    /// Remembers the present settings, to be called before a user changes them.
    void addUndoState();

    /// To be called after that: where nothing was changed, they are not remembered, and what could
    /// be redone before can be again.
    void removeUndoStateIfUnchanged();

    /// These two tell the host of every value that they change, and of the program.
    void undo();
    void redo();

    bool canUndo() const { return history.canUndo(); }

    bool canRedo() const { return history.canRedo(); }

    /// Makes the other of the A/B settings equal to the present ones.
    void copyToAlternate();

    /// Exchanges the present settings with the other ones, and what can be undone and redone with
    /// that of the others; tells the host as `undo` does. The first time there are no others yet:
    /// the sound stays, and the present settings become the others.
    void switchToAlternateSettings();

    /// Sets all parameters but the excluded ones to their defaults.
    void clearSettings();

    // Programs are the presets; their names come from files and cannot be changed through the host.
    int getNumPrograms() override { return presets.size(); }

    int getCurrentProgram() override { return currentProgram; }

    const juce::String getProgramName(int index) override;

    void changeProgramName(int /*index*/, const juce::String& /*newName*/) override {}

    /// Loads a preset, unless the host has only just restored a state: hosts send a program change
    /// right after it, which would undo what they restored.
    void setCurrentProgram(int index) override;

    /// The same for a user who chooses a preset: tells the host of the program too. Message thread.
    void chooseProgram(int index);

    /// Loads a preset file, and tells the host of it. What it does not mention stays. Returns
    /// false, with nothing changed, when it is no preset. Message thread.
    bool importFromPresetFile(const juce::File& file);

    /// Writes all public parameters as a preset file. Returns whether that succeeded; a failure
    /// leaves an old file as it was. Message thread.
    bool exportToPresetFile(const juce::File& file);

    /// Reads the preset folders again, which changes the numbers of programs when files were added
    /// or removed. Message thread.
    void updatePresetTree();

    /// See PresetTree. Message thread.
    const juce::ValueTree& getPresetTree() const { return presets.getTree(); }

    /// Where users keep their own presets.
    const juce::File& getUserPresetFolder() const { return userPresetFolder; }

    juce::String getCurrentPresetName() const;
    void setCurrentPresetName(const juce::String& name);

    // Files

    /// What editors remember from one time to the next. Message thread.
    juce::PropertiesFile& getProperties() const { return *properties; }

    /// The manual in the language of that two-letter code, or in English.
    juce::String getHelpFilePath(const juce::String& language) const;

    /// Opens the manual in the user's browser. Message thread.
    void showHelp();

    /// Listeners are called from the last one added to the first.
    void addListener(Listener* listener) { listeners.add(listener); }

    void removeListener(Listener* listener) { listeners.remove(listener); }

    using juce::AudioProcessor::addListener;
    using juce::AudioProcessor::removeListener;

protected:
    /// For the constructor of the derived class, while the processor has its defaults.
    void addParameterDescription(int internalId, const juce::String& name, const juce::String& unit,
                                 float interval, ParameterDescription::ParameterMappingMode mode);

    /// For data of a derived plug-in in preset files.
    virtual void fillCustomDataXmlElement(juce::XmlElement* /*element*/) {}

    virtual void parseCustomDataXmlElement(juce::XmlElement* /*element*/) {}

    /// Parameters, by internal id, that clearing and presets leave alone.
    juce::Array<int> excludedParameterIds;

private:
    bool receiveEntry(const kalim::plugin::SettingsEntry& entry) override;
    void entriesReceived() override;

    void receivePresetName(const juce::String& name) override;

    void internalProcess(juce::AudioBuffer<float>& buffer, bool isBypassed);

    bool mayNotifyProcessor() const { return numOpenEditors == 0; }

    void sendToHost(int index);
    void tellHostOfProgram(int before);
    std::vector<float> getParameterValues() const;
    void notifyListeners(int index);
    juce::MemoryBlock makeSettingsBlock();
    void loadSettingsBlock(const juce::MemoryBlock& block);
    void loadAndTellHost(const juce::MemoryBlock& block);

    std::unique_ptr<juce::PropertiesFile> createPropertiesFile() const;
    juce::File getTranslationFile(const juce::String& language) const;
    juce::String findDisplayLanguage() const;
    void initializeLocalization();
    void initializePresetHandling();
    bool loadPresetFile(const juce::File& file);
    void importParameter(const kalim::ParameterValue& parameter);
    void followPreset(int index);

    std::shared_ptr<orvo::audio::BaseAudioProcessor> processor;
    juce::String bundleName;
    juce::String plugInName;
    juce::String plugInVersion;
    std::uint32_t plugInCode;

    orvo::audio::ListenerRegistry<Listener> listeners;
    kalim::plugin::BlockProcessing blocks;
    kalim::plugin::ParameterList parameters;
    kalim::plugin::UndoHistory history;
    kalim::plugin::UndoHistory alternateHistory;
    std::atomic<int> numOpenEditors{0};
    std::atomic<double> preparedSampleRate{0.0};

    std::unique_ptr<juce::PropertiesFile> properties;
    juce::File factoryPresetFolder;
    juce::File userPresetFolder;
    kalim::plugin::PresetTree presets;
    std::atomic<int> currentProgram{0};

    /// What hosts know of since the beginning; they cannot be told of presets beyond that.
    int numProgramsAtFirst = 0;
    std::atomic<juce::uint32> lastStateLoadTime{0};

    /// Against two threads that report a latency, none of which is the audio thread.
    std::mutex latencyGuard;

    mutable std::mutex settingsGuard;
    juce::MemoryBlock alternateSettings;
    juce::String currentPresetName;
    juce::File currentPresetFile;
};
