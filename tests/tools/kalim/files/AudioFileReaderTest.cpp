#include "tools/kalim/files/AudioFileReader.h"

#include "tests/tools/kalim/files/AudioFiles.h"
#include "tests/tools/kalim/files/ScratchFolder.h"
#include "tools/kalim/files/ChunkLayout.h"
#include "tools/kalim/files/FileError.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

namespace kalim::program
{
namespace
{

using test::messageOf;
using ::testing::HasSubstr;

class AudioFileReaderTest : public test::ScratchFolder
{
protected:
    static std::string refusal(const std::filesystem::path& file)
    {
        return messageOf<FileError>([&] { const AudioFileReader reader(file); });
    }

    /// Reads in blocks, as a program does, and returns the error.
    static std::string failureOf(const std::filesystem::path& file)
    {
        return messageOf<FileError>(
            [&]
            {
                AudioFileReader reader(file);
                std::vector<float> block(1000);
                while (reader.read(block) > 0)
                {
                }
            });
    }

    static std::vector<int> noise(std::size_t count)
    {
        std::vector<int> samples(count);
        std::uint32_t state = 1;
        for (auto& sample : samples)
            sample = static_cast<int>((state = state * 1664525 + 1013904223) & 0xffff0000U);
        return samples;
    }
};

} // namespace

TEST_F(AudioFileReaderTest, RefusesWhatIsNoAudioFileWithAReason)
{
    EXPECT_THAT(refusal(path("missing.wav")), HasSubstr("No such file"));
    EXPECT_THAT(refusal(folder), HasSubstr("is a folder"));
    EXPECT_THAT(refusal(writeText("empty.wav", "")), HasSubstr("is empty"));
    EXPECT_THAT(refusal(writeText("text.wav", "Dear diary, today I recorded nothing at all.")),
                HasSubstr("cannot be read as audio"));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_THAT(refusal(path("pipe")), HasSubstr("not a regular file"));
    EXPECT_THAT(refusal("/dev/zero"), HasSubstr("not a regular file"));
}

TEST_F(AudioFileReaderTest, ReadsFullScaleAsOneAndStopsAtTheEnd)
{
    test::writeLibraryFile(path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16,
                           {INT_MIN, 0x40000000, 0}, 1);
    AudioFileReader reader(path("a.wav"));
    EXPECT_EQ(reader.frames(), 3);
    EXPECT_EQ(reader.sampleRate(), 48000);
    std::vector<float> samples(8);
    EXPECT_EQ(reader.read(samples), 3);
    EXPECT_EQ(samples[0], -1.0F);
    EXPECT_EQ(samples[1], 0.5F);
    EXPECT_EQ(reader.read(samples), 0);
}

TEST_F(AudioFileReaderTest, ReadsFilesWithoutSamples)
{
    test::writeLibraryFile(path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, {});
    EXPECT_EQ(failureOf(path("a.wav")), "");
}

TEST_F(AudioFileReaderTest, TakesNoDescriptionForSamples)
{
    test::writeLibraryFile(path("a.w64"), SF_FORMAT_W64 | SF_FORMAT_PCM_16, noise(4));
    const FileDescriptor file(open(path("a.w64").c_str(), O_RDONLY));
    const auto layout = chunkLayoutOf(file.get()).value();
    auto bytes = contentsOf(path("a.w64"));
    for (const auto byte : layout.serialised("iXML", std::vector<std::byte>(100)))
        bytes += static_cast<char>(byte);
    EXPECT_EQ(AudioFileReader(writeText("b.w64", bytes)).frames(), 4);
}

TEST_F(AudioFileReaderTest, ReportsACutOrDamagedCompressedFile)
{
    test::writeLibraryFile(path("a.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, noise(100000));
    const auto whole = contentsOf(path("a.flac"));
    EXPECT_EQ(failureOf(path("a.flac")), "");
    EXPECT_NE(failureOf(writeText("cut.flac", whole.substr(0, whole.size() / 2))), "");

    auto damaged = whole;
    for (std::size_t i = 0; i < 400; ++i)
        damaged[damaged.size() / 2 + i] = static_cast<char>(i * 37);
    EXPECT_NE(failureOf(writeText("damaged.flac", damaged)), "");
}

TEST_F(AudioFileReaderTest, CountsStreamsThatDoNotTellTheirLength)
{
    test::writeLibraryFile(path("a.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, noise(30000));
    auto bytes = contentsOf(path("a.flac"));
    // The number of samples is the last 36 bits before the checksum in the first block.
    constexpr std::size_t count = 8 + 13;
    bytes[count] = static_cast<char>(bytes[count] & 0xf0);
    std::fill_n(bytes.begin() + count + 1, 4, '\0');
    AudioFileReader reader(writeText("stream.flac", bytes));
    EXPECT_EQ(reader.frames(), 30000);
    EXPECT_EQ(failureOf(path("stream.flac")), "");

    test::writeLibraryFile(path("a.mp3"), SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, noise(30000));
    EXPECT_EQ(failureOf(path("a.mp3")), "");
}

} // namespace kalim::program
