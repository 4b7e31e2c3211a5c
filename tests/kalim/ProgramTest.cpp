#include "audiofile/SoundChecksum.h"
#include "dsp/hum/HumParameters.h"
#include "tests/kalim/RunningProgram.h"
#include "tests/support/TestSignals.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <complex>
#include <numbers>
#include <tuple>

namespace kalim::test
{
namespace
{

using namespace ::testing;
using namespace testing_support;
using nlohmann::json;
using orvo::audio::HumParameter;
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

    static std::vector<float> makeHumSamples(double start, double end, double seconds)
    {
        const Signal32 hum =
            mix(makeHum({.startFrequency = start, .endFrequency = end}, 48000.0, seconds),
                makeNoise(-90.0, 48000.0, seconds));
        return {hum.getReadChannelPtr(0), hum.getReadChannelPtr(0) + hum.getNumSamples()};
    }

    std::string output() const { return path("out.wav"); }

    static json report(const Words& arguments, const Words& program = {KALIM_PROGRAM})
    {
        const RunResult run = runKalim(arguments, program);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.errors, "");
        return json::parse(run.output);
    }

    /// Runs the program from a file to the output, which must succeed.
    json clean(const std::string& input, Words options) const
    {
        options.insert(options.end(), {input, output(), "--json", "--force", "--force"});
        return report(options);
    }

    static std::vector<double> reductionsIn(const json& report)
    {
        std::vector<double> result;
        for (const auto& harmonic : report["harmonics"])
            result.push_back(harmonic["before"].get<double>() - harmonic["after"].get<double>());
        return result;
    }

    /// What the program, which must fail, says in a single line.
    static std::string refusal(int exitCode, const Words& arguments,
                               const Words& program = {KALIM_PROGRAM})
    {
        const RunResult run = runKalim(arguments, program);
        EXPECT_EQ(run.exitCode, exitCode) << run.errors;
        EXPECT_THAT(run.errors, MatchesRegex("kalim: [^\n]*\n"));
        EXPECT_EQ(run.output, "");
        return run.errors;
    }
};

} // namespace

TEST_F(Program, cleansTheGuitarBetterThanFixedNotchesAndDrawsIt)
{
    const std::string flac = path("clean.flac");
    const auto cleaned =
        report({exampleRecording(), flac, "--json", "--fundamental", "60", "--harmonics", "14",
                "--measure", "6:9.9", "--plot", path("spectrum.svg")});
    // Notches at multiples of 60 Hz take 15 dB off the line at 60.1 Hz.
    EXPECT_GE(reductionsIn(cleaned)[0], 20.0);
    EXPECT_NEAR(cleaned["harmonics"][0]["frequency"].get<double>(), 60.1, 0.2);
    EXPECT_EQ(cleaned["outputFormat"], "FLAC pcm16");
    EXPECT_EQ(AudioFileReader(flac).getSampleRate(), 44100);
    EXPECT_THAT(contentsOf(path("spectrum.svg")), HasSubstr("<svg"));
}

