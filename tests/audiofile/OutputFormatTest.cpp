#include "audiofile/OutputFormat.h"

#include "tests/audiofile/AudioFiles.h"

#include <tuple>

namespace kalim::test
{
namespace
{

constexpr int wav24 = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
constexpr int wavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

constexpr AudioShape usual{1000, 2, 48000};
constexpr AudioShape tenHours{36000LL * 48000, 2, 48000};

OutputFormat choose(int input, const char* output, AudioShape shape = usual,
                    const char* request = "")
{
    return chooseOutputFormat(AudioFileFormat(input), shape, output,
                              *request == '\0' ? FormatRequest{} : parseFormatRequest(request));
}

struct Choice
{
    int input;
    const char* output;
    int expected;
    std::size_t numWarnings = 0;
    AudioShape shape = usual;
    const char* request = "";
};

} // namespace

TEST(OutputFormatTest, KeepsTheInputsSamplesWhereTheContainerCanAndElseSaysWhatItTakes)
{
    constexpr int littleAiff = SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
    for (const auto& [input, output, expected, numWarnings, shape, request] : {
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
             // Only the extensible header has a place for more than two loudspeakers.
             Choice{w64, "a.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 0, {1000, 6, 48000}},
             Choice{wav16, "a.wav", rf64, 1, tenHours},
             Choice{rf64, "a.wav", rf64, 1, tenHours},
             Choice{wav16, "a.w64", w64, 0, tenHours},
             Choice{wav16, "-", SF_FORMAT_CAF | SF_FORMAT_FLOAT, 0, usual, "CAF:Float"},
             Choice{wav16, "a.wav", wav24, 0, usual, "pcm24"},
         })
    {
        const auto chosen = choose(input, output, shape, request);
        EXPECT_EQ(chosen.format.getLibraryFormat(), expected) << output;
        EXPECT_EQ(chosen.warnings.size(), numWarnings) << output;
    }
    EXPECT_THAT(choose(wavFloat, "a.flac").warnings.front(),
                HasSubstr("FLAC cannot hold the input's float samples; writing pcm24"));
}

TEST(OutputFormatTest, RefusesWhatAContainerCannotTakeAndNamesWhatItCan)
{
    using Refusal = std::tuple<const char*, AudioShape, const char*, const char*>;
    for (const auto& [output, shape, request, reason] : {
             Refusal{"a.flac", usual, "float", "(it holds pcm8, pcm16, pcm24)"},
             Refusal{"-", usual, "wav:pcm12", "pcm16"},
             Refusal{"-", usual, "doc", "w64"},
             Refusal{"a.flac", {10, 9, 48000}, "", "a.flac: FLAC cannot hold 9 channels (at"},
             Refusal{"a.mp3", {10, 6, 48000}, "", "at most 2"},
             Refusal{"a.opus", {10, 2, 44100}, "", "24000, 48000"},
             Refusal{"a.flac", {10, 1, 10'000'000}, "", "10000000 Hz"},
             Refusal{"a.aiff", tenHours, "", "more than 4 GiB"},
         })
        EXPECT_THAT(
            messageOf<std::exception>([&, &output = output, &shape = shape, &request = request]
                                      { choose(wav16, output, shape, request); }),
            HasSubstr(reason));
}

} // namespace kalim::test
