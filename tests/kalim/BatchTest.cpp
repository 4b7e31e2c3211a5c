#include "kalim/Options.h"
#include "kalim/batch/BatchPlan.h"
#include "kalim/batch/JobPool.h"
#include "tests/audiofile/ScratchFolder.h"
#include "tests/kalim/RunningProgram.h"

#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdlib>
#include <map>
#include <set>

namespace kalim::test
{
namespace
{

using program::BatchRequest;
using program::JobPool;
using program::planBatch;
using Json = nlohmann::json;

class Batch : public ScratchFolder
{
protected:
    /// A second of a tone whose pitch tells the files apart.
    void writeTone(const std::string& name, int number) const
    {
        std::filesystem::create_directories(path(name).parent_path());
        std::vector<float> samples(8000);
        for (std::size_t n = 0; n < samples.size(); ++n)
            samples[n] = 0.5F * static_cast<float>(
                                    std::sin(0.01 * (number + 10.0) * static_cast<double>(n)));
        const auto file =
            openLibraryFile(path(name), SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 8000);
        sf_write_float(file.get(), samples.data(), 8000);
    }

    RunResult clean(std::vector<std::string> options = {}, int signalNumber = 0,
                    int milliseconds = 0) const
    {
        options.insert(options.end(), {path("in"), "--output-dir", path("out"), "-r", "-n1"});
        return runKalim(options, {KALIM_PROGRAM}, signalNumber, milliseconds);
    }

    std::map<std::string, Json> cleanAndReport(std::vector<std::string> options, int exitCode) const
    {
        options.insert(options.end(), {"--json", "-q"});
        const RunResult run = clean(options);
        EXPECT_EQ(run.exitCode, exitCode) << run.errors;
        std::map<std::string, Json> rows;
        for (const Json& row : Json::parse(run.output))
            rows[std::filesystem::path(row["input"].get<std::string>()).filename()] = row;
        return rows;
    }

    std::set<std::string> filesBelow(const std::string& name) const
    {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path(name)))
            if (entry.is_regular_file())
                files.insert(entry.path().lexically_relative(path(name)));
        return files;
    }
};

} // namespace

TEST_F(Batch, keepsTreesAndRefusesOutputsThatMeet)
{
    for (const char* const name : {"in/a.wav", "in/b/a.WAV", "in/b/c/d.flac", "in/.hidden.wav",
                                   "in/notes.txt", "other/a.wav"})
    {
        std::filesystem::create_directories(path(name).parent_path());
        writeText(name, "x");
    }
    std::filesystem::create_directory_symlink(path("in"), path("in/b/loop"));
    const auto outputsOf = [&](const BatchRequest& request)
    {
        std::vector<std::string> outputs;
        for (const auto& item : planBatch(request).items)
            outputs.push_back(item.output.lexically_relative(path("out")));
        return outputs;
    };
    BatchRequest request{{path("in")}, path("out"), "", false, "", ""};
    EXPECT_THAT(outputsOf(request), ElementsAre("a.wav"));
    EXPECT_EQ(planBatch(request).numLeftOut, 2);
    request.isRecursive = true;
    EXPECT_THAT(outputsOf(request), ElementsAre("a.wav", "b/a.WAV", "b/c/d.flac"));
    request.suffix = "-clean";
    request.extension = "wav";
    EXPECT_THAT(outputsOf(request), ElementsAre("a-clean.wav", "b/a-clean.wav", "b/c/d-clean.wav"));
    request.inputs.push_back(path("other/a.wav"));
    EXPECT_THAT(messageOf<program::UsageError>([&] { planBatch(request); }),
                HasSubstr("would both become"));
    EXPECT_THAT(messageOf<program::UsageError>(
                    [&] {
                        planBatch({{path("other/a.wav")}, path("other"), "", false, "", ""});
                    }),
                HasSubstr("would replace itself"));
    // What was written before is no input.
    EXPECT_THAT(outputsOf({{path("in")}, path("in/b"), "", true, "", ""}),
                ElementsAre("../in/b/a.wav"));
    // Below a base files and folders stay where they are.
    request = {{path("in/a.wav"), path("in/b/c")}, path("out"), path("in/"), false, "", ""};
    EXPECT_THAT(outputsOf(request), ElementsAre("a.wav", "b/c/d.flac"));
    request.base = path("in/b");
    EXPECT_THAT(messageOf<program::UsageError>([&] { planBatch(request); }),
                HasSubstr("a.wav: is not below"));
}