TEST_F(Program, findsHumByItselfTakesItOffAndLeavesTheRestAlone)
{
    const std::vector<float> samples = makeHumSamples(50.02, 50.02, 9.0);
    const std::string input = writeFloats("hum.wav", samples);
    const auto cleaned = clean(input, {"--trace", path("trace.csv")});
    EXPECT_EQ(cleaned["method"], "precise");
    EXPECT_EQ(cleaned["hum"]["kind"], "steady");
    EXPECT_NEAR(cleaned["hum"]["fundamental"].get<double>(), 50.02, 0.001);
    EXPECT_THAT(reductionsIn(cleaned), AllOf(SizeIs(20), Each(Ge(30.0))));
    EXPECT_THAT(contentsOf(path("trace.csv")), ContainsRegex("\n[0-9.]+,50\\.0[0-9]*,1 2 3 "));
    const std::vector<float> rest = readAll(output());
    clean(input, {"--method=precise", "--residual"});
    const std::vector<float> hum = readAll(output());
    clean(input, {"--strength=50"});
    const std::vector<float> half = readAll(output());
    for (std::size_t n = 0; n < samples.size(); n += 97)
    {
        ASSERT_NEAR(rest[n] + hum[n], samples[n], 1e-6F);
        ASSERT_NEAR(half[n] + 0.5F * hum[n], samples[n], 1e-6F);
    }
    const auto learned = clean(input, {"--learn=1:4"});
    EXPECT_EQ(learned["learned"]["end"], 4.0);
    EXPECT_THAT(reductionsIn(learned), AllOf(SizeIs(20), Each(Ge(30.0))));
    const Signal32 noise = makeNoise(-20.0, 48000.0, 3.0);
    const std::vector<float> plain(noise.getReadChannelPtr(0), noise.getReadChannelPtr(0) + 144000);
    const RunResult run =
        runKalim({writeFloats("plain.wav", plain), output(), "--force", "--force"});
    EXPECT_THAT(run.output, HasSubstr("no hum; the output equals the input sample for sample"));
    EXPECT_EQ(readAll(output()), plain);
    EXPECT_THAT(runKalim({path("plain.wav"), path("x.wav"), "--learn=1:2"}).errors,
                HasSubstr("plain.wav: no hum was found"));
    EXPECT_TRUE(clean(path("plain.wav"), {})["fundamental"].is_null());
}

/// A chord has partials half-way between harmonics, where noise is read, and beside them. No line
/// that was the loudest within 12 Hz may be that afterwards; the fifth, the clearest, falls by 25
/// dB.
TEST_F(Program, takesHumOutOfTheDecayOfARealChord)
{
    clean(exampleRecording(), {});
    const std::vector<float> before = readAll(exampleRecording());
    const std::vector<float> after = readAll(output());
    constexpr double rate = 44100.0;
    constexpr double start = 6.0;
    constexpr double length = 3.9;
    int numLoudest = 0;
    for (const std::size_t channel : {0U, 1U})
        for (const int harmonic : {1, 2, 3, 5, 6, 7, 8, 14})
        {
            const auto measure = [&](const std::vector<float>& samples, double offset)
            {
                std::complex<double> sum;
                for (int n = 0; n < static_cast<int>(length * rate); ++n)
                {
                    const double angle = 2.0 * std::numbers::pi * n / rate;
                    const auto at =
                        static_cast<std::size_t>(start * rate) + static_cast<std::size_t>(n);
                    sum += (1.0 - std::cos(angle / length)) * samples[2 * at + channel] *
                           std::polar(1.0, -angle * (60.0 * harmonic + offset));
                }
                return std::norm(sum);
            };
            double beside = 0.0;
            for (const double offset : {-12.0, -8.0, -6.0, -4.0, -2.0, 2.0, 4.0, 6.0, 8.0, 12.0})
                beside = std::max(beside, measure(after, offset));
            if (measure(before, 0.0) < beside)
                continue;
            ++numLoudest;
            EXPECT_LT(measure(after, 0.0), beside) << harmonic << ", channel " << channel;
            const double change = 10.0 * std::log10(measure(after, 0.0) / measure(before, 0.0));
            EXPECT_LT(change, harmonic == 5 ? -25.0 : 0.0) << harmonic << ", channel " << channel;
        }
    EXPECT_EQ(numLoudest, 13);
}

TEST_F(Program, drawsWhatItMeasuresOverTimeTooWhenThatIsLong)
{
    const std::string input = writeFloats("hum.wav", makeHumSamples(50.0, 50.0, 20.1));
    for (const auto& [option, isLong] : {std::pair("--method=tracking", true),
                                         {"--method=precise", true},
                                         {"--measure=0.2:20.1", false}})
    {
        const RunResult run =
            runKalim({input, output(), option, "-q", "--force", "--plot", path("hum.svg")});
        EXPECT_EQ(run.exitCode, 0) << run.errors;
        const std::string picture = contentsOf(path("hum.svg"));
        EXPECT_EQ(picture.find("data:image/png") != std::string::npos, isLong) << option;
    }
}

