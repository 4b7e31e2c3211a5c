#include "audiofile/ChunkedFile.h"
#include "audiofile/FileDamage.h"
#include "audiofile/RecordingCopy.h"
#include "tests/audiofile/AudioFiles.h"
#include "tests/support/Sanitizers.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#ifdef KALIM_HAS_FFMPEG
#include "audiofile/media/FilmWriter.h"
#endif

namespace kalim::test
{
namespace
{

constexpr int opus = SF_FORMAT_OGG | SF_FORMAT_OPUS;

/// The last bytes of a file.
std::string endOf(const std::filesystem::path& file, std::ptrdiff_t size)
{
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(-size, std::ios::end);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class WholeFileTest : public ScratchFolder
{
protected:
    std::string bytesOf(int format, std::size_t frames) const
    {
        return writeLibraryFile(path("part"), format, noise(frames));
    }

    /// What is said to be lost of a file of these bytes, empty if nothing is.
    std::string lossOf(const std::string& bytes) const
    {
        AudioFileReader reader(writeText("in", bytes));
        for (const FileNote& note : damagesOf(reader))
            if (note.isLoss)
                return note.text;
        return {};
    }

    std::int64_t framesOf(const std::string& bytes) const
    {
        EXPECT_EQ(lossOf(bytes), "");
        EXPECT_EQ(std::ssize(readAll(path("in"))), AudioFileReader(path("in")).getNumFrames());
        return AudioFileReader(path("in")).getNumFrames();
    }

    /// A file of the kinds that fuzzing starts from.
    static std::string seed(const std::string& name)
    {
        return contentsOf(std::string(KALIM_SEEDS) + "/reader/" + name);
    }

    /// An MP3 file of variable rate, and its number of frames.
    std::string variableMp3() const
    {
        return writeLibraryFile(path("part"), mp3, noise(96000), 1,
                                [](SNDFILE* file)
                                {
                                    int mode = SF_BITRATE_MODE_VARIABLE;
                                    sf_command(file, SFC_SET_BITRATE_MODE, &mode, sizeof mode);
                                });
    }
};

} // namespace

TEST_F(WholeFileTest, ReadsRecordingsThatFollowOneAnother)
{
    for (const int format : {oggVorbis, opus, flac16})
    {
        const auto first = bytesOf(format, 9600);
        const auto second = bytesOf(format, 4800);
        EXPECT_EQ(framesOf(first + second + first), 24000) << format;
        AudioFileReader reader(path("in"));
        const auto whole = readAll(path("in"));
        std::vector<float> part(1000);
        for (const std::int64_t start : {14000, 9000, 0, 23000})
        {
            reader.seek(start);
            EXPECT_EQ(reader.read(part), 1000);
            EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + start)) << start;
        }
        EXPECT_NE(lossOf(first + second.substr(0, second.size() - 300)), "") << format;
    }
    const auto joined = bytesOf(mp3, 9600) + bytesOf(mp3, 4800);
    EXPECT_GE(framesOf(joined), 14400);
    const auto stereo = writeLibraryFile(path("part"), oggVorbis, noise(9600), 2);
    EXPECT_THAT(lossOf(bytesOf(oggVorbis, 4800) + stereo), HasSubstr("part 2 of 2"));
}

TEST_F(WholeFileTest, NeedsNoIndexForMp3AndTellsOfForeignBytes)
{
    auto bytes = variableMp3();
    EXPECT_EQ(framesOf(bytes), 96000);
    const auto index = bytes.find("Xing");
    ASSERT_NE(index, std::string::npos);
    bytes.replace(index, 4, "none");
    const auto numFrames = framesOf(bytes);
    EXPECT_GE(numFrames, 96000);
    EXPECT_LE(numFrames, 96000 + 4 * 1152);
    const std::string foreign(3000, 'x');
    const auto half = bytes.size() / 2;
    EXPECT_THAT(lossOf(bytes.substr(0, half) + foreign + bytes.substr(half)), HasSubstr("bytes"));
    EXPECT_GE(std::ssize(readAll(path("in"))), numFrames - 2 * 1152);
    EXPECT_THAT(lossOf(bytes.substr(0, half)), HasSubstr("last frame"));
    EXPECT_EQ(framesOf("ID3\x03\0\0\0\0\0\x0a          "s + bytes + "TAG" + std::string(125, ' ')),
              numFrames);
}

