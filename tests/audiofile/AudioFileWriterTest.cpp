#include "audiofile/AudioFileWriter.h"

#include "audiofile/ValidBits.h"
#include "tests/audiofile/AudioFiles.h"

#include <climits>

#include <fcntl.h>

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
            // Of 32 bits the samples in between hold 24 only.
            const auto samples = stepsOf(integerBitsOf(subtype).value_or(24));
            writeLibraryFile(path("in"), container | subtype, samples);
            copyAudio(path("in"), path("out"), container | subtype);
            EXPECT_EQ(readLibraryIntegers(path("out")), readLibraryIntegers(path("in")))
                << format.getDescription();
        }
}

TEST_F(AudioFileWriterTest, RoundsToTheNearestStepAndLimitsAndCountsWhatIsBeyondFullScale)
{
    constexpr float step = 1.0F / (1 << 23);
    constexpr int top = 0x7fff0000;
    EXPECT_EQ(written(wav16, {1.5F, -1.5F, 1.0F, -1.0F, 0.25F, 1e30F, NAN}),
              (std::vector<int>{top, INT_MIN, top, INT_MIN, 0x20000000, top, 0}));
    EXPECT_EQ(clipped, 3);
    EXPECT_EQ(written(SF_FORMAT_AIFF | SF_FORMAT_PCM_24, {1.6F * step, -1.6F * step, 0.4F * step}),
              (std::vector<int>{2 * 256, -2 * 256, 0}));
    EXPECT_EQ(written(SF_FORMAT_WAV | SF_FORMAT_PCM_32, {1.0F}), std::vector{INT_MAX});
    EXPECT_EQ(clipped, 0);
    // The lowest integer of all comes out of the tables of companded formats as the highest.
    EXPECT_LT(written(SF_FORMAT_WAV | SF_FORMAT_ULAW, {-8.0F}).front(), -0x70000000);
    written(SF_FORMAT_WAV | SF_FORMAT_FLOAT, {1.5F, -2.25F});
    EXPECT_EQ(readAll(path("out")), (std::vector<float>{1.5F, -2.25F}));
}

TEST_F(AudioFileWriterTest, DithersWhatLiesBetweenStepsAndNothingElse)
{
    constexpr float step = 1.0F / 32768;
    const auto samples = written(wav16, std::vector<float>(9000, 100.25F * step));
    // Triangular noise of two steps: the mean is right, and the variance that of rounding, 1/12,
    // and of two uniform noises, 1/6, wherever between two steps the sample lies. With 9000 samples
    // three standard errors are 0.016 and 0.012.
    double sum = 0.0;
    double squares = 0.0;
    for (const int sample : samples)
    {
        const double error = sample / 65536.0 - 100.25;
        sum += error / 9000.0;
        squares += error * error / 9000.0;
    }
    EXPECT_NEAR(sum, 0.0, 0.02);
    EXPECT_NEAR(squares, 0.25, 0.02);
    EXPECT_EQ(written(wav16, std::vector<float>(9000, 100.25F * step)), samples);
    EXPECT_EQ(written(wav16, std::vector<float>(900, -7 * step)),
              std::vector<int>(900, -7 * 65536));
    const auto finer = written(SF_FORMAT_WAV | SF_FORMAT_PCM_24, std::vector<float>(900, 1e-9F));
    EXPECT_EQ(finer, std::vector<int>(900, 0));
}

TEST_F(AudioFileWriterTest, KeepsTheNumberOfValidBits)
{
    for (const auto& [format, mark, offset] :
         {std::tuple(SF_FORMAT_WAVEX, "fmt ", 8 + 18), std::tuple(SF_FORMAT_WAV, "fmt ", 8 + 14),
          std::tuple(SF_FORMAT_W64, "fmt ", 24 + 14), std::tuple(SF_FORMAT_AIFF, "COMM", 8 + 7)})
    {
        const int format24 = format | SF_FORMAT_PCM_24;
        auto bytes = writeLibraryFile(path("in"), format24, {0, 4096, -4096, 65536});
        const auto place = bytes.find(mark) + static_cast<std::size_t>(offset);
        ASSERT_EQ(bytes[place], 24);
        bytes[place] = 20;
        writeText("in", bytes);
        EXPECT_THAT(copyAudio(path("in"), path("out"), format24), testing::IsEmpty());
        EXPECT_EQ(contentsOf(path("out")), bytes);
        EXPECT_EQ(validBitsOf(FileDescriptor(open(path("out").c_str(), O_RDONLY)).get()), 20);
    }
}

TEST_F(AudioFileWriterTest, TakesWhatWasRemovedFromTheFilesOwnNumbers)
{
    constexpr int format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    const std::vector<double> samples{0.1, -1.0 / 3.0, 1e-300, 0.7};
    {
        const auto file = openLibraryFile(path("in"), SFM_WRITE, format);
        sf_write_double(file.get(), samples.data(), 4);
    }
    const AudioFileReader reader(path("in"));
    RecordingCopy copy(reader, path("out"), {}, {AudioFileFormat(format), {}});
    auto cleaned = readAll(path("in"));
    cleaned[3] -= 0.25F;
    copy.write(cleaned);
    copy.close();
    copy.commit();
    std::vector<double> result(4);
    sf_read_double(openLibraryFile(path("out"), SFM_READ).get(), result.data(), 4);
    const double removed =
        static_cast<double>(static_cast<float>(0.7)) - static_cast<double>(cleaned[3]);
    EXPECT_EQ(result, (std::vector{0.1, -1.0 / 3.0, 1e-300, 0.7 - removed}));
}

TEST_F(AudioFileWriterTest, FloatsThatAreIntegersAreReadToScaleAndWrittenBack)
{
    constexpr int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    for (const float scale : {32768.0F, 8388608.0F})
    {
        std::vector<float> samples;
        for (int n = 0; n < 3000; ++n)
            samples.push_back(std::round(scale * std::sin(0.1F * static_cast<float>(n))));
        samples.back() = 1e-38F;
        {
            const auto file = openLibraryFile(path("in"), SFM_WRITE, format);
            sf_write_float(file.get(), samples.data(), 3000);
        }
        const auto peak = std::ranges::max(readAll(path("in")));
        EXPECT_GT(peak, 0.99F);
        EXPECT_LE(peak, 1.0F);
        copyAudio(path("in"), path("out"), format);
        std::vector<float> result(3000);
        sf_read_float(openLibraryFile(path("out"), SFM_READ).get(), result.data(), 3000);
        EXPECT_EQ(result, samples);
        copyAudio(path("in"), path("out"), SF_FORMAT_WAV | SF_FORMAT_PCM_24);
        EXPECT_FLOAT_EQ(std::ranges::max(readAll(path("out"))), peak);
    }
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