TEST_F(Program, tellsWhatHumThereIsAndSetsTheEngineFromIt)
{
    const std::string input = writeFloats("hum.wav", makeHumSamples(60.03, 60.03, 9.0));
    const RunResult found = runKalim({"detect", input, path("missing.wav"), "--json"});
    EXPECT_EQ(found.exitCode, 1);
    EXPECT_THAT(found.errors, HasSubstr("missing.wav: No such file"));
    const json hum = json::parse(found.output)[0]["hum"];
    EXPECT_NEAR(hum["fundamental"].get<double>(), 60.03, 0.001);
    EXPECT_LT(hum["uncertainty"].get<double>(), 0.001);
    EXPECT_THAT(hum["harmonics"], SizeIs(20));
    EXPECT_THAT(runKalim({"detect", input}).output, HasSubstr("hum at 60.030 Hz"));
    const json settings = clean(input, {"-fauto", "--harmonics=auto", "--odd=auto"})["settings"];
    EXPECT_NEAR(settings["fundamental"].get<double>(), 60.03, 0.001);
    EXPECT_EQ(settings["harmonics"], 20);
    EXPECT_EQ(settings["odd"], false);
    for (const auto& [words, reason] : {std::pair(Words{"--strength=101"}, "0 to 100"),
                                        {{"--mains=5"}, "15 to 440"},
                                        {{"--range=60:50"}, "does not rise"},
                                        {{"--mains=50", "--range=49:51"}, "together"},
                                        {{"--method=precise", "-a5"}, "--adaptivity"},
                                        {{"--strength=50", "-a5"}, "precise"},
                                        {{"--learn=0:999"}, "only"},
                                        {{"--learn=3"}, "no range"}})
    {
        Words all = words;
        all.insert(all.end(), {input, path("x.wav")});
        EXPECT_THAT(refusal(2, all), HasSubstr(reason));
    }
}

TEST_F(Program, recordsWhatWasDone)
{
    const std::string input = writeFloats("hum.wav", makeHumSamples(50.5, 50.5, 9.0));
    const std::string flac = path("out.flac");
    const json cleaned =
        report({input, flac, "--json", "--format=pcm24", "--checksums", "--provenance",
                "--speed-report", path("speed.csv"), "--speed-report", path("speed.svg")});
    EXPECT_EQ(cleaned["speed"]["mains"], 50.0);
    EXPECT_NEAR(cleaned["speed"]["meanPercent"].get<double>(), 1.0, 0.002);
    EXPECT_NEAR(cleaned["speed"]["correction"].get<double>(), 1.0 / 1.01, 2e-5);
    EXPECT_THAT(contentsOf(path("speed.csv")), ContainsRegex("\n[0-9.]+,50\\.50[0-9]*,1\\.00"));
    EXPECT_THAT(contentsOf(path("speed.svg")), HasSubstr("<svg"));

    std::string bytes = contentsOf(flac);
    constexpr std::size_t checksum = 26;
    std::string stated;
    for (const char byte : bytes.substr(checksum, 16))
        stated += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    EXPECT_EQ(cleaned["checksums"]["output"]["md5"], stated);
    EXPECT_NE(bytes.find("=mains hum removal by Kalim"), std::string::npos);
    const std::string provenance = contentsOf(path("out.flac.premis.xml"));
    for (const std::string& part :
         {fileChecksumOf(input), fileChecksumOf(flac), std::string("hum at 50.5"),
          cleaned["checksums"]["input"]["sha256"].get<std::string>()})
        EXPECT_THAT(provenance, HasSubstr(part));

    bytes[checksum] = static_cast<char>(bytes[checksum] ^ 1);
    writeText("wrong.flac", bytes);
    EXPECT_THAT(refusal(1, {path("wrong.flac"), output()}), HasSubstr("states the checksum"));
    EXPECT_EQ(runKalim({path("wrong.flac"), output(), "-q", "--salvage"}).exitCode, 1);
}

