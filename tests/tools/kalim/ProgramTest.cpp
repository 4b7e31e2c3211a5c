#include "tests/support/Measures.h"
#include "tests/support/TestSignals.h"
#include "tests/tools/kalim/RunningProgram.h"
#include "tests/tools/kalim/files/AudioFiles.h"
#include "tests/tools/kalim/files/ScratchFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sndfile.h>

#include <signal.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <tuple>

namespace kalim::program::test
{
namespace
{

using orvo::audio::Signal32;

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
        return path(name).string();
    }

    std::string writeHum(const std::string& name, double start, double end, double seconds) const
    {
        const Signal32 hum = testing_support::mix(
            testing_support::makeHum({.startFrequency = start, .endFrequency = end}, 48000.0,
                                     seconds),
            testing_support::makeNoise(-90.0, 48000.0, seconds));
        const float* const samples = hum.getReadChannelPtr(0);
        return writeFloats(name, {samples, samples + hum.getNumSamples()});
    }

    static std::vector<double> reductionsIn(const nlohmann::json& report)
    {
        std::vector<double> result;
        for (const auto& harmonic : report["harmonics"])
            result.push_back(harmonic["before"].get<double>() - harmonic["after"].get<double>());
        return result;
    }

    /// Lines of a failed run that start with the program's name.
    static bool isOneLine(const std::string& errors)
    {
        return errors.starts_with("kalim: ") && errors.find('\n') == errors.size() - 1;
    }
};

} // namespace

