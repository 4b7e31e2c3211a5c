#include "plugin/BasePluginProcessor.h"

#include "dsp/signal/DspCore.h"
#include "plugin/KalimConstants.h"

#include <stdexcept>
#include <utility>

BasePlugInProcessor::OpenEditor::OpenEditor(BasePlugInProcessor& owner)
    : plugIn(owner)
{
    ++plugIn.numOpenEditors;
}

BasePlugInProcessor::OpenEditor::~OpenEditor()
{
    --plugIn.numOpenEditors;
}

BasePlugInProcessor::BasePlugInProcessor(
    std::shared_ptr<orvo::audio::BaseAudioProcessor> processorToWrap, const juce::String& bundle,
    const juce::String& plugIn, unsigned int code, const juce::String& version)
    : juce::AudioProcessor(BusesProperties()
                               .withInput("Input", juce::AudioChannelSet::stereo())
                               .withOutput("Output", juce::AudioChannelSet::stereo()))
    , processor(std::move(processorToWrap))
    , bundleName(bundle)
    , plugInName(plugIn)
    , plugInVersion(version)
    , plugInCode(code)
    , blocks(processor, [this](int latency) { setLatencySamples(latency); })
{
    properties = createPropertiesFile();
    initializeLocalization();
    initializePresetHandling();
}

void BasePlugInProcessor::processBlock(juce::AudioBuffer<float>& buffer, juce::MidiBuffer&)
{
    internalProcess(buffer, false);
}

void BasePlugInProcessor::processBlockBypassed(juce::AudioBuffer<float>& buffer, juce::MidiBuffer&)
{
    internalProcess(buffer, true);
}

void BasePlugInProcessor::internalProcess(juce::AudioBuffer<float>& buffer, bool isBypassed)
{
    const orvo::audio::ScopedFlushToZero flushToZero;
    if (buffer.getNumSamples() == 0)
        return;
    blocks.process(buffer, getTotalNumInputChannels(), getTotalNumOutputChannels(), isBypassed);
}

bool BasePlugInProcessor::isBusesLayoutSupported(const BusesLayout& layout) const
{
    if (layout.inputBuses.size() > 1 || layout.outputBuses.size() > 1)
        return false;
    const juce::File host = juce::File::getSpecialLocation(juce::File::hostApplicationPath);
    const int limit = kalim::plugin::getChannelLimit(host.getFullPathName());
    const juce::AudioChannelSet input = layout.getMainInputChannelSet();
    return !input.isDisabled() && input == layout.getMainOutputChannelSet() &&
           input.size() <= limit;
}

const juce::String BasePlugInProcessor::getName() const
{
    return juce::String(orvo::companyName) + " " + plugInName;
}

int BasePlugInProcessor::getVersionCode() const
{
    juce::StringArray numbers;
    numbers.addTokens(plugInVersion, ".", "");
    return numbers[0].getIntValue() * 65536 + numbers[1].getIntValue() * 256 +
           numbers[2].getIntValue();
}

float BasePlugInProcessor::getParameter(int index)
{
    ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? -1.0F : parameter->getNormalizedParameterValue();
}

void BasePlugInProcessor::setParameter(int index, float normalized)
{
    ParameterDescription* const parameter = parameters.find(index);
    if (parameter == nullptr)
        return;
    parameter->setNormalizedParameterValue(normalized, mayNotifyProcessor());
    notifyListeners(index);
}

const juce::String BasePlugInProcessor::getParameterName(int index)
{
    const ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? juce::String() : parameter->getName();
}

juce::String BasePlugInProcessor::getParameterID(int index)
{
    // The framework's own ids are bare numbers, which some formats cannot write down.
    return BasePlugInProcessor::getParameterName(index);
}

const juce::String BasePlugInProcessor::getParameterText(int index)
{
    const ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? juce::String() : parameter->getText();
}

float BasePlugInProcessor::getParameterDefaultValue(int index)
{
    const ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? 0.0F : parameter->getDefaultNormalizedValue();
}

void BasePlugInProcessor::resetParameter(int index, bool notifyHost)
{
    const ParameterDescription* const parameter = parameters.find(index);
    if (parameter == nullptr)
        return;
    processor->setParameterValue(parameter->getInternalId(), parameter->getDefaultValue(),
                                 mayNotifyProcessor());
    if (notifyHost)
        sendToHost(index);
}

int BasePlugInProcessor::getInternalParameterId(int index) const
{
    return parameters.find(index)->getInternalId();
}

void BasePlugInProcessor::notifyInternalParameterChange(int internalId)
{
    const int index = findPublicParameterIndex(internalId);
    if (index >= 0)
        sendToHost(index);
}

void BasePlugInProcessor::getCurrentProgramStateInformation(juce::MemoryBlock& destination)
{
    destination = makeSettingsBlock();
}