TEST_F(Program, hasAnOptionAndAPlaceInTheReportForEveryParameterOfTheEngine)
{
    const std::string input = writeFloats("in.wav", std::vector<float>(5000));
    const json settings = clean(input, {"--method=tracking"})["settings"];
    EXPECT_EQ(settings.size(), orvo::audio::numHumParameters);
    for (const HumParameter& row : orvo::audio::humParameters)
    {
        const bool isToggle = row.kind == HumParameter::Kind::toggle;
        const auto reported = [&](float x) { return isToggle ? json(x > 0.5F) : json(x); };
        EXPECT_EQ(settings[row.option], reported(row.defaultValue));
        EXPECT_EQ(settings[row.option].is_number_integer(), row.kind == HumParameter::Kind::whole);
        const float value = isToggle ? 1.0F : 0.5F * (row.min + row.max);
        json changed = settings;
        changed[row.option] = reported(value);
        const std::string option = fmt::format("--{}", row.option);
        EXPECT_THAT(runKalim({"--help"}).output, AllOf(HasSubstr(option), HasSubstr(row.help)));
        const std::string full = fmt::format("{}={}", option, value);
        std::string brief = isToggle ? option : full;
        if (row.shortOption != 0)
            brief = fmt::format("-{}{}", row.shortOption, value);
        for (const std::string& spelling : {full, brief})
            EXPECT_EQ(clean(input, {spelling})["settings"], changed) << spelling;
        const std::string reason = isToggle ? option + ": 'nan' is neither on nor off"
                                            : fmt::format("range {} to {}", row.min, row.max);
        const float beyond = isToggle ? std::nanf("") : 0.1F;
        for (const float wrong : {row.min - beyond, row.max + beyond, std::nanf("")})
            EXPECT_THAT(refusal(2, {input, output(), fmt::format("{}={}", option, wrong)}),
                        HasSubstr(reason));
    }
}

TEST_F(Program, reportsWhatItTookOffASteadyHumAndSamplesThatAreNoNumbers)
{
    std::vector<float> samples = makeHumSamples(50.0, 50.0, 9.0);
    samples[30000] = std::nanf("");
    samples[30001] = HUGE_VALF;
    const std::string input = writeFloats("hum.wav", samples);
    for (const char* const mode : {"--aggressive=off", "--aggressive"})
    {
        const auto cleaned = clean(input, {"--harmonics=20", "--measure=3:9", mode});
        EXPECT_EQ(cleaned["nonFiniteSamples"], 2);
        const auto reductions = reductionsIn(cleaned);
        ASSERT_EQ(reductions.size(), 20U);
        EXPECT_THAT(reductions, Each(Ge(20.0)));
        EXPECT_THAT(std::vector(reductions.begin(), reductions.begin() + 3),
                    ElementsAre(Ge(45.0), Ge(40.0), Ge(37.0)));
    }
    samples[30000] = samples[30001] = 0.0F;
    samples[30002] = 3.0e38F;
    const RunResult limiting =
        runKalim({writeFloats("hum.wav", samples), output(), "-n0", "--force"});
    EXPECT_THAT(limiting.errors, HasSubstr("hum.wav: 1 sample is too large to be sound"));
    samples[30002] = 1.0e6F; // the loudest that the engine takes
    clean(writeFloats("hum.wav", samples), {"-n0"});
    EXPECT_EQ(readAll(output()), samples);
}

