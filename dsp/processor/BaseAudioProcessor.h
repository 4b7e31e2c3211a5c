#pragma once

#include "dsp/processor/ListenerRegistry.h"
#include "dsp/processor/ProcessorParameter.h"
#include "dsp/processor/Streams.h"
#include "dsp/processor/Uuid.h"
#include "dsp/signal/AudioFormat.h"
#include "dsp/signal/Signals.h"

#include <mutex>
#include <string>
#include <variant>
#include <vector>

namespace orvo
{

/// The value of a property.
using Variant = std::variant<std::monostate, bool, int, double, std::string>;

/// Root of everything that has properties which others may change.
class PropertyContainer
{
public:
    PropertyContainer() = default;
    virtual ~PropertyContainer() = default;

    PropertyContainer(const PropertyContainer&) = delete;
    PropertyContainer& operator=(const PropertyContainer&) = delete;

    /// Told of a changed property; does nothing unless overridden.
    virtual void onPropertyChanged(int /*propertyId*/, const Variant& /*value*/) {}
};

} // namespace orvo

namespace orvo::audio
{

/// What a processor says about its timing, in samples.
struct ProcessingInfo
{
    /// Not used by any processor so far.
    int baseLatency = 0;

    /// The processor's own delay, which its owner evens out with a queue.
    int processingLatency = 0;

    /// Further latency to report beyond the delay.
    int additionalLatency = 0;

    /// Output samples per input sample.
    double timeScale = 1.0;
};

class ProcessorUserInterface;

/// A signal processor that knows nothing of its host: it is told its formats, turns blocks into
/// blocks, and shows its settings as floats by index. Parameter values may be read and written from
/// any thread; listeners are called on the thread that caused the call, and
/// outside the lock but for formatChanged(), which a processor may send while it holds it.
class BaseAudioProcessor : public PropertyContainer
{
public:
    /// Observer of a processor. Must be removed before it is destroyed.
    class Listener
    {
    public:
        virtual ~Listener() = default;

        /// After a notifying set or reset, with the value as it was given, before limiting.
        virtual void parameterChanged(int index, float value) = 0;

        /// After loadState() has read every value.
        virtual void stateLoaded() = 0;

        virtual void formatChanged(const AudioFormat& input, const AudioFormat& output) = 0;
    };

    BaseAudioProcessor() = default;

    /// Stores the formats and tells the listeners. Returns whether the processor can take them.
    virtual bool setFormat(const AudioFormat& input, const AudioFormat& output);

    virtual ProcessingInfo getProcessingInfo();

    /// This and the next three throw std::out_of_range("Parameter index") for an index out of
    /// range.
    virtual void getParameterRange(int index, float& min, float& max);
    virtual float getParameterValue(int index);

    /// Stores the value limited to the parameter's range and, if asked, tells the listeners.
    virtual void setParameterValue(int index, float value, bool notify);
    virtual void resetParameterValue(int index, bool notify);

    /// Where a processor takes changed values into effect that it does not read at every block.
    virtual void effectuateParameterChanges() {}

    /// Forgets all audio.
    virtual void reset() {}

    /// Processes a block and returns what has become ready, which may be shorter or longer. With
    /// `bypass` the processor decides what passes. Audio thread.
    virtual Signal32 process(const Signal32& input, bool bypass) = 0;

    /// Analyses a block without making output; returns whether there was anything to do.
    virtual bool analyze(const Signal32& input, bool last);

    /// Writes all parameter values: their number (32-bit), then index (32-bit) and value (float) of
    /// each, in the byte order of the machine. Returns true.
    virtual bool saveState(files::OutputStream* stream);

    /// Reads what saveState() wrote; parameters without a record keep their values. An unknown
    /// index ends the loading with false; values read before it stay. A stream that ends early is
    /// not an error: the fields that it lacks keep the values of the record before.
    virtual bool loadState(files::InputStream* stream);

    virtual std::string getName() = 0;
    virtual UUID getUniqueIdentifier();
    virtual bool hasUserInterface();
    virtual ProcessorUserInterface* createUserInterface();

    /// How many samples of earlier blocks are held back at present that a bypassed process() passes
    /// by, so that they would come out after the bypass; 0 for a processor that gives everything
    /// out in its order. Audio thread.
    virtual int getNumHeldSamples() { return 0; }

    /// Listeners are called in the order in which they were added. Any thread but the audio thread.
    void addListener(Listener* listener);
    void removeListener(Listener* listener);

    int getNumParameters() const { return static_cast<int>(parameters.size()); }

    /// The parameter itself, for its name, unit and text. Throws std::out_of_range.
    const ProcessorParameter& getParameter(int index) const;

    const AudioFormat& getInputFormat() const { return inputFormat; }

    const AudioFormat& getOutputFormat() const { return outputFormat; }

    /// Largest block that the host announced, -1 until it has; for processors that prepare for it.
    int maximumBlockSize = -1;

protected:
    /// Stores both formats and passes them to the listeners.
    void storeFormats(const AudioFormat& input, const AudioFormat& output);

    /// Held while a parameter is written; recursive, so that a processor may set further parameters
    /// while it handles one.
    std::recursive_mutex parameterLock;

    /// The settings in index order; they are members of the derived class.
    std::vector<ProcessorParameter*> parameters;

private:
    ProcessorParameter& findParameter(int index) const;
    void notifyParameterChanged(int index, float value);

    AudioFormat inputFormat;
    AudioFormat outputFormat;
    ListenerRegistry<Listener> listeners;
};

} // namespace orvo::audio