void BasePlugInProcessor::setCurrentProgramStateInformation(const void* data, int size)
{
    juce::MemoryInputStream stream(data, size > 0 ? static_cast<std::size_t>(size) : 0, false);
    setParameterSettings(stream);
    lastStateLoadTime = juce::Time::getMillisecondCounter();
    // Hosts that prepare a plug-in before they restore it would go by the latency of its defaults.
    const std::lock_guard lock(latencyGuard);
    blocks.reportPresentLatency();
}

void BasePlugInProcessor::getParameterSettings(juce::OutputStream& stream)
{
    kalim::plugin::SettingsContent content;
    content.plugInCode = plugInCode;
    content.versionCode = getVersionCode();
    for (const auto& parameter : parameters)
        content.entries.push_back({parameter->getInternalId(), parameter->getNaturalValue()});
    content.presetName = getCurrentPresetName();
    kalim::plugin::writeSettingsRecord(stream, content);
}

bool BasePlugInProcessor::setParameterSettings(juce::InputStream& stream)
{
    return kalim::plugin::readSettingsRecord(stream, plugInCode, *this);
}

bool BasePlugInProcessor::receiveEntry(const kalim::plugin::SettingsEntry& entry)
{
    try
    {
        processor->setParameterValue(entry.id, entry.value, false);
        return true;
    }
    catch (const std::out_of_range&)
    {
        return false;
    }
}

void BasePlugInProcessor::entriesReceived()
{
    processor->effectuateParameterChanges();
    notifyListeners(-1);
}

void BasePlugInProcessor::addUndoState()
{
    history.addState(makeSettingsBlock());
}

void BasePlugInProcessor::removeUndoStateIfUnchanged()
{
    history.removeStateIfEqual(makeSettingsBlock());
}

void BasePlugInProcessor::undo()
{
    history.undo(makeSettingsBlock(),
                 [this](const juce::MemoryBlock& state) { loadAndTellHost(state); });
}

void BasePlugInProcessor::redo()
{
    history.redo(makeSettingsBlock(),
                 [this](const juce::MemoryBlock& state) { loadAndTellHost(state); });
}

void BasePlugInProcessor::copyToAlternate()
{
    juce::MemoryBlock present = makeSettingsBlock();
    const std::lock_guard lock(settingsGuard);
    alternateSettings = std::move(present);
}

void BasePlugInProcessor::switchToAlternateSettings()
{
    juce::MemoryBlock present = makeSettingsBlock();
    juce::MemoryBlock other;
    {
        const std::lock_guard lock(settingsGuard);
        // The framework copies an empty block through null pointers.
        if (!alternateSettings.isEmpty())
            other = alternateSettings;
    }
    loadAndTellHost(other);
    history.exchangeWith(alternateHistory);
    const std::lock_guard lock(settingsGuard);
    alternateSettings = std::move(present);
}

void BasePlugInProcessor::clearSettings()
{
    for (int index = 0; index < parameters.size(); ++index)
        if (!excludedParameterIds.contains(getInternalParameterId(index)))
            resetParameter(index, false);
}

juce::String BasePlugInProcessor::getCurrentPresetName() const
{
    const std::lock_guard lock(settingsGuard);
    return currentPresetName;
}

void BasePlugInProcessor::setCurrentPresetName(const juce::String& name)
{
    const std::lock_guard lock(settingsGuard);
    currentPresetName = name;
}

void BasePlugInProcessor::addParameterDescription(int internalId, const juce::String& name,
                                                  const juce::String& unit, float interval,
                                                  ParameterDescription::ParameterMappingMode mode)
{
    parameters.add(
        std::make_unique<ParameterDescription>(processor, internalId, name, unit, interval, mode));
}

void BasePlugInProcessor::notifyListeners(int index)
{
    listeners.callLastToFirst([index](Listener& listener) { listener.parameterChanged(index); });
}

juce::MemoryBlock BasePlugInProcessor::makeSettingsBlock()
{
    juce::MemoryBlock block;
    juce::MemoryOutputStream stream(block, false);
    getParameterSettings(stream);
    stream.flush();
    return block;
}

void BasePlugInProcessor::loadSettingsBlock(const juce::MemoryBlock& block)
{
    juce::MemoryInputStream stream(block, false);
    setParameterSettings(stream);
}

void BasePlugInProcessor::loadAndTellHost(const juce::MemoryBlock& block)
{
    const std::vector<float> before = getParameterValues();
    const int programBefore = currentProgram;
    loadSettingsBlock(block);
    for (int index = 0; index < parameters.size(); ++index)
        if (getParameter(index) != before[static_cast<std::size_t>(index)])
            sendToHost(index);
    tellHostOfProgram(programBefore);
}

std::vector<float> BasePlugInProcessor::getParameterValues() const
{
    std::vector<float> values;
    for (const auto& parameter : parameters)
        values.push_back(parameter->getNormalizedParameterValue());
    return values;
}
