#include "audiofile/AudioFileReader.h"

#include "tests/audiofile/AudioFiles.h"

#include <sys/stat.h>

namespace kalim::test
{
namespace
{

std::string failureOf(const std::filesystem::path& file)
{
    return messageOf([&] { readAll(file); });
}

using AudioFileReaderTest = ScratchFolder;

} // namespace

TEST_F(AudioFileReaderTest, RefusesWhatIsNoAudioFileWithAReasonOnOneLine)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(failureOf(writeText("a\nb\x1b[2Jü.wav", "")),
              folder.string() + "/a\\nb\\x1b[2Jü.wav: is empty");
    for (const auto& file : {path("pipe"), std::filesystem::path("/dev/zero")})
        EXPECT_THAT(failureOf(file), HasSubstr("not a regular file"));
}

TEST_F(AudioFileReaderTest, TakesNoDescriptionForSamples)
{
    const auto chunk = "iXML\xf3\xac\xd3\x11\x8c\xd1\0\xc0\x4f\x8e\xdb\x8a\x7c\0\0\0\0\0\0\0"s;
    const auto bytes = writeLibraryFile(path("a"), w64, noise(4)) + chunk + std::string(100, 'x');
    EXPECT_EQ(AudioFileReader(writeText("b", bytes)).getNumFrames(), 4);
}

TEST_F(AudioFileReaderTest, ReportsACutOrDamagedCompressedFileAndCanSeekBack)
{
    const auto whole = writeLibraryFile(path("a.flac"), flac16, noise(100000));
    auto damaged = whole;
    damaged.replace(damaged.size() / 2, 400, 400, 'x');
    EXPECT_NE(failureOf(writeText("damaged.flac", damaged)), "");
    EXPECT_NE(failureOf(writeText("cut.flac", whole.substr(0, whole.size() / 2))), "");

    AudioFileReader reader(path("cut.flac"));
    std::vector<float> samples(100000);
    EXPECT_THROW(reader.read(samples), FileError);
    EXPECT_NEAR(static_cast<double>(reader.getPosition()), 50000, 10000);
    const auto start = samples;
    EXPECT_NE(messageOf([&] { reader.seek(80000), reader.read(samples); }), "");
    reader.seek(1000);
    EXPECT_EQ(reader.read(std::span(samples).first(500)), 500);
    EXPECT_TRUE(std::equal(samples.begin(), samples.begin() + 500, start.begin() + 1000));
}

TEST_F(AudioFileReaderTest, ReadsFromAnyFrameOnAsFromTheStart)
{
    constexpr std::int64_t numFrames = 30000;
    // A stream does not tell its length: the last 36 bits before the checksum of the first block.
    auto stream = writeLibraryFile(path("a"), flac16, noise(numFrames));
    stream[21] = static_cast<char>(stream[21] & 0xf0);
    stream.replace(22, 4, 4, '\0');
    std::vector<std::string> files{stream};
    // The last one cannot seek and is decoded up to the frame.
    for (const int format : {wav16, flac16, oggVorbis, mp3, SF_FORMAT_AU | SF_FORMAT_G721_32})
        files.push_back(writeLibraryFile(path("a"), format, noise(numFrames)));
    for (const auto& bytes : files)
    {
        auto whole = readAll(writeText("a", bytes));
        EXPECT_EQ(std::ssize(whole), numFrames);
        whole.resize(numFrames + 200);
        AudioFileReader reader(path("a"));
        // Decoders of MP3 round differently when they come from elsewhere.
        const float tolerance = reader.getFormat().getLibraryFormat() == mp3 ? 1e-6F : 0.0F;
        for (const std::int64_t start : {20000, 3000, 3200, 0, 29990, 70000, -5})
        {
            const auto frame = std::clamp<std::int64_t>(start, 0, numFrames);
            reader.seek(start);
            EXPECT_EQ(reader.getPosition(), frame);
            std::vector<float> part(200);
            EXPECT_EQ(reader.read(part), std::min<std::int64_t>(200, numFrames - frame));
            const auto expected = std::span(whole).subspan(static_cast<std::size_t>(frame), 200);
            EXPECT_THAT(part, testing::Pointwise(testing::FloatNear(tolerance), expected)) << start;
        }
    }
}

} // namespace kalim::test
