#include "dsp/processor/BaseAudioProcessor.h"

#include "dsp/processor/ProcessorParameter.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace orvo::audio;

namespace
{

using Values = std::vector<float>;
using Log = std::vector<std::string>;

struct MemoryStream : orvo::files::OutputStream, orvo::files::InputStream
{
    bool write(const void* source, std::size_t numBytes) override
    {
        bytes.append(static_cast<const char*>(source), numBytes);
        return true;
    }

    std::size_t read(void* destination, std::size_t numBytes) override
    {
        if (++numReads > 1000)
            throw std::length_error("reads on and on behind the end");
        const std::size_t count = bytes.copy(static_cast<char*>(destination), numBytes, position);
        position += count;
        return count;
    }

    std::string bytes;
    std::size_t position = 0;
    int numReads = 0;
};

/// Three settings from 40 to 70 with 50 as default, and the block as it is.
class Processor : public BaseAudioProcessor
{
public:
    Processor()
    {
        for (TypedProcessorParameter<float>& setting : settings)
        {
            setting.minValue = 40.0F;
            setting.maxValue = 70.0F;
            setting.value = setting.defaultValue = 50.0F;
            parameters.push_back(&setting);
        }
    }

    Signal32 process(const Signal32& input, bool) override { return input; }

    std::string getName() override { return "Test"; }

    bool isLocked()
    {
        bool isFree = false;
        std::thread([&] { isFree = std::unique_lock(parameterLock, std::try_to_lock).owns_lock(); })
            .join();
        return !isFree;
    }

    Values getValues() { return {settings[0].value, settings[1].value, settings[2].value}; }

private:
    std::array<TypedProcessorParameter<float>, 3> settings;
};

/// Writes down what it is told, with its own name in front.
struct Recorder : BaseAudioProcessor::Listener
{
    Recorder(Processor& observed, Log& sharedLog, std::string ownName)
        : processor(observed)
        , log(sharedLog)
        , name(std::move(ownName))
    {
        processor.addListener(this);
    }

    void parameterChanged(int index, float value) override
    {
        EXPECT_FALSE(processor.isLocked());
        log.push_back(name + std::to_string(index) + "=" + std::to_string(std::lround(value)));
    }

    void stateLoaded() override { log.push_back(name + "state"); }

    void formatChanged(const AudioFormat&, const AudioFormat& output) override
    {
        EXPECT_EQ(processor.getOutputFormat().sampleRate, output.sampleRate);
        log.push_back(name + std::to_string(output.getNumChannels()));
    }

    Processor& processor;
    Log& log;
    std::string name;
};

struct Record
{
    std::int32_t index;
    float value;
};

std::string makeState(std::int32_t count, const std::vector<Record>& records)
{
    MemoryStream stream;
    stream.write(&count, 4);
    stream.write(records.data(), 8 * records.size());
    return stream.bytes;
}

class BaseProcessor : public testing::Test
{
protected:
    /// Loads over the defaults and returns what is then set.
    Values load(const std::string& bytes, bool isAccepted = true)
    {
        for (int index = 0; index < 3; ++index)
            processor.resetParameterValue(index, false);
        MemoryStream stream;
        stream.bytes = bytes;
        EXPECT_EQ(processor.loadState(&stream), isAccepted);
        return processor.getValues();
    }

    Processor processor;
    Log log;
    Recorder first{processor, log, "a "};
};

} // namespace

TEST_F(BaseProcessor, savesACountAndARecordPerParameterAndLoadsThem)
{
    const std::vector<Record> records = {{0, 41.0F}, {1, 42.25F}, {2, 70.0F}};
    for (const Record& record : records)
        processor.setParameterValue(record.index, record.value, false);
    MemoryStream stream;
    EXPECT_TRUE(processor.saveState(&stream));
    EXPECT_EQ(stream.bytes, makeState(3, records));
    EXPECT_EQ(load(stream.bytes), (Values{41.0F, 42.25F, 70.0F}));
    EXPECT_EQ(log, Log{"a state"}) << "one notice for all values";
}

TEST_F(BaseProcessor, loadsRecordsInAnyOrderWithSomeOrAllMissing)
{
    constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t count : {3, 4, huge})
        EXPECT_EQ(load(makeState(count, {{2, 44.0F}, {1, 66.0F}, {2, 1000.0F}})),
                  (Values{50.0F, 66.0F, 70.0F}))
            << count;
    for (const std::int32_t count : {0, -1, -huge})
        EXPECT_EQ(load(makeState(count, {{1, 66.0F}})), Values(3, 50.0F)) << count;
    EXPECT_EQ(load({}), Values(3, 50.0F));
    EXPECT_EQ(log, Log(7, "a state"));
}

TEST_F(BaseProcessor, refusesAnUnknownIndexAndKeepsWhatCameBefore)
{
    for (const std::int32_t unknown : {99, 3, -1})
        EXPECT_EQ(load(makeState(3, {{2, 60.0F}, {unknown, 1.0F}, {0, 61.0F}}), false),
                  (Values{50.0F, 50.0F, 60.0F}))
            << unknown;
    EXPECT_EQ(log, Log());
}

TEST_F(BaseProcessor, checksEveryIndex)
{
    float min = 0.0F;
    float max = 0.0F;
    for (const int index : {-1, 3})
    {
        EXPECT_THROW(processor.getParameterRange(index, min, max), std::out_of_range);
        EXPECT_THROW(processor.getParameterValue(index), std::out_of_range);
        EXPECT_THROW(processor.setParameterValue(index, 0.0F, true), std::out_of_range);
        EXPECT_THROW(processor.resetParameterValue(index, true), std::out_of_range);
    }
    EXPECT_EQ(log, Log());
    processor.getParameterRange(2, min, max);
    EXPECT_EQ(max, 70.0F);
}

TEST_F(BaseProcessor, tellsListenersTheGivenValueInTheirOrderUntilRemoved)
{
    const Recorder second(processor, log, "b ");
    processor.setParameterValue(1, 1000.0F, true);
    EXPECT_EQ(processor.getParameterValue(1), 70.0F);
    processor.setParameterValue(0, 60.0F, false);
    processor.removeListener(&first);
    processor.resetParameterValue(1, true);
    EXPECT_EQ(processor.getParameterValue(1), 50.0F);
    EXPECT_EQ(log, (Log{"a 1=1000", "b 1=1000", "b 1=50"}));
}

TEST_F(BaseProcessor, tellsListenersOfFormatsThatAreAlreadyStored)
{
    AudioFormat stereo;
    stereo.createDefaultChannelMapping(2);
    stereo.sampleRate = 44100.0;
    EXPECT_TRUE(processor.setFormat(AudioFormat(), stereo));
    EXPECT_EQ(log, Log{"a 2"});
}
