#include "kalim/detect/DetectionRun.h"

#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/batch/BatchProgress.h"
#include "kalim/batch/InputList.h"
#include "kalim/batch/JobPool.h"
#include "kalim/report/ProgressBar.h"
#include "kalim/streams/StandardStreams.h"

#include <fmt/format.h>

#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace kalim::program
{
namespace
{

/// Inputs that are read from a copy.
class KeptInputs
{
public:
    /// Puts the copies in the place of the inputs.
    void keep(DetectionOptions& options)
    {
        for (std::filesystem::path& input : options.inputs)
            if (auto spool = keepInput(input, options.raw, true))
            {
                names.emplace(spool->getPath(), nameOfInput(input));
                input = spool->getPath();
                spools.push_back(std::move(spool));
            }
    }

    /// Calls a file what the user calls it.
    FileFindings named(FileFindings findings) const
    {
        const auto found = names.find(findings.row["file"].get<std::string>());
        if (found == names.end())
            return findings;
        const auto& [file, name] = *found;
        findings.row["file"] = name;
        if (findings.row.contains("error"))
            findings.row["error"] = renamed(findings.row["error"], file, name);
        findings.text = renamed(findings.text, file, name);
        for (std::string& problem : findings.problems)
            problem = renamed(problem, file, name);
        return findings;
    }

private:
    std::vector<std::unique_ptr<InputSpool>> spools;
    std::map<std::string, std::string> names; // by the paths of the copies
};

std::uintmax_t totalSize(const InputList& inputs)
{
    std::uintmax_t bytes = 0;
    for (const InputFile& file : inputs.files)
        bytes += file.size;
    return bytes;
}

/// Looks at all files, and shows them in their order.
class DetectionRun
{
public:
    DetectionRun(const DetectionOptions& given, const InputList& listed, const KeptInputs& copies)
        : options(given)
        , inputs(listed)
        , kept(copies)
        , output(given.style)
        , progress(listed.files.size(), totalSize(listed),
                   given.isQuiet || listed.files.size() == 1)
    {
    }

    /// Gives how many files failed.
    int run()
    {
        progress.write(output.begin());
        if (inputs.files.size() == 1)
            add(0, lookAtOnly(inputs.files.front().path));
        else
            lookAtAll();
        progress.write(output.end());
        progress.erase();
        if (!options.isQuiet && options.style == DetectionStyle::table)
            tellEnd();
        return progress.getNumFailed();
    }

private:
    FileFindings lookAtOnly(const std::filesystem::path& file) const
    {
        std::optional<ProgressBar> bar;
        if (!options.isQuiet)
            bar.emplace(stderr);
        return lookAt(file, options.request,
                      [&bar](double share)
                      {
                          if (bar)
                              bar->update(share);
                      });
    }

    void lookAtAll()
    {
        JobPool pool(options.numJobs);
        for (std::size_t i = 0; i < inputs.files.size(); ++i)
        {
            const std::filesystem::path& file = inputs.files[i].path;
            pool.start([&] { return lookAtOne(file); },
                       [this, i, &file](const std::string& result, const std::string& failure)
                       {
                           add(i, failure.empty()
                                      ? unpack(result)
                                      : makeFailure(
                                            file, fmt::format("{}: {}", printable(file), failure)));
                       });
        }
        pool.finish();
    }

    /// In a process of its own, which keeps one core busy.
    std::string lookAtOne(const std::filesystem::path& file) const
    {
        DetectionRequest request = options.request;
        request.settings.usesThreads = false;
        try
        {
            return pack(lookAt(file, request, [](double) {}));
        }
        catch (const std::bad_alloc&)
        {
            return pack(makeFailure(file, printable(file) + ": not enough memory"));
        }
        catch (const std::exception& error)
        {
            return pack(makeFailure(file, fmt::format("{}: {}", printable(file), error.what())));
        }
    }

    /// Files end in any order; those that come too early wait.
    void add(std::size_t index, FileFindings findings)
    {
        waiting.emplace(index, kept.named(std::move(findings)));
        for (auto found = waiting.find(numShown); found != waiting.end();
             found = waiting.find(numShown))
        {
            show(inputs.files[numShown], found->second);
            waiting.erase(found);
            ++numShown;
        }
    }

    void show(const InputFile& file, const FileFindings& findings)
    {
        progress.write(output.show(findings));
        if (!findings.problems.empty())
            progress.addFailed(file.size, fmt::format("{}", fmt::join(findings.problems, "; ")));
        else
            progress.addDone(file.size, secondsOf(findings),
                             options.style == DetectionStyle::json && inputs.files.size() > 1
                                 ? printable(file.path)
                                 : "");
    }

    static double secondsOf(const FileFindings& findings)
    {
        const auto quality = findings.row.find("quality");
        return quality == findings.row.end() ? 0.0 : (*quality)["seconds"].get<double>();
    }

    void tellEnd() const
    {
        fmt::print(stderr, "{}: {} looked at, {} failed{}; {}\n",
                   counted(static_cast<std::ptrdiff_t>(inputs.files.size()), "file"),
                   progress.getNumDone(), progress.getNumFailed(),
                   inputs.numLeftOut > 0
                       ? fmt::format(", {} other files left alone", inputs.numLeftOut)
                       : "",
                   progress.describeSpeed());
    }

    const DetectionOptions& options;
    const InputList& inputs;
    const KeptInputs& kept;
    DetectionOutput output;
    BatchProgress progress;
    std::map<std::size_t, FileFindings> waiting;
    std::size_t numShown = 0;
};

} // namespace

int lookAtInputs(DetectionOptions options)
{
    KeptInputs kept;
    kept.keep(options);
    const InputList inputs = listInputs(options.inputs, options.isRecursive);
    for (const std::string& problem : inputs.problems)
        fmt::print(stderr, "kalim: {}\n", problem);
    const int numFailed = DetectionRun(options, inputs, kept).run();
    return numFailed > 0 || !inputs.problems.empty() ? 1 : 0;
}

} // namespace kalim::program