TEST_F(Program, keepsLengthAndPlaceOfEverySampleAtEveryBlockSize)
{
    // Without harmonics nothing is removed, so what comes out must be the very same samples.
    for (const std::size_t length : {0U, 1U, 2047U, 2048U, 2049U, 100000U})
        for (const std::string option : {"--odd", "--aggressive", "-q", "--block-size=1",
                                         "--block-size=777", "--block-size=5000"})
        {
            std::vector<float> samples(2 * length);
            std::ranges::generate(samples, [x = 0.0F]() mutable { return std::sin(x += 1.7F); });
            const std::string input = writeFloats("in.wav", samples, 2);
            const RunResult run =
                runKalim({input, output(), "--force", "--force", "-n", "0", option});
            ASSERT_EQ(run.exitCode, 0) << run.errors;
            EXPECT_EQ(run.output.empty(), option == "-q");
            EXPECT_EQ(readAll(output()), samples) << length << option;
        }
}

TEST_F(Program, tracesADrift)
{
    const auto fundamental = clean(writeFloats("hum.wav", makeHumSamples(49.8, 50.2, 8.0)),
                                   {"-n", "2", "--trace", path("trace.csv")})["fundamental"];
    EXPECT_NEAR(fundamental["end"].get<double>(), 50.2, 0.05);
    EXPECT_LT(fundamental["min"].get<double>(), 49.9);
    const std::string trace = contentsOf(path("trace.csv"));
    EXPECT_TRUE(trace.starts_with("time_s,fundamental_hz,harmonics_present\n0.085333,")) << trace;
    EXPECT_THAT(trace, ContainsRegex("\n7\\.978667,50\\.2[0-9]*,1 2\n$"));
    EXPECT_EQ(std::ranges::count(trace, '\n'), 8 * 48000 / 2048); // one per hop but the first
}

TEST_F(Program, refusesWhatIsWrongWithTheReasonAndLeavesNothingBehind)
{
    const std::string input = exampleRecording();
    const std::string text = writeText("no audio.wav", "this is not audio at all, only text");
    for (const auto& [option, reason] :
         {std::pair("--harmonics=1.5", "whole number"), std::pair("--block-size=0", "--block-size"),
          std::pair("--format=mp7", "--format"), std::pair("--measure=5:4", "5:4"),
          std::pair("--measure=5:400", "9.972 s"), std::pair("--surprise", "--surprise"),
          std::pair("--plot=spectrum.gif", ".png or .svg")})
        EXPECT_THAT(refusal(2, {input, output(), option}), HasSubstr(reason));
    using Case = std::tuple<int, Words, std::string>;
    for (const auto& [exitCode, words, reason] :
         {Case(2, {input}, "OUTPUT"), Case(2, {input, path("out.unknown")}, ".flac"),
          Case(2, {input, output(), "--trace", output()}, "twice"),
          Case(2, {input, input, "--force"}, "input itself"),
          Case(1, {path("missing.wav"), output()}, "missing.wav: No such file"),
          Case(1, {text, output()}, "no audio.wav: cannot be read as audio"),
          Case(1, {input, text}, "no audio.wav"),
          Case(1, {folder, output()}, folder.string() + ": is a folder"),
          Case(1, {writeFloats("empty.wav", {}), path("empty.flac")}, "empty.flac: FLAC")})
        EXPECT_THAT(refusal(exitCode, words), HasSubstr(reason));
    EXPECT_EQ(filesInFolder(), 2);
    EXPECT_EQ(contentsOf(text), "this is not audio at all, only text");
}

