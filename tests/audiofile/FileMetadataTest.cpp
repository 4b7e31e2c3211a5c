#include "audiofile/FileMetadata.h"

#include "audiofile/ChunkedFile.h"
#include "tests/audiofile/AudioFiles.h"

#include <fcntl.h>

#include <cstring>

namespace kalim::test
{
namespace
{

constexpr int aiff = SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
constexpr int caf = SF_FORMAT_CAF | SF_FORMAT_PCM_16;
constexpr int wavex = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16;

void setChunk(SNDFILE* file, const char* id, std::string text)
{
    SF_CHUNK_INFO info{"", 4, static_cast<unsigned>(text.size()), text.data()};
    std::memcpy(info.id, id, 4);
    sf_set_chunk(file, &info);
}

void setStrings(SNDFILE* file)
{
    sf_set_string(file, SF_STR_TITLE, "Night train");
    sf_set_string(file, SF_STR_ARTIST, "Jürgen");
}

void setCue(SNDFILE* file)
{
    SF_CUES cues{1, {{7, 2, 0x61746164 /* "data" */, 0, 0, 2, "Verse"}}};
    sf_command(file, SFC_SET_CUE, &cues, sizeof cues);
}

/// What a recorder of the broadcast kind leaves behind.
void describeFully(SNDFILE* file)
{
    setStrings(file);
    setCue(file);
    SF_BROADCAST_INFO info{};
    info.time_reference_low = 48000;
    std::strcpy(info.coding_history, "A=ANALOGUE,M=mono,T=tape\r\n");
    info.coding_history_size = static_cast<std::uint32_t>(std::strlen(info.coding_history));
    sf_command(file, SFC_SET_BROADCAST_INFO, &info, sizeof info);
    setChunk(file, "iXML", "<BWFXML></BWFXML> ");
    setChunk(file, "chna", "tracks");
    setChunk(file, "LIST", "adtllabl\x0c\0\0\0\x07\0\0\0Refrain\0"s);
}

class FileMetadataTest : public ScratchFolder
{
protected:
    /// Copies a file with descriptions, and returns the warnings.
    std::vector<std::string> copied(int from, int to, const Describe& describe) const
    {
        writeLibraryFile(path("in"), from, {0, 65536, 0, 65536, 0}, 1, describe);
        auto warnings = copyAudio(path("in"), path("out"), to);
        EXPECT_EQ(readAll(path("out")), readAll(path("in")));
        return warnings;
    }

    std::vector<RawChunk> chunksOf(const std::string& name) const
    {
        const FileDescriptor file(open(path(name).c_str(), O_RDONLY));
        return ChunkedFile::open(file.get()).value().readDescriptions();
    }

    std::string chunkText(const std::string& name, const std::string& id) const
    {
        for (const RawChunk& chunk : chunksOf(name))
            if (chunk.id == id)
                return std::string(asText(chunk.data));
        return "";
    }

