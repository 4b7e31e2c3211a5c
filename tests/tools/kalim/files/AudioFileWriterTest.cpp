#include "tools/kalim/files/AudioFileWriter.h"

#include "tests/tools/kalim/files/AudioFiles.h"
#include "tests/tools/kalim/files/ScratchFolder.h"
#include "tools/kalim/files/FileError.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>

#include <limits>

namespace kalim::program
{
namespace
{

using test::messageOf;
using ::testing::HasSubstr;

/// Lets no file of this process grow beyond a size, as a full disk would.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &previous);
        previousHandler = signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, previous.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &previous);
        signal(SIGXFSZ, previousHandler);
    }

    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit previous{};
    sighandler_t previousHandler = nullptr;
};

/// Every step of the depth at both ends and some thousand between, left-aligned.
std::vector<int> stepsOf(int bits)
{
    std::vector<int> samples;
    const std::int64_t top = std::int64_t{1} << (bits - 1);
    const std::int64_t stride = std::max<std::int64_t>(1, top / 1500);
    for (std::int64_t value = -top; value < top; value += stride)
        samples.push_back(static_cast<int>(value * (std::int64_t{1} << (32 - bits))));
    samples.push_back(static_cast<int>((top - 1) * (std::int64_t{1} << (32 - bits))));
    return samples;
}

class AudioFileWriterTest : public test::ScratchFolder
{
protected:
    std::vector<int> written(int format, const std::vector<float>& samples,
                             std::int64_t* clipped = nullptr) const
    {
        OutputFile output(path("out"), Existing::replace);
        AudioFileWriter writer(output, AudioFileFormat(format), 1, 48000);
        writer.write(samples);
        writer.close();
        if (clipped != nullptr)
            *clipped = writer.clippedSamples();
        output.commit();
        return test::readLibraryIntegers(path("out"), samples.size());
    }

    std::string failureOfWriting(int format, std::size_t frames) const
    {
        std::vector<float> noise(frames);
        std::uint32_t state = 1;
        for (auto& sample : noise)
            sample = static_cast<float>((state = state * 1664525 + 1013904223) >> 8) * 0x1p-24F;
        return messageOf<FileError>(
            [&]
            {
                OutputFile output(path("full"), Existing::keep);
                AudioFileWriter writer(output, AudioFileFormat(format), 1, 48000);
                writer.write(noise);
                writer.close();
                output.commit();
            });
    }
};

} // namespace

TEST_F(AudioFileWriterTest, UnchangedIntegersComeOutBitForBit)
{
    for (const int container : {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64, SF_FORMAT_W64,
                                SF_FORMAT_AIFF, SF_FORMAT_CAF, SF_FORMAT_AU, SF_FORMAT_FLAC})
        for (const int subtype :
             {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24,
              SF_FORMAT_ULAW, SF_FORMAT_ALAW, SF_FORMAT_ALAC_16, SF_FORMAT_ALAC_24, SF_FORMAT_FLOAT,
              SF_FORMAT_DOUBLE})
        {
            const AudioFileFormat format(container | subtype);
            if (!format.canHold(1, 48000))
                continue;
            const auto samples = stepsOf(integerBitsOf(subtype).value_or(24));
            test::writeLibraryFile(path("in"), container | subtype, samples);
            test::copyAudio(path("in"), path("copy"), container | subtype);
            EXPECT_EQ(test::readLibraryIntegers(path("copy"), samples.size()),
                      test::readLibraryIntegers(path("in"), samples.size()))
                << format.description();
            std::filesystem::remove(path("copy"));
        }
}

TEST_F(AudioFileWriterTest, ThirtyTwoBitsKeepTheTwentyFourOfAFloat)
{
    const auto samples = stepsOf(24);
    test::writeLibraryFile(path("in"), SF_FORMAT_WAV | SF_FORMAT_PCM_32, samples);
    test::copyAudio(path("in"), path("copy"), SF_FORMAT_WAV | SF_FORMAT_PCM_32);
    EXPECT_EQ(test::readLibraryIntegers(path("copy"), samples.size()), samples);
    std::int64_t clipped = -1;
    EXPECT_EQ(written(SF_FORMAT_WAV | SF_FORMAT_PCM_32, {1.0F}, &clipped), std::vector{INT_MAX});
    EXPECT_EQ(clipped, 0);
}

TEST_F(AudioFileWriterTest, LimitsAndCountsWhatIsBeyondFullScale)
{
    const std::vector<float> samples{
        1.5F, -1.5F, 1.0F, -1.0F, 0.25F, 1e30F, std::numeric_limits<float>::quiet_NaN()};
    std::int64_t clipped = 0;
    const auto got = written(SF_FORMAT_WAV | SF_FORMAT_PCM_16, samples, &clipped);
    constexpr int top = 0x7fff0000;
    EXPECT_EQ(got, (std::vector<int>{top, INT_MIN, top, INT_MIN, 0x20000000, top, 0}));
    EXPECT_EQ(clipped, 3);
    // The lowest integer of all comes out of the tables of companded formats as the highest.
    EXPECT_LT(written(SF_FORMAT_WAV | SF_FORMAT_ULAW, {-8.0F}).front(), -0x70000000);
}

TEST_F(AudioFileWriterTest, RoundsToTheNearestStep)
{
    const float step = 1.0F / 32768;
    EXPECT_EQ(written(SF_FORMAT_AIFF | SF_FORMAT_PCM_16, {1.6F * step, -1.6F * step, 0.4F * step}),
              (std::vector<int>{2 * 65536, -2 * 65536, 0}));
}

TEST_F(AudioFileWriterTest, FloatsKeepWhatIsBeyondFullScale)
{
    written(SF_FORMAT_WAV | SF_FORMAT_FLOAT, {1.5F, -2.25F});
    EXPECT_EQ(test::readAll(path("out")), (std::vector<float>{1.5F, -2.25F}));
}

TEST_F(AudioFileWriterTest, AFullDiskIsAnErrorAndLeavesNothing)
{
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
                             SF_FORMAT_OGG | SF_FORMAT_VORBIS})
    {
        const FileSizeLimit limit(20000);
        EXPECT_THAT(failureOfWriting(format, 200000), HasSubstr("File too large"));
        EXPECT_EQ(filesInFolder(), 0U);
    }
    // So short that the encoder keeps all of it until it is closed.
    const FileSizeLimit limit(5000);
    EXPECT_THAT(failureOfWriting(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 4000),
                HasSubstr("File too large"));
    EXPECT_EQ(filesInFolder(), 0U);
}

} // namespace kalim::program
