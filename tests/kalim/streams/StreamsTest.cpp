#include "kalim/streams/RawFormat.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/kalim/RunningProgram.h"
#include "tests/support/TestSignals.h"

#include <cstdlib>
#include <tuple>

namespace kalim::test
{
namespace
{

using namespace ::testing;
using namespace testing_support;
using Words = std::vector<std::string>;

constexpr std::array rawFormats{"s8",    "u8",    "s16le", "s16be", "s24le", "s24be",
                                "s32le", "s32be", "f32le", "f32be", "f64le", "f64be"};

/// The program in pipes of the shell; what it keeps meanwhile lies in a folder of its own.
class Streams : public ScratchFolder
{
protected:
    Streams()
    {
        std::filesystem::create_directory(path("kept"));
        setenv("TMPDIR", path("kept").c_str(), 1);
        setenv("KALIM", KALIM_PROGRAM, 1);
    }

    ~Streams() override { unsetenv("TMPDIR"); }

    RunResult runShell(const std::string& script) const
    {
        return runKalim({"-c", "cd " + folder.string() + " && " + script}, {"/bin/sh"});
    }

    /// Four seconds of hum in noise, as 16 bits.
    std::string writeHum() const
    {
        const Signal32 hum = mix(makeHum({}, 48000.0, 4.0), makeNoise(-60.0, 48000.0, 4.0));
        const auto file = openLibraryFile(path("hum.wav"), SFM_WRITE, wav16);
        sf_write_float(file.get(), hum.getReadChannelPtr(0), hum.getNumSamples());
        return path("hum.wav");
    }

    void expectNothingKept() const { EXPECT_TRUE(std::filesystem::is_empty(path("kept"))); }
};

} // namespace

TEST_F(Streams, cleanInPipesWhatTheyCleanAsFiles)
{
    const std::string input = contentsOf(writeHum());
    EXPECT_EQ(runShell("$KALIM -q hum.wav file.wav").exitCode, 0);
    const RunResult run = runShell("cat hum.wav | $KALIM - -");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, contentsOf(path("file.wav")));
    EXPECT_THAT(run.errors, AllOf(HasSubstr("standard input -> standard output"),
                                  HasSubstr("hum at 50.000 Hz"), Not(HasSubstr("/fd/"))));
    // A program that writes to a pipe does not know sizes beforehand.
    std::string sizeless = input;
    for (const std::size_t at : {sizeless.find("RIFF") + 4, sizeless.find("data") + 4})
        sizeless.replace(at, 4, 4, '\xff');
    writeText("sizeless.wav", sizeless);
    EXPECT_EQ(runShell("cat sizeless.wav | $KALIM - - -q | $KALIM - twice.flac -q").exitCode, 0);
    EXPECT_EQ(AudioFileReader(path("twice.flac")).getNumFrames(), 192000);
    EXPECT_EQ(runShell("$KALIM hum.wav - -q --format flac >out.flac && "
                       "$KALIM - out.wav --plot out.svg <out.flac && "
                       "$KALIM - - -n20 --force --plot out.svg <out.flac >tracked.wav")
                  .exitCode,
              0);
    EXPECT_EQ(AudioFileReader(path("out.flac")).getFormat().getDescription(), "FLAC pcm16");
    EXPECT_GT(std::filesystem::file_size(path("out.svg")), 1000U);
    EXPECT_THAT(runShell("$KALIM detect -q - <hum.wav").output,
                "standard input: hum at 50.000 Hz (+-0.0005), steady, 20 harmonics\n");
    expectNothingKept();
}

TEST_F(Streams, readAndWriteSamplesWithoutHeader)
{
    // Without hum samples stay as they are.
    for (const std::string name : rawFormats)
    {
        const program::RawSamples samples = program::parseRawSamples(name);
        std::string bytes(static_cast<std::size_t>(6000 * samples.bytes), '\0');
        if (samples.isFloat())
            for (std::size_t n = 0; n < 6000; ++n)
                bytes[(n + (samples.isBigEndian ? 0 : 1)) *
                          static_cast<std::size_t>(samples.bytes) -
                      (samples.isBigEndian ? 0 : 1)] = static_cast<char>(0x3a + n % 4);
        else
            for (std::size_t n = 0; n < bytes.size(); ++n)
                bytes[n] = static_cast<char>((n * n * 31) >> 3);
        writeText("in.raw", bytes);
        const std::string raw = " --raw 48000:2:" + name;
        const RunResult run = runShell("$KALIM - - -q --format raw <in.raw" + raw);
        EXPECT_EQ(run.output, bytes) << name << run.errors;
        EXPECT_EQ(runShell("$KALIM in.raw out.wav --force -q" + raw).exitCode, 0);
        const AudioFileReader reader(path("out.wav"));
        EXPECT_EQ(reader.getNumChannels(), 2);
        EXPECT_EQ(reader.getNumFrames(), 3000);
        EXPECT_EQ(reader.getFormat().getSampleFormat(), samples.format);
    }
    writeText("in.raw", std::string("\x12\x34\x56\x78", 4));
    EXPECT_EQ(runShell("$KALIM in.raw - -q --raw 8000:1:s16be --format raw:s24le").output,
              std::string("\0\x34\x12\0\x78\x56", 6));
    EXPECT_EQ(runShell("$KALIM in.raw - -q --raw 8000:1:s16be --format raw:s8").output.size(), 2U);
    EXPECT_THAT(runShell("$KALIM detect in.raw --json --raw 8000:1:s16be").output,
                HasSubstr("\"sampleRate\": 8000"));
    expectNothingKept();
}

