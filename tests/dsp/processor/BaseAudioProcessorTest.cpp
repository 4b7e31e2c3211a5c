#include "dsp/processor/BaseAudioProcessor.h"

#include "dsp/processor/TypedProcessorParameter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace orvo::audio
{
namespace
{

using Bytes = std::vector<char>;

class MemoryOutput : public files::OutputStream
{
public:
    bool write(const void* source, std::size_t numBytes) override
    {
        const auto* const first = static_cast<const char*>(source);
        bytes.insert(bytes.end(), first, first + numBytes);
        return true;
    }

    Bytes bytes;
};

class MemoryInput : public files::InputStream
{
public:
    explicit MemoryInput(Bytes content)
        : bytes(std::move(content))
    {
    }

    std::size_t read(void* destination, std::size_t numBytes) override
    {
        ++numReads;
        const std::size_t count = std::min(numBytes, bytes.size() - position);
        std::memcpy(destination, bytes.data() + position, count);
        position += count;
        return count;
    }

    int numReads = 0;

private:
    Bytes bytes;
    std::size_t position = 0;
};

/// Four settings from 40 to 70 with 50 as default, and the block as it is.
class Processor : public BaseAudioProcessor
{
public:
    Processor()
    {
        for (TypedProcessorParameter<float>& setting : settings)
        {
            setting.minValue = 40.0F;
            setting.maxValue = 70.0F;
            setting.defaultValue = 50.0F;
            setting.value = 50.0F;
            parameters.push_back(&setting);
        }
    }

    Signal32 process(const Signal32& input, bool) override { return input; }

    std::string getName() override { return "Test"; }

    bool isLockFree()
    {
        bool wasFree = false;
        std::thread(
            [&]
            {
                wasFree = parameterLock.try_lock();
                if (wasFree)
                    parameterLock.unlock();
            })
            .join();
        return wasFree;
    }

    std::vector<float> getValues()
    {
        std::vector<float> values;
        for (int index = 0; index < getNumParameters(); ++index)
            values.push_back(getParameterValue(index));
        return values;
    }

private:
    std::array<TypedProcessorParameter<float>, 4> settings;
};

/// Writes down what it is told, with its own name in front.
class Recorder : public BaseAudioProcessor::Listener
{
public:
    Recorder(Processor& observed, std::vector<std::string>& sharedLog, std::string ownName)
        : processor(observed)
        , log(sharedLog)
        , name(std::move(ownName))
    {
        processor.addListener(this);
    }

    void parameterChanged(int index, float value) override
    {
        wasLocked = wasLocked || !processor.isLockFree();
        log.push_back(name + std::to_string(index) + "=" + std::to_string(static_cast<int>(value)));
    }

    void stateLoaded() override { log.push_back(name + "state"); }

    void formatChanged(const AudioFormat& input, const AudioFormat& output) override
    {
        log.push_back(name + std::to_string(input.getNumChannels()) + "to" +
                      std::to_string(output.getNumChannels()));
    }

    bool wasLocked = false;

private:
    Processor& processor;
    std::vector<std::string>& log;
    std::string name;
};

using Log = std::vector<std::string>;

template <typename T>
void append(Bytes& bytes, T value)
{
    std::array<char, sizeof(T)> raw{};
    std::memcpy(raw.data(), &value, sizeof(T));
    bytes.insert(bytes.end(), raw.begin(), raw.end());
}

struct Record
{
    std::int32_t index;
    float value;
};

Bytes makeState(std::int32_t count, const std::vector<Record>& records)
{
    Bytes bytes;
    append(bytes, count);
    for (const Record& record : records)
    {
        append(bytes, record.index);
        append(bytes, record.value);
    }
    return bytes;
}

class ProcessorState : public testing::Test
{
protected:
    bool load(const Bytes& bytes)
    {
        MemoryInput input(bytes);
        const bool result = processor.loadState(&input);
        numReads = input.numReads;
        return result;
    }

    Processor processor;
    Log log;
    Recorder recorder{processor, log, ""};
    int numReads = 0;
};

TEST_F(ProcessorState, isACountAndOneRecordPerParameter)
{
    processor.setParameterValue(2, 61.5F, false);
    MemoryOutput output;
    EXPECT_TRUE(processor.saveState(&output));
    EXPECT_EQ(output.bytes, makeState(4, {{0, 50.0F}, {1, 50.0F}, {2, 61.5F}, {3, 50.0F}}));
    EXPECT_EQ(output.bytes.size(), 36U);
}

TEST_F(ProcessorState, comesBackAsItWasSaved)
{
    const std::vector<float> values = {41.0F, 42.25F, 69.0F, 70.0F};
    for (int index = 0; index < 4; ++index)
        processor.setParameterValue(index, values[static_cast<std::size_t>(index)], false);
    MemoryOutput output;
    processor.saveState(&output);
    for (int index = 0; index < 4; ++index)
        processor.resetParameterValue(index, false);
    EXPECT_TRUE(load(output.bytes));
    EXPECT_EQ(processor.getValues(), values);
    EXPECT_EQ(log, Log{"state"}) << "one notice for all values";
}

TEST_F(ProcessorState, mayHaveRecordsInAnyOrderAndLackSome)
{
    EXPECT_TRUE(load(makeState(3, {{3, 44.0F}, {1, 66.0F}, {3, 1000.0F}})));
    EXPECT_EQ(processor.getValues(), (std::vector<float>{50.0F, 66.0F, 50.0F, 70.0F}));
}

TEST_F(ProcessorState, withoutRecordsChangesNothing)
{
    for (const std::int32_t count : {0, -1, std::numeric_limits<std::int32_t>::min()})
        EXPECT_TRUE(load(makeState(count, {{1, 66.0F}}))) << count;
    EXPECT_TRUE(load({}));
    EXPECT_EQ(processor.getValues(), std::vector<float>(4, 50.0F));
    EXPECT_EQ(log, Log(4, "state"));
}

TEST_F(ProcessorState, isRefusedAtAnUnknownIndexWithWhatCameBeforeKept)
{
    for (const std::int32_t unknown : {99, 4, -1})
    {
        processor.resetParameterValue(3, false);
        EXPECT_FALSE(load(makeState(3, {{3, 60.0F}, {unknown, 1.0F}, {0, 61.0F}}))) << unknown;
        EXPECT_EQ(processor.getValues(), (std::vector<float>{50.0F, 50.0F, 50.0F, 60.0F}));
    }
    EXPECT_EQ(log, Log());
}

TEST_F(ProcessorState, keepsTheWholeRecordsOfAStreamCutAnywhere)
{
    const Bytes whole = makeState(4, {{0, 41.0F}, {1, 42.0F}, {2, 43.0F}, {3, 44.0F}});
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        for (int index = 0; index < 4; ++index)
            processor.resetParameterValue(index, false);
        const auto end = whole.begin() + static_cast<std::ptrdiff_t>(length);
        EXPECT_TRUE(load({whole.begin(), end})) << length;
        for (std::size_t index = 0; 4 + 8 * (index + 1) <= length; ++index)
            EXPECT_EQ(processor.getValues()[index], 41.0F + static_cast<float>(index)) << length;
    }
}

TEST_F(ProcessorState, endsWithItsStreamWhateverTheCountSays)
{
    EXPECT_TRUE(load(makeState(std::numeric_limits<std::int32_t>::max(), {{1, 66.0F}})));
    EXPECT_EQ(processor.getValues(), (std::vector<float>{50.0F, 66.0F, 50.0F, 50.0F}));
    EXPECT_LT(numReads, 10);
}

TEST(ProcessorIndices, areCheckedByEveryAccess)
{
    Processor processor;
    Log log;
    const Recorder recorder(processor, log, "");
    float min = 0.0F;
    float max = 0.0F;
    const auto messageOf = [](auto call) -> std::string
    {
        try
        {
            call();
        }
        catch (const std::out_of_range& error)
        {
            return error.what();
        }
        return "none";
    };
    const std::string expected = "Parameter index";
    for (const int index : {-1, 4, std::numeric_limits<int>::min()})
    {
        EXPECT_EQ(messageOf([&] { processor.getParameterRange(index, min, max); }), expected);
        EXPECT_EQ(messageOf([&] { processor.getParameterValue(index); }), expected);
        EXPECT_EQ(messageOf([&] { processor.setParameterValue(index, 0.0F, true); }), expected);
        EXPECT_EQ(messageOf([&] { processor.resetParameterValue(index, true); }), expected);
        EXPECT_EQ(messageOf([&] { processor.getParameter(index); }), expected);
    }
    EXPECT_EQ(log, Log());
    processor.getParameterRange(3, min, max);
    EXPECT_EQ(min, 40.0F);
    EXPECT_EQ(max, 70.0F);
}

TEST(ProcessorListeners, areToldTheGivenValueInTheirOrder)
{
    Processor processor;
    Log log;
    const Recorder first(processor, log, "a");
    const Recorder second(processor, log, "b");
    processor.setParameterValue(1, 1000.0F, true);
    EXPECT_EQ(processor.getParameterValue(1), 70.0F);
    processor.resetParameterValue(1, true);
    EXPECT_EQ(processor.getParameterValue(1), 50.0F);
    processor.setParameterValue(0, 60.0F, false);
    processor.resetParameterValue(0, false);
    EXPECT_EQ(log, (Log{"a1=1000", "b1=1000", "a1=50", "b1=50"}));
    EXPECT_FALSE(first.wasLocked);
}

TEST(ProcessorListeners, hearNothingOnceRemoved)
{
    Processor processor;
    Log log;
    Recorder first(processor, log, "a");
    Recorder second(processor, log, "b");
    processor.removeListener(&first);
    processor.removeListener(&first);
    processor.setParameterValue(0, 60.0F, true);
    EXPECT_EQ(log, Log{"b0=60"});
}

TEST(ProcessorListeners, areToldOfFormatsThatAreAlreadyStored)
{
    Processor processor;
    Log log;
    const Recorder recorder(processor, log, "");
    AudioFormat mono;
    mono.createDefaultChannelMapping(1);
    mono.sampleRate = 44100.0;
    AudioFormat stereo;
    stereo.createDefaultChannelMapping(2);
    EXPECT_TRUE(processor.setFormat(mono, stereo));
    EXPECT_EQ(log, Log{"1to2"});
    EXPECT_EQ(processor.getInputFormat().sampleRate, 44100.0);
    EXPECT_EQ(processor.getOutputFormat().getNumChannels(), 2);
}

TEST(BaseAudioProcessor, hasNoLatencyIdentifierOrInterfaceOfItsOwn)
{
    Processor processor;
    const ProcessingInfo info = processor.getProcessingInfo();
    EXPECT_EQ(info.processingLatency + info.additionalLatency + info.baseLatency, 0);
    EXPECT_EQ(info.timeScale, 1.0);
    EXPECT_EQ(processor.getUniqueIdentifier(), stock_uuids::Nil);
    EXPECT_FALSE(processor.hasUserInterface());
    EXPECT_EQ(processor.createUserInterface(), nullptr);
    EXPECT_FALSE(processor.analyze(Signal32(1, 4, 0.0F), true));
    EXPECT_EQ(processor.maximumBlockSize, -1);
}

} // namespace
} // namespace orvo::audio
