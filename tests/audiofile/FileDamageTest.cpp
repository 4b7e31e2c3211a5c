#include "audiofile/FileDamage.h"

#include "tests/audiofile/AudioFiles.h"

namespace kalim::test
{
namespace
{

class FileDamageTest : public ScratchFolder
{
protected:
    /// The bytes of a file of three seconds of zeros.
    std::string recording(int format) const
    {
        return writeLibraryFile(path("whole"), format, std::vector<int>(144000));
    }

    std::vector<std::string> damages(const std::string& bytes) const
    {
        std::vector<std::string> texts;
        for (const FileNote& note : damagesOf(AudioFileReader(writeText("in", bytes))))
            texts.push_back(note.text + (note.isLoss ? "" : " (all is there)"));
        return texts;
    }

    static std::string withSize(std::string bytes, const std::string& id, const std::string& size)
    {
        return bytes.replace(bytes.rfind(id, 200) + id.size(), size.size(), size);
    }
};

} // namespace

TEST_F(FileDamageTest, TellsHowMuchOfACutFileIsThere)
{
    for (const int container : {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64, SF_FORMAT_W64,
                                SF_FORMAT_AIFF, SF_FORMAT_AU})
    {
        const auto bytes = recording(container | SF_FORMAT_PCM_16);
        EXPECT_THAT(damages(bytes), IsEmpty()) << container;
        EXPECT_THAT(damages(bytes.substr(0, bytes.size() - 192000)),
                    ElementsAre(HasSubstr("1.0 of 3.0 s are there, 192000 bytes are missing")));
    }
    // The library refuses a short CAF file by itself.
    EXPECT_THAT(damages(recording(SF_FORMAT_CAF | SF_FORMAT_PCM_16)), IsEmpty());
    EXPECT_THAT(damages(recording(SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM).substr(0, 30000)),
                ElementsAre(HasSubstr("the file is cut short: 1.3 of 3.1 s")));
}

TEST_F(FileDamageTest, TellsThatARecorderWasCutOff)
{
    const auto wav = recording(wav16);
    const std::string none(4, '\0');
    // Zeros look like empty chunks.
    EXPECT_THAT(damages(withSize(wav, "data", none)),
                ElementsAre(HasSubstr("288000 bytes follow, which are taken for them (all")));
    // What the library repairs by itself.
    EXPECT_THAT(damages(withSize(withSize(wav, "RIFF", "\x08\0\0\0"s), "data", none)),
                ElementsAre(HasSubstr("288000 bytes follow, which are taken")));
    // No samples at all, but a description.
    EXPECT_THAT(damages(withSize(wav, "data", none).substr(0, 44) + "LIST\x04\0\0\0INFO"s),
                IsEmpty());
}

TEST_F(FileDamageTest, TakesNoUnknownSizeForDamage)
{
    const auto wav = recording(wav16);
    for (const auto& size :
         {"\xff\xff\xff\xff"s, "\xdb\xff\xff\x7f"s, "\0\xf0\xff\x7f"s, "\0\0\0\x80"s})
    {
        EXPECT_THAT(damages(withSize(wav, "data", size)), IsEmpty());
        EXPECT_EQ(AudioFileReader(path("in")).getNumFrames(), 144000);
    }
}

TEST_F(FileDamageTest, TellsThatAnOggStreamHasNoEnd)
{
    for (const int format : {oggVorbis, SF_FORMAT_OGG | SF_FORMAT_OPUS})
    {
        const auto bytes = recording(format);
        EXPECT_THAT(damages(bytes), IsEmpty());
        EXPECT_THAT(damages(bytes.substr(0, bytes.size() - 10)), ElementsAre(HasSubstr("no end")));
    }
}

} // namespace kalim::test