TEST_F(Streams, giveLargeRawInputsTheHeaderOfLargeFiles)
{
    const program::RawFormat format = program::parseRawFormat("96000:2:f32be");
    EXPECT_EQ(asText(program::makeWavHeader(format, 8000)).substr(0, 4), "RIFF");
    const auto header = program::makeWavHeader(format, 5000000000);
    EXPECT_EQ(asText(header).substr(0, 16), "RF64\xff\xff\xff\xffWAVEds64");
    EXPECT_EQ(littleEndian(std::span(header).subspan(20, 8)), 5000000072U);
    EXPECT_EQ(littleEndian(std::span(header).subspan(28, 8)), 5000000000U);
    EXPECT_EQ(littleEndian(std::span(header).subspan(36, 8)), 625000000U);
    EXPECT_EQ(littleEndian(std::span(header).subspan(76, 4)), 0xffffffffU);
}

TEST_F(Streams, nameWhatIsWrongInALine)
{
    writeHum();
    writeText("old.csv", "old");
    for (const auto& [exitCode, script, reason] :
         {std::tuple(1, "$KALIM - out.wav </dev/null", "standard input: is empty"),
          {1, "$KALIM - out.wav --raw 8000:1:s16le </dev/null", "standard input: is empty"},
          {1, "echo text | $KALIM - -", "standard input: cannot be read as audio"},
          {1, "head -c 1000 hum.wav | $KALIM - -", "standard input: the file is cut short"},
          {1, "head -c 1001 hum.wav | $KALIM - - --raw 8000:1:s16le", "no whole frames"},
          {1, "$KALIM hum.wav - --trace hum.wav", "hum.wav: already exists"},
          {1, "$KALIM hum.wav - >/dev/full", "standard output: No space left"},
          {1, "TMPDIR=/missing $KALIM nothing.wav -", "nothing.wav: No such file"},
          {2, "$KALIM hum.wav - --json", "--json: the report"},
          {2, "$KALIM hum.wav - --provenance", "--provenance: tells of files"},
          {1, "$KALIM hum.wav - --speed-report old.csv", "old.csv: already exists"},
          {2, "$KALIM hum.wav out.wav --format raw", "--format: raw is for OUTPUT - alone"},
          {2, "$KALIM hum.wav - --format raw:s16", "--format: unknown raw samples 's16'"},
          {2, "$KALIM hum.wav - --raw 8000:s16le", "is not RATE:CHANNELS:FORMAT"},
          {2, "$KALIM hum.wav - --raw 0:1:s16le", "'0' is no sample rate"},
          {2, "$KALIM hum.wav - --raw 8000:1x:s16le", "'1x' is no number of channels"},
          {2, "$KALIM - --output-dir out <hum.wav", "-: cannot be given together"},
          {2, "$KALIM detect - - <hum.wav", "-: can be read once"}})
    {
        const RunResult run = runShell(script);
        EXPECT_EQ(run.exitCode, exitCode) << script;
        EXPECT_THAT(run.errors, MatchesRegex("kalim: [^\n]*\n"));
        EXPECT_THAT(run.errors, HasSubstr(reason)) << script;
        EXPECT_EQ(run.output, "");
    }
    EXPECT_FALSE(std::filesystem::exists(path("out.wav")));
    EXPECT_EQ(runShell("{ $KALIM hum.wav - -q; echo $? >code; } | :").errors,
              "kalim: standard output: Broken pipe\n");
    EXPECT_EQ(contentsOf(path("code")), "1\n");
    for (const int milliseconds : {5, 20, 50, 100})
        runKalim({path("hum.wav"), "-", "-q", "-n96"}, {KALIM_PROGRAM}, SIGTERM, milliseconds);
    expectNothingKept();
}

} // namespace kalim::test