    std::string copiedTitle() const
    {
        const AudioFileReader reader(path("out"));
        const char* title = sf_get_string(reader.getHandle(), SF_STR_TITLE);
        return title == nullptr ? "" : title;
    }
};

} // namespace

TEST_F(FileMetadataTest, KeepsEveryBroadcastChunkWithinTheFamilyAndAddsALineToTheHistory)
{
    for (const int target : {wav16, wavex, rf64})
    {
        EXPECT_THAT(copied(wav16, target, describeFully), IsEmpty());
        auto before = chunksOf("in");
        auto after = chunksOf("out");
        for (auto* const chunks : {&before, &after})
            std::erase_if(*chunks, [](const RawChunk& chunk) { return chunk.id == "bext"; });
        EXPECT_EQ(before, after);
        EXPECT_EQ(copiedTitle(), "Night train");
        const auto was = chunkText("in", "bext");
        const auto is = chunkText("out", "bext");
        EXPECT_EQ(is.substr(0, 602), was.substr(0, 602));
        EXPECT_EQ(is.substr(602).c_str(),
                  was.substr(602).c_str() + "A=PCM,F=48000,W=16,M=mono,T=Kalim test\r\n"s);
    }
    EXPECT_THAT(copied(wav16, w64, describeFully), IsEmpty());
    EXPECT_THAT(chunkText("out", "iXML"), HasSubstr("BWFXML"));
}

TEST_F(FileMetadataTest, ChunksOfAnySizeAndParityGoOverByteForByteInFrontAndBehind)
{
    for (const std::size_t size : {0U, 1U, 2U, 3U, 5U, 6U, 600U, 604U, 608U, 40000U})
    {
        writeLibraryFile(path("in"), wav16, {0, 65536, 0}, 1,
                         [=](SNDFILE* file) { setChunk(file, "iXML", std::string(size, 'i')); });
        FileDescriptor file(open(path("in").c_str(), O_RDWR));
        const RawChunk small{"abcd", std::vector<std::byte>(size, std::byte{'x'})};
        const RawChunk large{"axml", std::vector<std::byte>(300001, std::byte{7})};
        ASSERT_TRUE(ChunkedFile::open(file.get())->append({small, large}));
        EXPECT_THAT(copyAudio(path("in"), path("out"), wav16), IsEmpty());
        EXPECT_EQ(chunksOf("out"), chunksOf("in")) << size;
        EXPECT_EQ(chunkText("out", "abcd"), std::string(size, 'x'));
        EXPECT_TRUE(chunksOf("out").front().precedesAudio);
    }
}

TEST_F(FileMetadataTest, KeepsWhatAiffAndCafSayWithinTheirKind)
{
    const auto describe = [](SNDFILE* file)
    {
        setStrings(file);
        setCue(file);
        setChunk(file, "abcd", "something of its own");
    };
    for (const auto& [format, chunk] : {std::pair(aiff, "MARK"), std::pair(caf, "abcd")})
    {
        EXPECT_THAT(copied(format, format, describe), IsEmpty());
        EXPECT_EQ(copiedTitle(), "Night train");
        EXPECT_NE(chunkText("in", chunk), "");
        EXPECT_EQ(chunkText("out", chunk), chunkText("in", chunk));
    }
}

TEST_F(FileMetadataTest, TranslatesBetweenKindsAndNamesWhatIsLost)
{
    EXPECT_THAT(copied(aiff, wav16, setCue), IsEmpty());
    EXPECT_THAT(chunkText("out", "LIST"), HasSubstr("Verse"));
    EXPECT_THAT(copied(wav16, aiff, setStrings), IsEmpty());
    EXPECT_EQ(copiedTitle(), "Night train");
    EXPECT_THAT(copied(wav16, flac16, describeFully),
                ElementsAre(HasSubstr("(bext)"), HasSubstr("'iXML'"), HasSubstr("'chna'"),
                            "not kept in the FLAC file: 1 cue point"));
    EXPECT_EQ(copiedTitle(), "Night train");
    EXPECT_THAT(copied(flac16, SF_FORMAT_AU | SF_FORMAT_PCM_16, setStrings),
                ElementsAre(HasSubstr("the tags ARTIST, TITLE")));
}

TEST_F(FileMetadataTest, KeepsLoudspeakerPositions)
{
    int map[] = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_LFE};
    const auto describe = [&](SNDFILE* file)
    { sf_command(file, SFC_SET_CHANNEL_MAP_INFO, map, sizeof map); };
    writeLibraryFile(path("in"), wavex, std::vector<int>(60), 3, describe);
    EXPECT_THAT(copyAudio(path("in"), path("out"), wavex), IsEmpty());
    EXPECT_THAT(copyAudio(path("in"), path("out"), rf64), IsEmpty());
    EXPECT_THAT(copyAudio(path("in"), path("out"), w64),
                ElementsAre(HasSubstr("loudspeaker positions")));
}

} // namespace kalim::test