TEST_F(Batch, namesWhatFailsGoesOnAndDoesAgainOnlyWhatIsMissingOrChanged)
{
    for (int i = 0; i < 4; ++i)
        writeTone("in/folder/" + std::to_string(i) + ".wav", i);
    writeText("in/bad.wav", "no sound");
    auto rows = cleanAndReport({"--jobs", "2"}, 1);
    ASSERT_EQ(rows.size(), 5U);
    EXPECT_EQ(rows["bad.wav"]["status"], "failed");
    EXPECT_THAT(rows["bad.wav"]["error"], HasSubstr("bad.wav: "));
    EXPECT_EQ(rows["2.wav"]["status"], "done");
    EXPECT_EQ(rows["2.wav"]["seconds"], 1.0);
    EXPECT_THAT(filesBelow("out"), ElementsAre(".kalim-journal.jsonl", "folder/0.wav",
                                               "folder/1.wav", "folder/2.wav", "folder/3.wav"));
    const auto timeOf = [&](const char* name)
    { return std::filesystem::last_write_time(path(name)); };
    const auto untouched = timeOf("out/folder/0.wav");
    const auto changed = timeOf("out/folder/1.wav");
    writeTone("in/folder/1.wav", 7);
    std::filesystem::remove(path("out/folder/2.wav"));
    std::filesystem::remove(path("in/bad.wav"));
    rows = cleanAndReport({"--report", path("report.csv")}, 0);
    EXPECT_EQ(timeOf("out/folder/0.wav"), untouched);
    EXPECT_NE(timeOf("out/folder/1.wav"), changed);
    EXPECT_TRUE(std::filesystem::exists(path("out/folder/2.wav")));
    EXPECT_THAT(contentsOf(path("report.csv")), HasSubstr("/3.wav,"));
    // Other settings, another result. A file of somebody else's stays.
    EXPECT_EQ(cleanAndReport({"--residual"}, 0).size(), 4U);
    EXPECT_NE(timeOf("out/folder/0.wav"), untouched);
    writeText("out/folder/3.wav", "mine");
    EXPECT_THAT(cleanAndReport({"--residual"}, 1)["3.wav"]["error"], HasSubstr("exists"));
    EXPECT_EQ(contentsOf(path("out/folder/3.wav")), "mine");
}

TEST_F(Batch, takesPartsFromListsWithJournalsOfTheirOwn)
{
    writeTone("in/x/a\nb.wav", 1);
    writeTone("in/c.wav", 2);
    writeTone("in/d\xe4.wav", 3);
    writeText("1", path("in/x/a\nb.wav").native() + '\0' + path("in/c.wav").native() + '\0');
    writeText("2", path("in/d\xe4.wav").native() + "\n\n");
    const auto cleanPart = [&](const std::string& part)
    {
        return runKalim({"--files-from", path(part), "--base", path("in"), "--output-dir",
                         path("out"), "--journal", path("journals/" + part), "--report",
                         path(part + ".csv"), "--report", path(part + ".json"), "-n1"});
    };
    for (const char* const cleaned : {"cleaned, 0 done before", "0 cleaned"})
    {
        EXPECT_THAT(cleanPart("1").output, HasSubstr(cleaned));
        EXPECT_THAT(cleanPart("2").output, HasSubstr(cleaned));
    }
    EXPECT_THAT(filesBelow("out"), ElementsAre("c.wav", "d\xe4.wav", "x/a\nb.wav"));
    EXPECT_THAT(contentsOf(path("1.csv")), HasSubstr("/c.wav,"));
    EXPECT_EQ(Json::parse(contentsOf(path("2.json"))).size(), 1U);
    EXPECT_THAT(cleanPart("none").errors, HasSubstr("none: No such file"));
    EXPECT_THAT(clean({"--report", path("out.txt")}).errors, HasSubstr("must end in"));
}

TEST_F(Batch, goesOnWhereItWasKilledAndLeavesNoHalfFiles)
{
    constexpr int numFiles = 40;
    for (int i = 0; i < numFiles; ++i)
        writeTone("in/" + std::to_string(i) + ".wav", i);
    for (const int milliseconds : {30, 60, 90})
        clean({"--jobs", "2"}, SIGKILL, milliseconds);
    RunResult run;
    // Until the processes of the last one are gone.
    do
        run = clean();
    while (run.errors.find("another run") != std::string::npos);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("40 files"));
    EXPECT_EQ(filesBelow("out").size(), numFiles + 1U);
    for (int i = 0; i < numFiles; ++i)
    {
        const auto name = path("out/" + std::to_string(i) + ".wav");
        EXPECT_EQ(std::filesystem::file_size(name), std::filesystem::file_size(path("in/0.wav")));
    }
    EXPECT_THAT(clean().output, HasSubstr("0 cleaned, 40 done before"));
}

TEST(JobPool, tellsOfProcessesThatCrashAndGoesOn)
{
    std::set<std::string> told;
    {
        JobPool pool(3);
        for (const int number : {0, 1, 2, 3, 4, 5})
            pool.start(
                [number]
                {
                    if (number == 2)
                        raise(SIGKILL);
                    if (number == 4)
                        _exit(0);
                    return std::string(100000, static_cast<char>('a' + number));
                },
                [&told](const std::string& result, const std::string& failure)
                { told.insert(failure.empty() ? result.substr(0, 1) : failure); });
        pool.finish();
    }
    EXPECT_THAT(told, ElementsAre("", "a", "b", "d", "f", HasSubstr("signal 9")));
}

} // namespace kalim::test
