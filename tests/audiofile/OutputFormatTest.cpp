#include "audiofile/OutputFormat.h"

#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"

namespace kalim::test
{
namespace
{

constexpr int wav24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
constexpr int wavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
constexpr int rf64 = SF_FORMAT_RF64 | SF_FORMAT_PCM_16;

constexpr AudioShape usual{1000, 2, 48000};
constexpr AudioShape tenHours{36000LL * 48000, 2, 48000};

OutputFormat choose(int input, const char* output, const std::string& request = "",
                    const AudioShape& shape = usual)
{
    return chooseOutputFormat(AudioFileFormat(input), shape, output,
                              request.empty() ? FormatRequest{} : parseFormatRequest(request));
}

struct Choice
{
    int input;
    const char* output;
    int expected;
    std::size_t numWarnings = 0;
};

} // namespace

TEST(OutputFormatTest, KeepsTheInputsSamplesWhereTheContainerCanAndElseSaysWhatItTakes)
{
    constexpr int littleAiff = SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
    for (const auto& [input, output, expected, numWarnings] : {
             Choice{wav24, "a.WAV", wav24},
             Choice{SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, "a.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT},
             Choice{rf64, "a.bwf", wav16},
             Choice{rf64, "a.rf64", rf64},
             Choice{SF_FORMAT_FLAC | SF_FORMAT_PCM_24, "a.aif", SF_FORMAT_AIFF | SF_FORMAT_PCM_24},
             Choice{SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8},
             Choice{littleAiff, "a.aifc", littleAiff},
             Choice{oggVorbis, "a.oga", oggVorbis},
             Choice{SF_FORMAT_WAV | SF_FORMAT_ULAW, "a.wav", SF_FORMAT_WAV | SF_FORMAT_ULAW},
             Choice{wav16, "a.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS},
             Choice{wav16, "a.ogg", oggVorbis},
             Choice{wavFloat, "a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 1},
             Choice{oggVorbis, "a.wav", wav24, 1},
             Choice{SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM, "a.flac", flac16, 1},
             Choice{SF_FORMAT_WAV | SF_FORMAT_MPEG_LAYER_III, "a.wav", wav24, 1},
         })
    {
        const auto chosen = choose(input, output);
        EXPECT_EQ(chosen.format.getLibraryFormat(), expected) << output;
        EXPECT_EQ(chosen.warnings.size(), numWarnings) << output;
    }
    EXPECT_THAT(choose(wavFloat, "a.flac").warnings.front(),
                HasSubstr("FLAC cannot hold the input's float samples; writing pcm24"));
    // Only the extensible header has a place for the loudspeakers of more than two channels.
    const auto surround = choose(SF_FORMAT_CAF | SF_FORMAT_PCM_16, "a.wav", "", {1000, 6, 48000});
    EXPECT_EQ(surround.format.getLibraryFormat(), SF_FORMAT_WAVEX | SF_FORMAT_PCM_16);
}

TEST(OutputFormatTest, ARequestDecides)
{
    EXPECT_EQ(choose(wav16, "-", "CAF:Float").format.getLibraryFormat(),
              SF_FORMAT_CAF | SF_FORMAT_FLOAT);
    EXPECT_EQ(choose(wav16, "a.wav", "pcm24").format.getLibraryFormat(), wav24);
    EXPECT_THAT(messageOf<std::invalid_argument>([] { parseFormatRequest("wav:pcm12"); }),
                HasSubstr("pcm16"));
    EXPECT_THAT(messageOf<std::invalid_argument>([] { parseFormatRequest("doc"); }),
                HasSubstr("w64"));
}

TEST(OutputFormatTest, RefusesWhatAContainerCannotTake)
{
    struct Refusal
    {
        const char* output;
        AudioShape shape;
        const char* reason;
        const char* request = "";
    };

    for (const Refusal& refused : {
             Refusal{"a.flac", usual, "(it holds pcm8, pcm16, pcm24)", "float"},
             Refusal{"a.docx", usual, ".wave"},
             Refusal{"a.flac", {10, 9, 48000}, "a.flac: FLAC cannot hold 9 channels (at most 8)"},
             Refusal{"a.mp3", {10, 6, 48000}, "at most 2"},
             Refusal{"a.opus", {10, 2, 44100}, "24000, 48000"},
             Refusal{"a.flac", {10, 1, 10'000'000}, "10000000 Hz"},
             Refusal{"a.aiff", tenHours, "more than 4 GiB"},
         })
        EXPECT_THAT(
            messageOf([&] { choose(wav16, refused.output, refused.request, refused.shape); }),
            HasSubstr(refused.reason));
}

TEST(OutputFormatTest, PassesFourGibibytesOnlyWhereSizesReach)
{
    const auto chosen = choose(wav16, "a.wav", "", tenHours);
    EXPECT_EQ(chosen.format.getLibraryFormat(), rf64);
    EXPECT_EQ(chosen.warnings.size(), 1U);
    EXPECT_EQ(choose(rf64, "a.wav", "", tenHours).format, chosen.format);
    EXPECT_TRUE(choose(wav16, "a.w64", "", tenHours).warnings.empty());
}

} // namespace kalim::test