TEST_F(Program, cleansTheGuitarBetterThanFixedNotches)
{
    const std::string output = path("clean.flac").string();
    const RunResult run = runKalim({exampleRecording(), output, "--fundamental", "60",
                                    "--harmonics", "14", "--measure", "6:9.9", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto report = nlohmann::json::parse(run.output);
    EXPECT_EQ(report["harmonics"].size(), 14);
    // Notches at multiples of 60 Hz take 15 dB off the line at 60.1 Hz.
    EXPECT_GE(reductionsIn(report)[0], 20.0);
    EXPECT_NEAR(report["harmonics"][0]["frequency"].get<double>(), 60.1, 0.2);
    EXPECT_EQ(report["outputFormat"], "FLAC pcm16");
    const AudioFileReader before(exampleRecording());
    const AudioFileReader after(output);
    EXPECT_EQ(after.frames(), before.frames());
    EXPECT_EQ(after.channels(), before.channels());
    EXPECT_EQ(after.sampleRate(), before.sampleRate());
}

TEST_F(Program, reportsWhatItTookOffASteadyHum)
{
    const std::string input = writeHum("hum.wav", 50.0, 50.0, 9.0);
    for (const bool aggressive : {false, true})
    {
        std::vector<std::string> arguments{input,    path("out.wav").string(), "--force",
                                           "--json", "--harmonics=20",         "--measure=3:9"};
        if (aggressive)
            arguments.emplace_back("--aggressive");
        const RunResult run = runKalim(arguments);
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        const auto reductions = reductionsIn(nlohmann::json::parse(run.output));
        ASSERT_EQ(reductions.size(), 20U);
        EXPECT_GE(reductions[0], 45.0);
        EXPECT_GE(reductions[1], 40.0);
        EXPECT_GE(reductions[2], 37.0);
        EXPECT_GE(*std::ranges::min_element(reductions), 20.0);
    }
}

TEST_F(Program, keepsLengthAndPlaceOfEverySample)
{
    // Without harmonics nothing is removed, so what comes out must be the very same samples.
    for (const std::size_t length : {0U, 1U, 2047U, 2048U, 2049U, 100000U})
        for (const char* const mode : {"--odd", "--aggressive"})
        {
            std::vector<float> samples(2 * length);
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i] = static_cast<float>(std::sin(0.01 * static_cast<double>(i * i % 9973)));
            const std::string input = writeFloats("in.wav", samples, 2);
            const std::string output = path("out.wav").string();
            const RunResult run = runKalim({input, output, "--force", "--harmonics", "0", mode});
            ASSERT_EQ(run.exitCode, 0) << run.errors;
            EXPECT_EQ(readAll(output), samples) << length << mode;
        }
}

TEST_F(Program, givesTheSameFileForEveryBlockSizeInNormalMode)
{
    std::vector<std::vector<float>> results;
    for (const char* const blockSize : {"512", "1", "777", "2047"})
    {
        const std::string output = path(std::string("b") + blockSize + ".wav").string();
        const RunResult run = runKalim({exampleRecording(), output, "-f60", "-n9", "--format=float",
                                        "--block-size", blockSize});
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        results.push_back(readAll(output));
    }
    EXPECT_EQ(std::ranges::count(results, results.front()), std::ssize(results));
}

TEST_F(Program, addsUpToTheInputWithItsResidual)
{
    const std::string input = writeHum("hum.wav", 50.2, 50.2, 3.0);
    const std::string cleaned = path("cleaned.wav").string();
    const std::string residual = path("residual.wav").string();
    ASSERT_EQ(runKalim({input, cleaned, "-n", "20"}).exitCode, 0);
    ASSERT_EQ(runKalim({input, residual, "-n", "20", "--residual"}).exitCode, 0);
    const auto whole = readAll(input);
    const auto first = readAll(cleaned);
    const auto second = readAll(residual);
    ASSERT_EQ(first.size(), whole.size());
    for (std::size_t i = 0; i < whole.size(); ++i)
        ASSERT_NEAR(first[i] + second[i], whole[i], 1.0e-7F); // two roundings
}

TEST_F(Program, tracesADrift)
{
    const std::string input = writeHum("drift.wav", 49.8, 50.2, 8.0);
    const std::string trace = path("trace.csv").string();
    const RunResult run =
        runKalim({input, path("out.wav").string(), "-n", "2", "--trace", trace, "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto fundamental = nlohmann::json::parse(run.output)["fundamental"];
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
    EXPECT_NE(last.find(",50.2"), std::string::npos) << last;
    EXPECT_TRUE(last.ends_with(",1 2")) << last;
}

TEST_F(Program, countsSamplesThatAreNoNumbersAndWritesSilenceForThem)
{
    const Signal32 hum = testing_support::makeHum({}, 48000.0, 9.0);
    std::vector<float> damaged(hum.getReadChannelPtr(0), hum.getReadChannelPtr(0) + 9 * 48000);
    damaged[30000] = std::numeric_limits<float>::quiet_NaN();
    damaged[30001] = 3.0e38F;
    const RunResult measured = runKalim(
        {writeFloats("hum.wav", damaged), path("hum-out.wav").string(), "--json", "--measure=3:9"});
    ASSERT_EQ(measured.exitCode, 0) << measured.errors;
    EXPECT_GE(reductionsIn(nlohmann::json::parse(measured.output))[0], 40.0);

    std::vector<float> samples(9000, 0.0F);
    samples[100] = std::numeric_limits<float>::quiet_NaN();
    samples[200] = std::numeric_limits<float>::infinity();
    const std::string input = writeFloats("bad.wav", samples);
    const std::string output = path("out.wav").string();
    const RunResult run = runKalim({input, output, "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(nlohmann::json::parse(run.output)["nonFiniteSamples"], 2);
    EXPECT_TRUE(std::ranges::all_of(readAll(output), [](float x) { return x == 0.0F; }));
}

TEST_F(Program, drawsAPictureOfItsWork)
{
    const std::string output = path("out.wav").string();
    const std::string picture = path("spectrum.svg").string();
    ASSERT_EQ(
        runKalim({exampleRecording(), output, "-f60", "-n5", "--plot", picture, "-q"}).exitCode, 0);
    EXPECT_NE(contentsOf(picture).find("<svg"), std::string::npos);
    const RunResult refused =
        runKalim({exampleRecording(), output, "--force", "--plot", path("spectrum.gif").string()});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(isOneLine(refused.errors)) << refused.errors;
}

TEST_F(Program, refusesWrongUsageWithTheReason)
{
    const std::string input = exampleRecording();
    const std::string output = path("out.wav").string();
    const auto refusal = [&](std::vector<std::string> arguments)
    {
        const RunResult run = runKalim(arguments);
        EXPECT_EQ(run.exitCode, 2) << run.errors;
        EXPECT_TRUE(isOneLine(run.errors)) << run.errors;
        EXPECT_TRUE(run.output.empty()) << run.output;
        return run.errors;
    };
    const auto names = [](const std::string& text, const std::string& part)
    { return text.find(part) != std::string::npos; };
    EXPECT_TRUE(names(refusal({input, output, "--fundamental", "39.9"}), "40 to 500 Hz"));
    EXPECT_TRUE(names(refusal({input, output, "--fundamental", "nan"}), "40 to 500 Hz"));
    EXPECT_TRUE(names(refusal({input, output, "--sensitivity", "101"}), "0 to 100 %"));
    EXPECT_TRUE(names(refusal({input, output, "--adaptivity", "-1"}), "0 to 80 Hz/s"));
    EXPECT_TRUE(names(refusal({input, output, "--harmonics", "97"}), "0 to 96"));
    EXPECT_TRUE(names(refusal({input, output, "--harmonics", "1.5"}), "whole number"));
    EXPECT_TRUE(names(refusal({input, output, "--block-size", "0"}), "--block-size"));
    EXPECT_TRUE(names(refusal({input, output, "--format", "mp7"}), "--format"));
    EXPECT_TRUE(names(refusal({input, output, "--measure", "5:4"}), "5:4"));
    EXPECT_TRUE(names(refusal({input, output, "--measure", "5:400"}), "9.972 s"));
    EXPECT_TRUE(names(refusal({input, output, "--surprise"}), "--surprise"));
    EXPECT_TRUE(names(refusal({input, output, "--odd=perhaps"}), "'perhaps'"));
    EXPECT_TRUE(names(refusal({input}), "OUTPUT"));
    EXPECT_TRUE(names(refusal({"-", output}), "-"));
    EXPECT_TRUE(names(refusal({input, path("out.unknown").string()}), ".flac"));
    EXPECT_TRUE(names(refusal({input, output, "--trace", output}), "twice"));
    EXPECT_TRUE(names(refusal({input, input, "--force"}), "input itself"));
    EXPECT_EQ(filesInFolder(), 0U);
}

TEST_F(Program, saysWhichFileItCouldNotProcessAndLeavesNothingBehind)
{
    const std::string output = path("out.wav").string();
    const auto refusal = [&](std::vector<std::string> arguments)
    {
        const RunResult run = runKalim(arguments);
        EXPECT_EQ(run.exitCode, 1) << run.errors;
        EXPECT_TRUE(isOneLine(run.errors)) << run.errors;
        return run.errors;
    };
    const std::string text =
        writeText("no audio.wav", "this is not audio at all, only text").string();
    EXPECT_NE(refusal({path("missing.wav").string(), output}).find("missing.wav"),
              std::string::npos);
    EXPECT_NE(refusal({text, output}).find("no audio.wav"), std::string::npos);
    EXPECT_NE(refusal({folder.string(), output}).find(folder.string()), std::string::npos);
    refusal({exampleRecording(), path("no folder/out.wav").string()});
    EXPECT_EQ(filesInFolder(), 1U);
    const std::string empty = writeFloats("empty.wav", {});
    EXPECT_NE(refusal({empty, path("empty.flac").string()}).find("empty.flac: FLAC"),
              std::string::npos);
    std::filesystem::remove(empty);
    EXPECT_EQ(filesInFolder(), 1U);

    refusal({exampleRecording(), text});
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
    const auto run = [&](std::vector<std::string> arguments)
    { return runCopy(path("kalim"), folder, arguments); };
    const RunResult cleaned = run({exampleRecording(), path("out.wav").string(), "--odd=off", "-n3",
                                   "--preset=guitar", "--json"});
    ASSERT_EQ(cleaned.exitCode, 0) << cleaned.errors;
    const auto report = nlohmann::json::parse(cleaned.output);
    EXPECT_EQ(report["settings"], nlohmann::json::parse(R"({"fundamental": 60.0, "harmonics": 3,
        "adaptivity": 15.0, "sensitivity": 30.0, "odd": false, "aggressive": false,
        "residual": false})"));
    EXPECT_EQ(report["preset"]["file"], (presets / "Guitar.xml").string());
    EXPECT_NEAR(report["harmonics"][0]["frequency"].get<double>(), 60.1, 0.2);
    const RunResult list = run({"--list-presets", "--json"});
    EXPECT_EQ(list.exitCode, 0) << list.errors;
    EXPECT_EQ(nlohmann::json::parse(list.output)["presets"][1]["name"], "Guitar");

    const std::string trace = (presets / "Guitar.xml").string();
    for (const auto& [preset, exitCode, reason] :
         {std::tuple("Guita", 2, "there is no preset 'Guita'"),
          std::tuple("Broken", 1, "Broken.xml: is not valid XML"),
          std::tuple("Guitar", 2, "Guitar.xml: is named twice")})
    {
        const RunResult refused = run({exampleRecording(), path("no.wav").string(), "--preset",
                                       preset, "--force", "--trace", trace});
        EXPECT_EQ(refused.exitCode, exitCode);
        EXPECT_TRUE(isOneLine(refused.errors)) << refused.errors;
        EXPECT_NE(refused.errors.find(reason), std::string::npos) << refused.errors;
    }
    EXPECT_FALSE(std::filesystem::exists(path("no.wav")));
}

TEST_F(Program, leavesNoHalfFileWhenItIsKilled)
{
    const std::string input = writeHum("long.wav", 50.0, 50.0, 60.0);
    const std::string output = path("out.wav").string();
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

TEST_F(Program, staysQuietWhenAskedAndTellsItsVersion)
{
    const RunResult quiet = runKalim({exampleRecording(), path("out.wav").string(), "-q"});
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.output + quiet.errors, "");
    const RunResult version = runKalim({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.output.starts_with("kalim ")) << version.output;
    const RunResult help = runKalim({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.output.find("40 to 500 Hz"), std::string::npos);
}

} // namespace kalim::program::test
