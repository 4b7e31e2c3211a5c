#include "audiofile/Tags.h"

#include "audiofile/ChunkTags.h"
#include "audiofile/FileMetadata.h"
#include "audiofile/Instrument.h"
#include "tests/audiofile/AudioFiles.h"

#include <array>
#include <map>
#include <regex>

namespace kalim::test
{
namespace
{

struct Kind
{
    std::string name;
    int format;

    /// Nothing for files that are no list of chunks.
    std::optional<ChunkFamily> family;
};

const std::array kinds{Kind{"WAV", wav16, ChunkFamily::riff},
                       Kind{"RF64", rf64, ChunkFamily::riff},
                       Kind{"W64", w64, ChunkFamily::wave64},
                       Kind{"AIFF", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, ChunkFamily::aiff},
                       Kind{"CAF", SF_FORMAT_CAF | SF_FORMAT_PCM_16, ChunkFamily::caf},
                       Kind{"FLAC", flac16, {}},
                       Kind{"Ogg", oggVorbis, {}},
                       Kind{"Opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, {}},
                       Kind{"MP3", mp3, {}}};

/// By the letters of the table in the manual.
constexpr std::string_view things = "TRPMICX";

std::vector<std::byte> bytesOf(std::string_view text)
{
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

const std::string picture = "\xff\xd8\xff picture of any bytes \0\1\2"s;

Tags tagsOf(char thing)
{
    Tags tags;
    if (thing == 'T')
        tags.fields = {{"TITLE", {"Nachtzug – ночь 𝄞"}},
                       {"COMPOSER", {"Bach"}},
                       {"ISRC", {"DEABC1234567"}},
                       {"REPLAYGAIN_TRACK_GAIN", {"-3.21 dB"}},
                       {"IARL", {"shelf 3"}},
                       {"TRACKNUMBER", {"3/12"}},
                       {"MOOD", {"calm"}}};
    if (thing == 'R')
        tags.fields = {{"ARTIST", {"Jürgen", "Anna", "Jürgen"}}, {"COMMENT", {"one", "two"}}};
    if (thing == 'P')
        tags.pictures = {{3, "image/jpeg", "Front", 6, 4, 24, 0, bytesOf(picture)},
                         {4, "image/png", "", 0, 0, 0, 0, bytesOf("back")}};
    // A block of some program, and a cue sheet of one track, which is the end.
    if (thing == 'C')
    {
        auto cueSheet = std::string(432, '\0');
        cueSheet[395] = 1;
        cueSheet[404] = '\xff';
        tags.flacBlocks = {{FlacBlock::application, bytesOf("abcdwxyz")},
                           {FlacBlock::cueSheet, bytesOf(cueSheet)}};
    }
    return tags;
}

std::vector<RawChunk> chunksOf(char thing, const ChunkLayout& layout)
{
    auto chunks = chunksOfTags(layout, tagsOf(thing));
    std::vector<Marker> markers;
    if (thing == 'M')
        markers = {{1, 100, "One"}, {2, 2000, ""}, {7, 2500, "Größer"}};
    if (thing == 'I')
    {
        const SF_INSTRUMENT instrument{3, 60, 5, 1, 120, 2, 125, 1, {{SF_LOOP_FORWARD, 10, 90, 0}}};
        chunks = instrumentChunks(layout, instrument, 48000, markers);
    }
    for (const auto& chunk :
         markers.empty() ? std::vector<RawChunk>{} : markerChunks(layout, markers))
        chunks.push_back(chunk);
    if (thing == 'X')
        chunks.push_back({"iXML", bytesOf("<BWFXML/>"), true});
    return chunks;
}

class TagsTest : public ScratchFolder
{
protected:
    void writeSource(const Kind& kind, char thing) const
    {
        OutputFile output(path("in"), Existing::replace);
        AudioFileWriter writer(output, AudioFileFormat(kind.format), 1, 48000);
        if (kind.family)
            writer.setChunks(chunksOf(thing, layoutOf(*kind.family, false)));
        else
            writer.setTags(tagsOf(thing));
        writer.write(std::vector<float>(4800, 0.25F));
        writer.close();
        output.commit();
    }

    /// What a copy into a file loses that can hold nothing. Some encoders name themselves.
    std::vector<std::string> lossesIntoNothing(const Kind& from, char thing) const
    {
        writeSource(from, thing);
        return copyAudio(path("in"), path("none"), SF_FORMAT_AU | SF_FORMAT_PCM_16);
    }

    std::vector<std::string> copied(int format) const
    {
        auto losses = copyAudio(path("in"), path("out"), format);
        EXPECT_EQ(readAll(path("out")).size(), readAll(path("in")).size());
        return losses;
    }

    /// The letters of what a kind can hold and each of the kinds keeps of it.
    std::vector<std::string> kept(const Kind& from) const
    {
        std::vector<std::string> letters(kinds.size());
        const auto nothing = lossesIntoNothing(from, ' ');
        for (const char thing : things)
        {
            if (lossesIntoNothing(from, thing) == nothing)
                continue;
            for (std::size_t i = 0; i < kinds.size(); ++i)
                if (copied(kinds[i].format).empty())
                    letters[i] += thing;
        }
        return letters;
    }
};

/// Rows of the table whose first cells are the names of kinds, in a manual.
std::map<std::string, std::vector<std::string>> tableIn(const std::string& manual)
{
    std::map<std::string, std::vector<std::string>> rows;
    const auto start = manual.find("<table id=\"kept\">");
    if (start == std::string::npos)
        return rows;
    const auto table = manual.substr(start, manual.find("</table>", start) - start);
    const std::regex row("<tr><th>(\\w+)</th>(.*?)</tr>");
    const std::regex cell("<td>(.*?)</td>");
    for (std::sregex_iterator found(table.begin(), table.end(), row), end; found != end; ++found)
    {
        const std::string cells = (*found)[2];
        for (std::sregex_iterator one(cells.begin(), cells.end(), cell); one != end; ++one)
            rows[(*found)[1]].push_back((*one)[1]);
    }
    return rows;
}

} // namespace

TEST_F(TagsTest, TheManualsTellWhatEachPairOfFormatsKeeps)
{
    std::map<std::string, std::vector<std::string>> table;
    for (const auto& from : kinds)
        table[from.name] = kept(from);
    std::string html;
    for (const auto& kind : kinds)
    {
        html += "<tr><th>" + kind.name + "</th>";
        for (const auto& cell : table[kind.name])
            html += "<td>" + cell + "</td>";
        html += "</tr>\n";
    }
    for (const auto* const language : {"en", "de"})
        EXPECT_EQ(tableIn(contentsOf(KALIM_SOURCE_FOLDER "/resources/help/Vellacore_"s + language +
                                     "/kalim.html")),
                  table)
            << language << ":\n"
            << html;
}

TEST_F(TagsTest, ValuesAndPicturesStandInTheFileAsOtherProgramsReadThem)
{
    writeSource(kinds[5], 'T');
    for (const auto& [format, text] :
         {std::pair(flac16, "COMPOSER=Bach"), std::pair(oggVorbis, "COMPOSER=Bach"),
          std::pair(SF_FORMAT_OGG | SF_FORMAT_OPUS, "COMPOSER=Bach"), std::pair(mp3, "\3Bach"),
          std::pair(wav16, "Bach"), std::pair(SF_FORMAT_CAF | SF_FORMAT_PCM_16, "composer")})
    {
        EXPECT_THAT(copied(format), IsEmpty());
        EXPECT_THAT(contentsOf(path("out")), HasSubstr(text));
    }
    EXPECT_THAT(copied(w64), IsEmpty());
    EXPECT_THAT(contentsOf(path("out")), HasSubstr("N\0a\0c\0h\0t\0z\0u\0g\0"s));
    writeSource(kinds[5], 'P');
    for (const int format : {flac16, mp3, wav16, w64, SF_FORMAT_AIFF | SF_FORMAT_PCM_16})
    {
        EXPECT_THAT(copied(format), IsEmpty());
        EXPECT_THAT(contentsOf(path("out")), HasSubstr(picture));
    }
}

TEST_F(TagsTest, WhatOnlyAnId3TagHoldsGoesOverWholeOrIsNamed)
{
    const auto sound = writeLibraryFile(path("a"), mp3, std::vector<int>(3000));
    const auto frames =
        "TIT2\0\0\0\x04\0\0\0onePRIV\0\0\0\x06\0\0own\0xyTXXX\0\0\0\x05\0\0\0A\0bc"s;
    const auto tag = "ID3\4\0\0\0\0\0"s + static_cast<char>(frames.size()) + frames;
    writeText("in", tag + sound);
    for (const int format : {mp3, wav16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16})
    {
        EXPECT_THAT(copied(format), IsEmpty());
        EXPECT_THAT(contentsOf(path("out")), HasSubstr(tag));
    }
    EXPECT_THAT(copied(flac16), ElementsAre(HasSubstr("the ID3 frames PRIV")));
    EXPECT_THAT(contentsOf(path("out")), HasSubstr("TITLE=one"));
    // Some programs put such a tag before FLAC.
    writeText("in", tag + writeLibraryFile(path("a"), flac16, std::vector<int>(3000)));
    EXPECT_THAT(copied(mp3), ElementsAre(HasSubstr("PRIV")));
    EXPECT_THAT(contentsOf(path("out")), HasSubstr("one"));
}

TEST_F(TagsTest, AllTextsOfAiffArrive)
{
    const auto text = [](const std::string& id, const std::string& bytes) {
        return RawChunk{id, bytesOf(bytes), false};
    };
    OutputFile output(path("in"), Existing::replace);
    AudioFileWriter writer(output, AudioFileFormat(SF_FORMAT_AIFF | SF_FORMAT_PCM_16), 1, 48000);
    writer.setChunks(
        {text("NAME", "J\xfcrgen"), text("ANNO", "first"), text("ANNO", "second"),
         text("COMT", "\0\2\0\0\0\0\0\0\0\5third\0\0\0\0\1\0\0\0\6fourth"s),
         text("MARK", "\0\3\0\1\0\0\0\x64\3One\0\2\0\0\7\xd0\3Two\0\3\0\0\x0f\xa0\5Three"s),
         text("INST", "\x3c\0\0\x7f\0\x7f\0\0\0\1\0\1\0\2\0\0\0\0\0\0"s)});
    writer.write(std::vector<float>(4800, 0.25F));
    writer.close();
    output.commit();
    EXPECT_THAT(copied(wav16), ElementsAre(HasSubstr("dates and places of comments")));
    const auto bytes = contentsOf(path("out"));
    for (const auto* const part :
         {"Jürgen", "first", "second", "third", "fourth", "One", "Two", "Three", "smpl"})
        EXPECT_THAT(bytes, HasSubstr(part));
    EXPECT_THAT(copied(flac16), ElementsAre(HasSubstr("dates"), HasSubstr("3 cue points"),
                                            HasSubstr("instrument")));
}

TEST_F(TagsTest, ChunksOfForeignIdentifiersStayInW64AndAreNamedElsewhere)
{
    auto bytes = writeLibraryFile(path("a"), w64, std::vector<int>(3000));
    const auto foreign = "0123456789abcdef"s + "\x20\0\0\0\0\0\0\0"s + "contents"s;
    bytes.insert(bytes.find("data"), foreign);
    writeText("in", bytes);
    EXPECT_THAT(copied(w64), IsEmpty());
    EXPECT_THAT(contentsOf(path("out")), HasSubstr(foreign));
    EXPECT_THAT(copied(wav16), ElementsAre(HasSubstr("a block without a name")));
    EXPECT_EQ(contentsOf(path("out")).find("contents"), std::string::npos);
}

TEST_F(TagsTest, NumbersOfABigEndianFileAreTurned)
{
    const auto sized = [](const std::string& id, const std::string& data)
    {
        const auto size = riffLayout(true).bytes(data.size(), 4);
        return id + std::string(asText(size)) + data;
    };
    auto extension = std::string(602, '\0');
    extension.replace(338, 10, "\0\1\xe2\x40\0\0\0\0\0\2"s);
    const auto body =
        "WAVE" + sized("fmt ", "\0\1\0\1\0\0\xbb\x80\0\1\x77\0\0\2\0\x10"s) +
        sized("data", std::string(2000, '\1')) + sized("bext", extension) +
        sized("cue ", "\0\0\0\1\0\0\0\7\0\0\0\x64"s + "data"s + "\0\0\0\0\0\0\0\0\0\0\0\x64"s) +
        sized("LIST", "INFO" + sized("INAM", "Name\0\0"s)) + sized("data", std::string(2000, '\1'));
    writeText("in", sized("RIFX", body));
    EXPECT_THAT(copied(rf64), IsEmpty());
    const auto bytes = contentsOf(path("out"));
    EXPECT_THAT(bytes, HasSubstr("cue \x1c\0\0\0\1\0\0\0\7\0\0\0\x64\0\0\0data"s));
    EXPECT_THAT(bytes, HasSubstr("INAM\5\0\0\0Name"s));
    EXPECT_EQ(bytes.substr(bytes.find("bext") + 8 + 338, 10), "\x40\xe2\1\0\0\0\0\0\2\0"s);
}

} // namespace kalim::test