TEST_F(Program, refusesDamagedFilesUnlessToldToSalvageThem)
{
    const std::string input = writeFloats("in.wav", std::vector<float>(48000, 0.1F));
    const std::string cut = writeText("cut.wav", contentsOf(input).substr(0, 100000));
    EXPECT_THAT(refusal(1, {cut, output()}), HasSubstr("bytes are missing; --salvage"));
    EXPECT_FALSE(std::filesystem::exists(output()));
    const RunResult run = runKalim({cut, output(), "--salvage", "-q"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, MatchesRegex("kalim: [^\n]*bytes are missing\n"));
    EXPECT_NEAR(static_cast<double>(readAll(output()).size()), 25000.0, 50.0);
    EXPECT_EQ(runKalim({"detect", cut, "-q"}).exitCode, 1);
}

TEST_F(Program, understandsUnitsAndBlamesTheRightWord)
{
    const std::string input = writeFloats("in.wav", std::vector<float>(48000, 0.1F));
    const auto settings = clean(input, {"-f60 Hz", "--sensitivity=20%"})["settings"];
    EXPECT_EQ(settings["fundamental"], 60.0);
    EXPECT_EQ(settings["sensitivity"], 20.0);
    clean(input, {"--mains=50Hz", "--strength=90 %"});
    for (const auto& [words, reason] :
         {std::pair(Words{"--strenght", "50", input, path("b.wav")}, "--strenght: unknown option; "
                                                                     "is --strength meant"),
          {{"-z", input, path("b.wav")}, "-z: unknown option"},
          {{"--format=flac", input, path("b.wav")}, "its name says WAV, but FLAC"}})
        EXPECT_THAT(refusal(2, words), HasSubstr(reason));
    const std::string other = writeFloats("b.wav", std::vector<float>(96000, 0.1F));
    EXPECT_THAT(refusal(2, {"--force", input, other}), HasSubstr("another recording, 2.0 s"));
}

TEST_F(Program, takesFromAPresetWhatIsNotGiven)
{
    const auto presets = path("Contents/Resources/Presets");
    std::filesystem::create_directories(presets);
    std::filesystem::copy_file(KALIM_PROGRAM, path("kalim"));
    const std::string guitar = presets / "Guitar.xml";
    writeText(guitar, "<A><ParameterSettings><P id='0' value='60'/><P id='3' value='14'/>"
                      "<P id='4' value='1'/></ParameterSettings></A>");
    writeText(presets / "Broken.xml", "<Preset");
    const Words copy{"/usr/bin/env", "HOME=" + folder.string(), path("kalim")};
    const auto cleaned = report(
        {exampleRecording(), output(), "--odd=off", "-n3", "--preset=guitar", "--json"}, copy);
    EXPECT_EQ(cleaned["settings"],
              json::parse(R"({"fundamental": 60, "sensitivity": 30, "odd": false,
        "adaptivity": 15, "harmonics": 3, "aggressive": false, "residual": false})"));
    EXPECT_EQ(cleaned["preset"]["file"], guitar);
    EXPECT_EQ(report({"--list-presets", "--json"}, copy)["presets"][1]["name"], "Guitar");

    for (const auto& [code, option, reason] :
         {std::tuple(2, "--preset=Guita", "there is no preset 'Guita'"),
          std::tuple(1, "--preset=Broken", "Broken.xml: is not valid XML"),
          std::tuple(2, "--preset=Guitar", "Guitar.xml: is named twice")})
        EXPECT_THAT(
            refusal(code, {option, exampleRecording(), path("x.wav"), "--trace", guitar}, copy),
            HasSubstr(reason));
    EXPECT_FALSE(std::filesystem::exists(path("x.wav")));
}

TEST_F(Program, leavesNoHalfFileWhenItIsKilled)
{
    const std::string input = writeFloats("hum.wav", makeHumSamples(50.0, 50.0, 60.0));
    int timesKilled = 0;
    for (const int milliseconds : {5, 20, 60, 100})
        for (const int sent : {SIGKILL, SIGTERM, SIGINT})
        {
            const int exitCode =
                runKalim({input, output(), "-n96"}, {KALIM_PROGRAM}, sent, milliseconds).exitCode;
            timesKilled += exitCode == -1 ? 1 : 0;
            ASSERT_EQ(std::filesystem::remove(output()), exitCode == 0);
        }
    EXPECT_GT(timesKilled, 0);
    clean(input, {"-n96"}); // long enough to draw a progress bar, were it on a terminal
}

} // namespace kalim::test
