#include "audiofile/AudioFileWriter.h"

#include "tests/audiofile/AudioFiles.h"

#include <climits>

#include <cmath>
#include <tuple>

namespace kalim::test
{
namespace
{

/// Every step of the depth at both ends and some thousand between, left-aligned.
std::vector<int> stepsOf(int bits)
{
    std::vector<int> samples;
    const auto step = std::int64_t{1} << (32 - bits);
    const auto stride = step * std::max<std::int64_t>(1, (std::int64_t{1} << bits) / 3000);
    for (std::int64_t value = INT_MIN; value < INT_MAX; value += stride)
        samples.push_back(static_cast<int>(value));
    samples.push_back(static_cast<int>(INT_MAX - step + 1));
    return samples;
}

class AudioFileWriterTest : public ScratchFolder
{
protected:
    std::vector<int> written(int format, const std::vector<float>& samples)
    {
        OutputFile output(path("out"), Existing::replace);
        AudioFileWriter writer(output, AudioFileFormat(format), 1, 48000);
        writer.write(samples);
        writer.close();
        clipped = writer.getNumClippedSamples();
        output.commit();
        return readLibraryIntegers(path("out"));
    }

    std::int64_t clipped = -1;
};

} // namespace

TEST_F(AudioFileWriterTest, UnchangedIntegersComeOutBitForBit)
{
    for (const int container : {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64, SF_FORMAT_W64,
                                SF_FORMAT_AIFF, SF_FORMAT_CAF, SF_FORMAT_AU, SF_FORMAT_FLAC})
        for (const int subtype :
             {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24,
              SF_FORMAT_PCM_32, SF_FORMAT_ULAW, SF_FORMAT_ALAW, SF_FORMAT_ALAC_16,
              SF_FORMAT_ALAC_24, SF_FORMAT_FLOAT, SF_FORMAT_DOUBLE})
        {
            const AudioFileFormat format(container | subtype);
            if (!format.canHold(1, 48000))
                continue;
            // The samples in between are floats, which hold 24 bits.
            const auto samples = stepsOf(std::min(integerBitsOf(subtype).value_or(24), 24));
            writeLibraryFile(path("in"), container | subtype, samples);
            copyAudio(path("in"), path("out"), container | subtype);
            EXPECT_EQ(readLibraryIntegers(path("out")), readLibraryIntegers(path("in")))
                << format.getDescription();
        }
}

TEST_F(AudioFileWriterTest, RoundsToTheNearestStepAndLimitsAndCountsWhatIsBeyondFullScale)
{
    constexpr float step = 1.0F / 32768;
    constexpr int top = 0x7fff0000;
    EXPECT_EQ(written(wav16, {1.5F, -1.5F, 1.0F, -1.0F, 0.25F, 1e30F, NAN}),
              (std::vector<int>{top, INT_MIN, top, INT_MIN, 0x20000000, top, 0}));
    EXPECT_EQ(clipped, 3);
    EXPECT_EQ(written(SF_FORMAT_AIFF | SF_FORMAT_PCM_16, {1.6F * step, -1.6F * step, 0.4F * step}),
              (std::vector<int>{2 * 65536, -2 * 65536, 0}));
    EXPECT_EQ(written(SF_FORMAT_WAV | SF_FORMAT_PCM_32, {1.0F}), std::vector{INT_MAX});
    EXPECT_EQ(clipped, 0);
    // The lowest integer of all comes out of the tables of companded formats as the highest.
    EXPECT_LT(written(SF_FORMAT_WAV | SF_FORMAT_ULAW, {-8.0F}).front(), -0x70000000);
    written(SF_FORMAT_WAV | SF_FORMAT_FLOAT, {1.5F, -2.25F});
    EXPECT_EQ(readAll(path("out")), (std::vector<float>{1.5F, -2.25F}));
}

TEST_F(AudioFileWriterTest, AFullDiskIsAnErrorAndLeavesWhatWasThere)
{
    // The last one is so short that the encoder keeps all of it until it is closed.
    for (const auto& [format, frames, largestFile] :
         {std::tuple(wav16, 200000U, 20000U), std::tuple(flac16, 200000U, 20000U),
          std::tuple(oggVorbis, 200000U, 20000U), std::tuple(flac16, 4000U, 5000U)})
    {
        writeLibraryFile(path("in"), wav16, noise(frames));
        const auto writtenOver = writeText("out", "old");
        const auto copy = [&, format = format] { copyAudio(path("in"), writtenOver, format); };
        EXPECT_THAT(messageOnFullDisk(largestFile, copy), HasSubstr("File too large"));
        EXPECT_EQ(contentsOf(writtenOver), "old");
        EXPECT_EQ(filesInFolder(), 2);
    }
}

} // namespace kalim::test