TEST_F(WholeFileTest, ReadsWavFilesThatTheLibraryReadsWrong)
{
    const auto sound = noise(1000);
    writeLibraryFile(path("a.wav"), wav16 | SF_ENDIAN_BIG, sound);
    EXPECT_EQ(framesOf(contentsOf(path("a.wav"))), 1000);
    EXPECT_EQ(readAll(path("in")), readAll(path("a.wav")));
    EXPECT_EQ(AudioFileReader(path("in")).getFormat().getByteOrder(), SF_ENDIAN_BIG);
    auto wide = writeLibraryFile(path("b"), rf64, sound);
    const auto expected = readAll(path("b"));
    EXPECT_EQ(framesOf(wide.replace(0, 4, "BW64")), 1000);
    EXPECT_EQ(readAll(path("in")), expected);
    // A block of an odd size in front of the samples.
    wide.insert(wide.rfind("data", 200), "iXML\x03\0\0\0abc\0"s);
    EXPECT_EQ(framesOf(wide.replace(0, 4, "RF64")), 1000);
    EXPECT_EQ(readAll(path("in")), expected);
}

TEST_F(WholeFileTest, TakesZerosForNoBlocksAndTellsOfWhatIsLeft)
{
    auto wav = writeLibraryFile(path("a"), wav16, std::vector<int>(500000));
    wav.replace(wav.rfind("data", 200) + 4, 4, 4, '\0');
    writeText("cut", wav);
    const FileDescriptor file(open(path("cut").c_str(), O_RDONLY));
    EXPECT_LE(ChunkedFile::open(file.get())->findChunks().size(), 3U);
    EXPECT_EQ(framesOf(wav), 500000);
    const auto whole = writeLibraryFile(path("a"), wav16, noise(1000));
    EXPECT_THAT(lossOf(whole + whole), HasSubstr("another recording"));
    EXPECT_THAT(lossOf(whole + std::string(999, '\xff')), HasSubstr("999 bytes"));
    EXPECT_EQ(lossOf(whole + std::string(999, '\0')), "");
}

TEST_F(WholeFileTest, RefusesHeadersThatClaimMoreThanThereIs)
{
    auto wav = writeLibraryFile(path("a"), wav16, noise(10240));
    wav.replace(22, 2, "\0\x04"s).replace(24, 4, "\x80\x84\x1e\0"s).replace(32, 2, "\0\x08"s);
    EXPECT_THAT(messageOf([&] { AudioFileReader(writeText("b", wav)); }),
                HasSubstr("claims 1024 channels at 2000000 Hz"));
    for (const char* const text : {"RIFF\x24\0\0\0WAVEfmt \xff\0\0\0", "fLaC\0\0\0\x22"})
        EXPECT_THAT(messageOf([&] { AudioFileReader(writeText("b", text)); }),
                    Not(HasSubstr("does not exist")));
}

TEST_F(WholeFileTest, SalvagesWhatCanBeRead)
{
    auto bytes = bytesOf(flac16, 100000);
    const auto whole = readAll(path("part"));
    bytes.replace(bytes.size() / 2, 400, 400, 'x');
    AudioFileReader reader(writeText("in", bytes), Damaged::salvage);
    EXPECT_EQ(reader.getNumFrames(), 100000);
    EXPECT_THAT(damagesOf(reader).back().text, HasSubstr("are silent"));
    std::vector<float> samples(100000);
    EXPECT_EQ(reader.read(samples), 100000);
    EXPECT_TRUE(std::equal(samples.begin(), samples.begin() + 30000, whole.begin()));
    EXPECT_TRUE(std::equal(samples.end() - 30000, samples.end(), whole.end() - 30000));
}

