#include "audiofile/AudioFileReader.h"

#include "audiofile/ChunkLayout.h"
#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace kalim::test
{
namespace
{

class AudioFileReaderTest : public ScratchFolder
{
protected:
    /// Reads in parts, as a program does, and returns the error.
    static std::string failureOf(const std::filesystem::path& file)
    {
        return messageOf(
            [&]
            {
                AudioFileReader reader(file);
                std::vector<float> part(1000);
                while (reader.read(part) > 0)
                {
                }
            });
    }

    void expectSeekable(const std::string& name, float tolerance = 0.0F) const
    {
        EXPECT_EQ(failureOf(path(name)), "");
        const auto whole = readAll(path(name));
        AudioFileReader reader(path(name));
        for (const std::int64_t start : {20000, 3000, 3200, 0, 29990, 70000, -5})
        {
            const auto frame = std::clamp<std::int64_t>(start, 0, reader.getNumFrames());
            reader.seek(start);
            EXPECT_EQ(reader.getPosition(), frame);
            std::vector<float> part(200);
            part.resize(static_cast<std::size_t>(reader.read(part)));
            const std::span rest = std::span(whole).subspan(static_cast<std::size_t>(frame));
            const auto expected = rest.first(std::min<std::size_t>(200, rest.size()));
            EXPECT_THAT(part, testing::Pointwise(testing::FloatNear(tolerance), expected)) << start;
        }
    }
};

} // namespace

TEST_F(AudioFileReaderTest, RefusesWhatIsNoAudioFileWithAReasonOnOneLine)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(failureOf(writeText("a\nb\x1b[2Jü.wav", "")),
              folder.string() + "/a\\nb\\x1b[2Jü.wav: is empty");
    for (const auto& [file, reason] :
         {std::pair(path("missing.wav"), "No such file"), std::pair(folder, "is a folder"),
          std::pair(writeText("text.wav", "Dear diary, today I recorded nothing at all."),
                    "cannot be read as audio"),
          std::pair(path("pipe"), "not a regular file"),
          std::pair(std::filesystem::path("/dev/zero"), "not a regular file")})
        EXPECT_THAT(failureOf(file), HasSubstr(reason));
}

TEST_F(AudioFileReaderTest, TakesNoDescriptionForSamples)
{
    writeLibraryFile(path("a.w64"), SF_FORMAT_W64 | SF_FORMAT_PCM_16, noise(4));
    const FileDescriptor file(open(path("a.w64").c_str(), O_RDONLY));
    const auto layout = chunkLayoutOf(file.get()).value();
    auto bytes = contentsOf(path("a.w64"));
    for (const auto byte : layout.serialised("iXML", std::vector<std::byte>(100)))
        bytes += static_cast<char>(byte);
    EXPECT_EQ(AudioFileReader(writeText("b.w64", bytes)).getNumFrames(), 4);
}

TEST_F(AudioFileReaderTest, ReportsACutOrDamagedCompressedFileAndCanSeekBack)
{
    writeLibraryFile(path("a.flac"), flac16, noise(100000));
    const auto whole = contentsOf(path("a.flac"));
    EXPECT_EQ(failureOf(path("a.flac")), "");
    auto damaged = whole;
    for (std::size_t i = 0; i < 400; ++i)
        damaged[damaged.size() / 2 + i] = static_cast<char>(i * 37);
    EXPECT_NE(failureOf(writeText("damaged.flac", damaged)), "");
    EXPECT_NE(failureOf(writeText("cut.flac", whole.substr(0, whole.size() / 2))), "");

    AudioFileReader reader(path("cut.flac"));
    std::vector<float> samples(100000);
    EXPECT_THROW(reader.read(samples), FileError);
    const auto reachable = reader.getPosition();
    EXPECT_GT(reachable, 40000);
    EXPECT_LT(reachable, 60000);
    const auto start = samples;
    EXPECT_THROW(
        {
            reader.seek(80000);
            reader.read(samples);
        },
        FileError);
    reader.seek(1000);
    EXPECT_EQ(reader.read(std::span(samples).first(500)), 500);
    EXPECT_TRUE(std::equal(samples.begin(), samples.begin() + 500, start.begin() + 1000));
}

TEST_F(AudioFileReaderTest, CountsAStreamThatDoesNotTellItsLengthAndReadsItFromAnyFrameOn)
{
    writeLibraryFile(path("stream.flac"), flac16, noise(30000));
    auto bytes = contentsOf(path("stream.flac"));
    // The number of samples is the last 36 bits before the checksum in the first block.
    constexpr std::size_t count = 8 + 13;
    bytes[count] = static_cast<char>(bytes[count] & 0xf0);
    std::fill_n(bytes.begin() + count + 1, 4, '\0');
    writeText("stream.flac", bytes);
    EXPECT_EQ(AudioFileReader(path("stream.flac")).getNumFrames(), 30000);
    expectSeekable("stream.flac");
}

TEST_F(AudioFileReaderTest, ReadsFromAnyFrameOnAsFromTheStart)
{
    // The last one cannot seek and is decoded up to the frame.
    for (const int format : {wav16, flac16, oggVorbis, mp3, SF_FORMAT_AU | SF_FORMAT_G721_32})
    {
        writeLibraryFile(path("a"), format, noise(30000));
        // Decoders of MP3 round differently when they come from elsewhere.
        expectSeekable("a", format == mp3 ? 1e-6F : 0.0F);
    }
}

} // namespace kalim::test
