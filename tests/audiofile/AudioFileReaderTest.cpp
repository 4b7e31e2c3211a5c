#include "audiofile/AudioFileReader.h"

#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"
#include "audiofile/ChunkLayout.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>

namespace kalim::test
{
namespace
{

class AudioFileReaderTest : public ScratchFolder
{
protected:
    static std::string refusal(const std::filesystem::path& file)
    {
        return messageOf([&] { const AudioFileReader reader(file); });
    }

    /// Reads in blocks, as a program does, and returns the error.
    static std::string failureOf(const std::filesystem::path& file)
    {
        return messageOf(
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
        std::ranges::generate(samples, std::minstd_rand());
        return samples;
    }
};

} // namespace

TEST_F(AudioFileReaderTest, RefusesWhatIsNoAudioFileWithAReasonOnOneLine)
{
    EXPECT_THAT(refusal(path("missing.wav")), HasSubstr("No such file"));
    EXPECT_THAT(refusal(folder), HasSubstr("is a folder"));
    EXPECT_EQ(refusal(writeText("a\nb\x1b[2Jü.wav", "")),
              folder.string() + "/a\\nb\\x1b[2Jü.wav: is empty");
    EXPECT_THAT(refusal(writeText("text.wav", "Dear diary, today I recorded nothing at all.")),
                HasSubstr("cannot be read as audio"));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_THAT(refusal(path("pipe")), HasSubstr("not a regular file"));
    EXPECT_THAT(refusal("/dev/zero"), HasSubstr("not a regular file"));
}

TEST_F(AudioFileReaderTest, TakesNoDescriptionForSamples)
{
    writeLibraryFile(path("a.w64"), SF_FORMAT_W64 | SF_FORMAT_PCM_16, noise(4));
    const FileDescriptor file(open(path("a.w64").c_str(), O_RDONLY));
    const auto layout = chunkLayoutOf(file.get()).value();
    auto bytes = contentsOf(path("a.w64"));
    for (const auto byte : layout.serialised("iXML", std::vector<std::byte>(100)))
        bytes += static_cast<char>(byte);
    EXPECT_EQ(AudioFileReader(writeText("b.w64", bytes)).frames(), 4);
}

TEST_F(AudioFileReaderTest, ReportsACutOrDamagedCompressedFile)
{
    writeLibraryFile(path("a.flac"), flac16, noise(100000));
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
    writeLibraryFile(path("a.flac"), flac16, noise(30000));
    auto bytes = contentsOf(path("a.flac"));
    // The number of samples is the last 36 bits before the checksum in the first block.
    constexpr std::size_t count = 8 + 13;
    bytes[count] = static_cast<char>(bytes[count] & 0xf0);
    std::fill_n(bytes.begin() + count + 1, 4, '\0');
    AudioFileReader reader(writeText("stream.flac", bytes));
    EXPECT_EQ(reader.frames(), 30000);
    EXPECT_EQ(failureOf(path("stream.flac")), "");

    writeLibraryFile(path("a.mp3"), mp3, noise(30000));
    EXPECT_EQ(failureOf(path("a.mp3")), "");
}

} // namespace kalim::test
