#include "tools/kalim/files/OutputFormat.h"

#include "tests/tools/kalim/files/ScratchFolder.h"
#include "tools/kalim/files/FileError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

namespace kalim::program
{
namespace
{

using test::messageOf;
using ::testing::HasSubstr;

constexpr AudioShape stereo{1000, 2, 48000};

OutputFormat choose(int input, const char* output, const char* request = "",
                    const AudioShape& shape = stereo)
{
    const std::string text(request);
    return chooseOutputFormat(AudioFileFormat(input), shape, output,
                              text.empty() ? FormatRequest{} : parseFormatRequest(text));
}

void expectKept(int input, const char* output, int expected)
{
    const auto chosen = choose(input, output);
    EXPECT_EQ(chosen.format.libraryFormat(), expected) << output;
    EXPECT_TRUE(chosen.warnings.empty()) << output;
}

void expectReplaced(int input, const char* output, int expected)
{
    const auto chosen = choose(input, output);
    EXPECT_EQ(chosen.format.libraryFormat(), expected) << output;
    EXPECT_EQ(chosen.warnings.size(), 1U) << output;
}

} // namespace

TEST(OutputFormatTest, KeepsTheInputsSamplesWhereTheContainerCan)
{
    expectKept(SF_FORMAT_WAV | SF_FORMAT_PCM_24, "a.WAV", SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    expectKept(SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, "a.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT);
    expectKept(SF_FORMAT_RF64 | SF_FORMAT_PCM_16, "a.bwf", SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    expectKept(SF_FORMAT_RF64 | SF_FORMAT_PCM_16, "a.rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_16);
    expectKept(SF_FORMAT_FLAC | SF_FORMAT_PCM_24, "a.aif", SF_FORMAT_AIFF | SF_FORMAT_PCM_24);
    expectKept(SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8);
    expectKept(SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, "a.aifc",
               SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE);
    expectKept(SF_FORMAT_OGG | SF_FORMAT_VORBIS, "a.oga", SF_FORMAT_OGG | SF_FORMAT_VORBIS);
    expectKept(SF_FORMAT_WAV | SF_FORMAT_ULAW, "a.wav", SF_FORMAT_WAV | SF_FORMAT_ULAW);
    expectKept(SF_FORMAT_WAV | SF_FORMAT_PCM_16, "a.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS);
    expectKept(SF_FORMAT_WAV | SF_FORMAT_PCM_16, "a.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS);
}

TEST(OutputFormatTest, TakesTheNearestSamplesElseAndSaysSo)
{
    expectReplaced(SF_FORMAT_WAV | SF_FORMAT_FLOAT, "a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    expectReplaced(SF_FORMAT_OGG | SF_FORMAT_VORBIS, "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    expectReplaced(SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM, "a.flac",
                   SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    expectReplaced(SF_FORMAT_WAV | SF_FORMAT_MPEG_LAYER_III, "a.wav",
                   SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_THAT(choose(SF_FORMAT_WAV | SF_FORMAT_FLOAT, "a.flac").warnings.front(),
                HasSubstr("FLAC cannot hold the input's float samples; writing pcm24"));
}

TEST(OutputFormatTest, ARequestDecidesAndIsNeverBentSilently)
{
    const int input = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    EXPECT_EQ(choose(input, "-", "CAF:Float").format.libraryFormat(),
              SF_FORMAT_CAF | SF_FORMAT_FLOAT);
    EXPECT_EQ(choose(input, "a.wav", "pcm24").format.libraryFormat(),
              SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(messageOf<FileError>([&] { choose(input, "a.flac", "float"); }),
              "a.flac: FLAC cannot hold float samples (it holds pcm8, pcm16, pcm24)");
    EXPECT_THAT(messageOf<std::invalid_argument>([] { parseFormatRequest("wav:pcm12"); }),
                HasSubstr("pcm16"));
    EXPECT_THAT(messageOf<std::invalid_argument>([] { parseFormatRequest("doc"); }),
                HasSubstr("w64"));
    EXPECT_THAT(messageOf<FileError>([&] { choose(input, "a.docx"); }), HasSubstr(".wave"));
}

TEST(OutputFormatTest, NamesWhatAContainerCannotTake)
{
    const int input = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    const auto failure = [&](const char* output, AudioShape shape)
    { return messageOf<FileError>([&] { choose(input, output, "", shape); }); };
    EXPECT_EQ(failure("a.flac", {10, 9, 48000}), "a.flac: FLAC cannot hold 9 channels (at most 8)");
    EXPECT_THAT(failure("a.mp3", {10, 6, 48000}), HasSubstr("at most 2"));
    EXPECT_THAT(failure("a.opus", {10, 2, 44100}), HasSubstr("24000, 48000"));
    EXPECT_THAT(failure("a.flac", {10, 1, 10'000'000}), HasSubstr("10000000 Hz"));
}

TEST(OutputFormatTest, PassesFourGibibytesOnlyWhereSizesReach)
{
    const AudioShape tenHours{36000LL * 48000, 2, 48000};
    const int wav = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    const auto chosen = choose(wav, "a.wav", "", tenHours);
    EXPECT_EQ(chosen.format.libraryFormat(), SF_FORMAT_RF64 | SF_FORMAT_PCM_24);
    EXPECT_EQ(chosen.warnings.size(), 1U);
    EXPECT_EQ(choose(chosen.format.libraryFormat(), "a.wav", "", tenHours).format, chosen.format);
    EXPECT_TRUE(choose(wav, "a.w64", "", tenHours).warnings.empty());
    EXPECT_THROW(choose(wav, "a.aiff", "", tenHours), FileError);
}

TEST(OutputFormatTest, GivesLoudspeakerPositionsAPlaceWhenMoreThanTwoChannelsBecomeWav)
{
    const auto chosen = choose(SF_FORMAT_CAF | SF_FORMAT_PCM_16, "a.wav", "", {1000, 6, 48000});
    EXPECT_EQ(chosen.format.libraryFormat(), SF_FORMAT_WAVEX | SF_FORMAT_PCM_16);
}

} // namespace kalim::program
