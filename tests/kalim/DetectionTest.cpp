#include "tests/audiofile/ScratchFolder.h"
#include "tests/kalim/RunningProgram.h"
#include "tests/support/TestSignals.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

namespace kalim::test
{
namespace
{

using namespace testing_support;
using nlohmann::json;

class Detection : public ScratchFolder
{
protected:
    /// Six seconds of stereo, hum or noise, the second channel silent.
    void writeSound(const std::string& name, bool isHum) const
    {
        std::filesystem::create_directories(path(name).parent_path());
        const Signal32 sound = mix(makeNoise(-50.0, 48000.0, 6.0),
                                   makeHum({.levelDb = isHum ? -26.0 : -200.0}, 48000.0, 6.0));
        std::vector<float> samples;
        for (int n = 0; n < sound.getNumSamples(); ++n)
            samples.insert(samples.end(), {sound.getReadChannelPtr(0)[n], 0.0F});
        const auto file = openLibraryFile(path(name), SFM_WRITE, wav16, 2);
        sf_write_float(file.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
    }

    void writeCollection() const
    {
        writeSound("in/b.wav", true);
        writeSound("in/a/c.wav", false);
        writeSound("in/d.wav", false);
        writeText("in/bad.wav", "no sound");
        writeText("in/notes.txt", "no sound either");
    }

    RunResult detect(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"detect", path("in")});
        return runKalim(words);
    }

    static std::vector<std::string> linesOf(const std::string& text)
    {
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }
};

} // namespace

TEST_F(Detection, looksAtFoldersGoesOnAfterBadFilesAndChangesNothing)
{
    writeCollection();
    const auto before = std::filesystem::last_write_time(path("in"));
    const RunResult run = detect({"-r", "--json", "--jobs", "3"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.errors, HasSubstr("bad.wav: cannot be read as audio"));
    const json rows = json::parse(run.output);
    ASSERT_EQ(rows.size(), 4U);
    std::vector<std::string> names;
    for (const json& row : rows)
        names.push_back(row["file"].get<std::string>().substr(path("in").native().size()));
    EXPECT_THAT(names, ElementsAre("/a/c.wav", "/b.wav", "/bad.wav", "/d.wav"));
    EXPECT_EQ(rows[0]["hum"]["kind"], "none");
    EXPECT_TRUE(rows[0]["quality"]["removable"].is_null());
    EXPECT_THAT(rows[2]["error"], HasSubstr("cannot be read"));
    const json& quality = rows[1]["quality"];
    EXPECT_NEAR(rows[1]["hum"]["fundamental"].get<double>(), 50.0, 0.001);
    EXPECT_EQ(quality["seconds"], 6.0);
    EXPECT_EQ(quality["silentChannels"], json::parse("[2]"));
    EXPECT_EQ(quality["clipped"]["count"], 0);
    // Hum of 20 harmonics, 1 / h of -26 dB each, over noise of -50 dB.
    EXPECT_NEAR(quality["removable"].get<double>(), 23.0, 0.3);
    EXPECT_EQ(std::filesystem::last_write_time(path("in")), before);
    EXPECT_EQ(filesInFolder(), 1);
    EXPECT_EQ(json::parse(detect({"--json", "-q"}).output).size(), 3U);
}

TEST_F(Detection, showsALineOrSomeLinesPerFile)
{
    writeCollection();
    const auto table = linesOf(detect({"-r"}).output);
    ASSERT_EQ(table.size(), 5U);
    EXPECT_THAT(table[1], HasSubstr(" none       -  "));
    EXPECT_THAT(table[2], HasSubstr("    0:06    50.000    steady    23"));
    EXPECT_THAT(table[2], HasSubstr("in/b.wav, channel 2 silent"));
    EXPECT_THAT(table[3], HasSubstr("failed"));
    const auto brief = linesOf(detect({"-q"}).output);
    ASSERT_EQ(brief.size(), 2U);
    EXPECT_THAT(brief[0], HasSubstr("in/b.wav: hum at 50.000 Hz"));
    EXPECT_THAT(brief[1], HasSubstr("in/d.wav: no hum"));
    const RunResult csv = detect({"--csv", "--mains", "50"});
    const auto rows = linesOf(csv.output);
    ASSERT_EQ(rows.size(), 4U);
    const auto numCells = [](const std::string& row) { return std::ranges::count(row, ','); };
    for (const std::string& row : rows)
        EXPECT_EQ(numCells(row), numCells(rows[0])) << row;
    EXPECT_THAT(rows[0], HasSubstr("loudness,loudnessRange,truePeak,clippedCount"));
    const std::string single = runKalim({"detect", path("in/d.wav")}).output;
    EXPECT_THAT(single, HasSubstr("d.wav: no hum\n  loudness "));
    EXPECT_THAT(single, HasSubstr("\n  channel 2 is silent\n"));
    const RunResult twice = detect({"--csv", "--json"});
    EXPECT_EQ(twice.exitCode, 2);
    EXPECT_THAT(twice.errors, HasSubstr("only one of them"));
}

} // namespace kalim::test