TEST_F(WholeFileTest, WritesAndReadsMoreThanFourGigabytes)
{
    // Sparse, and only where the file system may take it.
    constexpr std::int64_t frames = (std::int64_t{1} << 31) + 1000;

    struct statvfs disk
    {
    };

    ASSERT_EQ(statvfs(folder.c_str(), &disk), 0);
    if (disk.f_bavail * disk.f_frsize < std::uint64_t{8} << 30)
        GTEST_SKIP() << "the disk has no room";
    const auto small = writeLibraryFile(path("a"), rf64, noise(1000));
    const auto data = small.rfind("data", 200);
    auto header = small.substr(0, data) + "iXML\x03\0\0\0abc\0"s + small.substr(data, 8);
    const auto put = [&header](std::size_t at, std::int64_t number)
    {
        for (std::size_t i = 0; i < 8; ++i)
            header[at + i] = static_cast<char>(number >> (8 * i) & 0xff);
    };
    put(20, 2 * frames + std::ssize(header) - 8);
    put(28, 2 * frames);
    put(36, frames);
    writeText("big.wav", header);
    const FileDescriptor file(open(path("big.wav").c_str(), O_RDWR));
    ASSERT_EQ(ftruncate(file.get(), std::ssize(header) + 2 * frames), 0);
    writeBytesAt(file.get(), std::ssize(header) + 2 * frames - 2,
                 std::vector{std::byte{0}, std::byte{0x40}});
    const auto expectWhole = [&](const std::string& name)
    {
        AudioFileReader reader(path(name));
        EXPECT_EQ(reader.getNumFrames(), frames) << name;
        EXPECT_THAT(damagesOf(reader), IsEmpty()) << name;
        reader.seek(frames - 10);
        std::vector<float> end(100);
        EXPECT_EQ(reader.read(end), 10) << name;
        EXPECT_EQ(end[9], 0.5F) << name;
    };
    expectWhole("big.wav");
    if (testing_support::isSanitized) // takes minutes
        return;
    AudioFileReader reader(path("big.wav"));
    RecordingCopy copy(reader, path("copy.wav"), {});
    std::vector<float> piece(1 << 16);
    while (const auto count = reader.read(piece))
        copy.write(std::span(piece).first(static_cast<std::size_t>(count)));
    copy.close();
    EXPECT_THAT(copy.findWarnings(), ElementsAre(HasSubstr("writing RF64")));
    copy.commit();
    expectWhole("copy.wav");
    EXPECT_THAT(endOf(path("copy.wav"), 100), HasSubstr("iXML\x03\0\0\0abc"s));
}

#ifdef KALIM_HAS_FFMPEG

TEST_F(WholeFileTest, ReadsWhatOnlyFilmsAndRarerRecordingsHold)
{
    for (const std::string name : {"s.m4a", "s.wma", "s.mka", "s.avi"})
    {
        const auto bytes = seed(name);
        EXPECT_NEAR(static_cast<double>(framesOf(bytes)), 400.0, 2048.0) << name;
        const auto cut = bytes.substr(0, bytes.size() - 200);
        const auto refusal = messageOf([&] { EXPECT_NE(lossOf(cut), "") << name; });
        EXPECT_THAT(refusal, testing::AnyOf("", HasSubstr("cut short"))) << name;
    }
}

TEST_F(WholeFileTest, PutsNewSoundIntoAFilmInStep)
{
    std::vector<int> sound(48000);
    for (std::size_t n = 4800; n < sound.size(); n += 4800)
        sound[n] = 0x70000000;
    writeLibraryFile(path("in.wav"), wav16, sound);
    for (const std::string name : {"a.mkv", "a.m4a", "a.mov"})
    {
        OutputFile output(path(name), Existing::keep);
        media::writeFilm(path("in.wav"), output,
                         {{0, path("in.wav"), 0.0, AudioFileFormat(wav16)}});
        output.commit();
        EXPECT_EQ(readAll(path(name)), readAll(path("in.wav"))) << name;
    }
    OutputFile output(path("late.mkv"), Existing::keep);
    media::writeFilm(path("a.mkv"), output, {{0, path("in.wav"), 0.25, AudioFileFormat(wav16)}});
    output.commit();
    AudioFileReader late(path("late.mkv"));
    EXPECT_NEAR(late.getStartTime(), 0.25, 0.001);
    EXPECT_THAT(media::soundStreamsOf(path("late.mkv")), ElementsAre(0));
}

#endif

} // namespace kalim::test
