#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/kalim/RunningProgram.h"
#include "tests/support/TestSignals.h"

#include <nlohmann/json.hpp>

#include <signal.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <tuple>

namespace kalim::test
{
namespace
{

using namespace testing_support;
using Words = std::vector<std::string>;

class Program : public ScratchFolder
{
protected:
    /// Writes mono or interleaved samples as a 48 kHz float WAV file.
    std::string writeFloats(const std::string& name, const std::vector<float>& samples,
                            int channels = 1) const
    {
        const auto file =
            openLibraryFile(path(name), SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_FLOAT, channels);
        sf_write_float(file.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
        return path(name);
    }

    std::string writeHum(double start, double end, double seconds) const
    {
        const Signal32 hum =
            mix(makeHum({.startFrequency = start, .endFrequency = end}, 48000.0, seconds),
                makeNoise(-90.0, 48000.0, seconds));
        const float* const samples = hum.getReadChannelPtr(0);
        return writeFloats("hum.wav", {samples, samples + hum.getNumSamples()});
    }

    /// What a run of the program that must succeed reports as JSON.
    static nlohmann::json report(const RunResult& run)
    {
        EXPECT_EQ(run.exitCode, 0) << run.errors;
        return nlohmann::json::parse(run.output);
    }

    static std::vector<double> reductionsIn(const nlohmann::json& report)
    {
        std::vector<double> result;
        for (const auto& harmonic : report["harmonics"])
            result.push_back(harmonic["before"].get<double>() - harmonic["after"].get<double>());
        return result;
    }

    /// What a run of the program that must fail says, which is a single line.
    static std::string refusal(int exitCode, const RunResult& run)
    {
        EXPECT_EQ(run.exitCode, exitCode) << run.errors;
        EXPECT_TRUE(run.errors.starts_with("kalim: ")) << run.errors;
        EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << run.errors;
        EXPECT_EQ(run.output, "");
        return run.errors;
    }
};

} // namespace

TEST_F(Program, cleansTheGuitarBetterThanFixedNotches)
{
    const auto cleaned =
        report(runKalim({exampleRecording(), path("clean.flac"), "--json", "--fundamental", "60",
                         "--harmonics", "14", "--measure", "6:9.9"}));
    EXPECT_EQ(cleaned["harmonics"].size(), 14);
    // Notches at multiples of 60 Hz take 15 dB off the line at 60.1 Hz.
    EXPECT_GE(reductionsIn(cleaned)[0], 20.0);
    EXPECT_NEAR(cleaned["harmonics"][0]["frequency"].get<double>(), 60.1, 0.2);
    EXPECT_EQ(cleaned["outputFormat"], "FLAC pcm16");
    EXPECT_EQ(AudioFileReader(path("clean.flac")).getSampleRate(),
              AudioFileReader(exampleRecording()).getSampleRate());
}

TEST_F(Program, reportsWhatItTookOffASteadyHum)
{
    const std::string input = writeHum(50.0, 50.0, 9.0);
    for (const char* const mode : {"--aggressive=off", "--aggressive"})
    {
        const auto reductions =
            reductionsIn(report(runKalim({input, path("out.wav"), "--force", "--json",
                                          "--harmonics=20", "--measure=3:9", mode})));
        ASSERT_EQ(reductions.size(), 20U);
        EXPECT_GE(reductions[0], 45.0);
        EXPECT_GE(reductions[1], 40.0);
        EXPECT_GE(reductions[2], 37.0);
        EXPECT_GE(*std::ranges::min_element(reductions), 20.0);
    }
}

TEST_F(Program, keepsLengthAndPlaceOfEverySampleAtEveryBlockSize)
{
    // Without harmonics nothing is removed, so what comes out must be the very same samples.
    for (const std::size_t length : {0U, 1U, 2047U, 2048U, 2049U, 100000U})
        for (const char* const option : {"--odd", "--aggressive", "-q", "--block-size=1",
                                         "--block-size=777", "--block-size=5000"})
        {
            std::vector<float> samples(2 * length);
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i] = static_cast<float>(std::sin(0.01 * static_cast<double>(i * i % 9973)));
            const std::string input = writeFloats("in.wav", samples, 2);
            const std::string output = path("out.wav");
            const RunResult run = runKalim({input, output, "--force", "--harmonics", "0", option});
            ASSERT_EQ(run.exitCode, 0) << run.errors;
            EXPECT_EQ(readAll(output), samples) << length << option;
        }
}

TEST_F(Program, tracesADrift)
{
    const std::string trace = path("trace.csv");
    const auto fundamental = report(runKalim({writeHum(49.8, 50.2, 8.0), path("out.wav"), "--json",
                                              "-n", "2", "--trace", trace}))["fundamental"];
    EXPECT_NEAR(fundamental["end"].get<double>(), 50.2, 0.05);
    EXPECT_LT(fundamental["min"].get<double>(), 49.9);

    std::ifstream stream(trace);
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(line, "time_s,fundamental_hz,harmonics_present");
    std::string last;
    int rows = 0;
    for (; std::getline(stream, line); ++rows)
        last = line;
    EXPECT_EQ(rows, 8 * 48000 / 2048 - 1); // one per hop from the second on
    EXPECT_THAT(last, HasSubstr(",50.2"));
    EXPECT_TRUE(last.ends_with(",1 2")) << last;
}

TEST_F(Program, countsSamplesThatAreNoNumbersAndWritesSilenceForThem)
{
    const Signal32 hum = makeHum({}, 48000.0, 9.0);
    std::vector<float> damaged(hum.getReadChannelPtr(0), hum.getReadChannelPtr(0) + 9 * 48000);
    damaged[30000] = std::numeric_limits<float>::quiet_NaN();
    damaged[30001] = 3.0e38F;
    const auto measured = report(runKalim(
        {writeFloats("hum.wav", damaged), path("hum-out.wav"), "--json", "--measure=3:9"}));
    EXPECT_GE(reductionsIn(measured)[0], 40.0);

    std::vector<float> samples(9000, 0.0F);
    samples[100] = std::numeric_limits<float>::quiet_NaN();
    samples[200] = std::numeric_limits<float>::infinity();
    const std::string output = path("out.wav");
    EXPECT_EQ(
        report(runKalim({writeFloats("bad.wav", samples), output, "--json"}))["nonFiniteSamples"],
        2);
    EXPECT_TRUE(std::ranges::all_of(readAll(output), [](float x) { return x == 0.0F; }));
}

TEST_F(Program, drawsAPictureOfItsWorkAndStaysQuietWhenAsked)
{
    const std::string picture = path("spectrum.svg");
    const RunResult run =
        runKalim({exampleRecording(), path("out.wav"), "-f60", "-n5", "--plot", picture, "-q"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output + run.errors, "");
    EXPECT_THAT(contentsOf(picture), HasSubstr("<svg"));
}

TEST_F(Program, refusesWrongUsageWithTheReason)
{
    const std::string input = exampleRecording();
    const std::string output = path("out.wav");
    using Case = std::pair<Words, const char*>;
    for (const auto& [arguments, reason] :
         {Case({input, output, "--fundamental", "39.9"}, "40 to 500 Hz"),
          Case({input, output, "--fundamental", "nan"}, "40 to 500 Hz"),
          Case({input, output, "--sensitivity", "101"}, "0 to 100 %"),
          Case({input, output, "--adaptivity", "-1"}, "0 to 80 Hz/s"),
          Case({input, output, "--harmonics", "97"}, "0 to 96"),
          Case({input, output, "--harmonics", "1.5"}, "whole number"),
          Case({input, output, "--block-size", "0"}, "--block-size"),
          Case({input, output, "--format", "mp7"}, "--format"),
          Case({input, output, "--measure", "5:4"}, "5:4"),
          Case({input, output, "--measure", "5:400"}, "9.972 s"),
          Case({input, output, "--surprise"}, "--surprise"),
          Case({input, output, "--odd=perhaps"}, "'perhaps'"),
          Case({input, output, "--plot", path("spectrum.gif")}, ".png or .svg"),
          Case({input}, "OUTPUT"), Case({"-", output}, "-"),
          Case({input, path("out.unknown")}, ".flac"),
          Case({input, output, "--trace", output}, "twice"),
          Case({input, input, "--force"}, "input itself")})
        EXPECT_THAT(refusal(2, runKalim(arguments)), HasSubstr(reason));
    EXPECT_EQ(filesInFolder(), 0);
}

TEST_F(Program, saysWhichFileItCouldNotProcessAndLeavesNothingBehind)
{
    const std::string output = path("out.wav");
    const std::string text = writeText("no audio.wav", "this is not audio at all, only text");
    const std::string empty = writeFloats("empty.wav", {});
    using Case = std::pair<Words, std::string>;
    for (const auto& [arguments, reason] :
         {Case({path("missing.wav"), output}, "missing.wav"), Case({text, output}, "no audio.wav"),
          Case({folder, output}, folder.string()),
          Case({exampleRecording(), path("no folder/out.wav")}, "no folder/out.wav"),
          Case({empty, path("empty.flac")}, "empty.flac: FLAC"),
          Case({exampleRecording(), text}, "no audio.wav")})
        EXPECT_THAT(refusal(1, runKalim(arguments)), HasSubstr(reason));
    EXPECT_EQ(filesInFolder(), 2);
    EXPECT_EQ(contentsOf(text), "this is not audio at all, only text");
}

TEST_F(Program, takesFromAPresetWhatIsNotGiven)
{
    const auto presets = path("Contents/Resources/Presets");
    std::filesystem::create_directories(presets);
    std::filesystem::copy_file(KALIM_PROGRAM, path("kalim"));
    std::ofstream(presets / "Guitar.xml") << "<Preset><ParameterSettings><P id='0' value='60'/>"
                                             "<P id='3' value='14'/><P id='4' value='1'/>"
                                             "</ParameterSettings></Preset>";
    std::ofstream(presets / "Broken.xml") << "<Preset";
    const auto run = [&](const Words& arguments)
    { return runCopy(path("kalim"), folder, arguments); };
    const auto cleaned = report(run(
        {exampleRecording(), path("out.wav"), "--odd=off", "-n3", "--preset=guitar", "--json"}));
    EXPECT_EQ(cleaned["settings"], nlohmann::json::parse(R"({"fundamental": 60.0, "harmonics": 3,
        "adaptivity": 15.0, "sensitivity": 30.0, "odd": false, "aggressive": false,
        "residual": false})"));
    EXPECT_EQ(cleaned["preset"]["file"], (presets / "Guitar.xml").string());
    EXPECT_NEAR(cleaned["harmonics"][0]["frequency"].get<double>(), 60.1, 0.2);
    EXPECT_EQ(report(run({"--list-presets", "--json"}))["presets"][1]["name"], "Guitar");

    for (const auto& [preset, exitCode, reason] :
         {std::tuple("Guita", 2, "there is no preset 'Guita'"),
          std::tuple("Broken", 1, "Broken.xml: is not valid XML"),
          std::tuple("Guitar", 2, "Guitar.xml: is named twice")})
        EXPECT_THAT(refusal(exitCode, run({exampleRecording(), path("no.wav"), "--preset", preset,
                                           "--force", "--trace", presets / "Guitar.xml"})),
                    HasSubstr(reason));
    EXPECT_FALSE(std::filesystem::exists(path("no.wav")));
}

TEST_F(Program, leavesNoHalfFileWhenItIsKilled)
{
    const std::string input = writeHum(50.0, 50.0, 60.0);
    const std::string output = path("out.wav");
    int timesKilled = 0;
    for (const int milliseconds : {5, 20, 60, 100})
        for (const int signalNumber : {SIGKILL, SIGTERM, SIGINT})
        {
            if (!runAndKill({input, output, "-n96"}, signalNumber, milliseconds))
                std::filesystem::remove(output);
            else
                ++timesKilled;
            ASSERT_FALSE(std::filesystem::exists(output));
        }
    EXPECT_GT(timesKilled, 0);
    EXPECT_EQ(runKalim({input, output, "-n1"}).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(output));
}

} // namespace kalim::test
