#include "kalim/batch/Batch.h"

#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Cleaning.h"
#include "kalim/batch/BatchProgress.h"
#include "kalim/batch/BatchReport.h"
#include "kalim/batch/JobPool.h"
#include "kalim/batch/Journal.h"
#include "kalim/report/Provenance.h"

#include <fmt/format.h>

#include <cstdio>
#include <new>
#include <optional>
#include <set>

namespace kalim::program
{
namespace
{

namespace status
{
constexpr const char* done = "done";
constexpr const char* failed = "failed";
constexpr const char* started = "started";

/// Cleaned, but not all of the input could be read.
constexpr const char* salvaged = "salvaged";
} // namespace status

/// Errors that name what was to be written only do not tell which input it is about.
std::string withName(const std::filesystem::path& input, const std::string& error)
{
    const std::string name = printable(input);
    return error.starts_with(name) ? error : fmt::format("{}: {}", name, error);
}

/// What a process hands over about its file, at which one core is busy.
std::string cleanOne(Options options, const BatchItem& item, BatchRow row)
{
    options.input = item.input;
    options.output = item.output;
    options.isQuiet = true;
    options.precise.usesThreads = false;
    if (options.provenance)
        options.provenance = provenanceOf(item.output);
    row["status"] = status::failed;
    try
    {
        std::filesystem::create_directories(item.output.parent_path());
        const Report report = clean(options);
        addReport(row, report);
        row["outputSize"] = std::filesystem::file_size(item.output);
        row["status"] = report.isSalvaged ? status::salvaged : status::done;
    }
    catch (const std::bad_alloc&)
    {
        row["error"] = printable(item.input) + ": not enough memory";
    }
    catch (const std::exception& error)
    {
        row["error"] = withName(item.input, error.what());
    }
    return row.dump(-1, ' ', false, BatchRow::error_handler_t::replace);
}

std::uintmax_t totalSize(const BatchPlan& plan)
{
    std::uintmax_t bytes = 0;
    for (const BatchItem& item : plan.items)
        bytes += item.size;
    return bytes;
}

std::string reasonOf(const BatchRow& row)
{
    if (row["status"] == status::salvaged)
        return fmt::format("{}: {}", row["input"].get<std::string>(),
                           fmt::join(row["warnings"].get<std::vector<std::string>>(), "; "));
    return row["error"].get<std::string>();
}

class BatchRun
{
public:
    BatchRun(const Options& given, const BatchPlan& planned)
        : options(given)
        , plan(planned)
        , journal(given.batch->journal)
        , progress(planned.items.size(), totalSize(planned), given.isQuiet)
    {
    }

    /// Gives how many files have failed.
    int run()
    {
        cleanAll();
        tellEnd();
        writeReports();
        return progress.getNumFailed();
    }

private:
    void cleanAll()
    {
        std::set<std::filesystem::path> folders;
        for (const BatchItem& item : plan.items)
            folders.insert(item.output.parent_path());
        for (const std::filesystem::path& folder : folders)
            OutputFile::removeAbandoned(folder);
        JobPool pool(options.batch->numJobs);
        for (const BatchItem& item : plan.items)
        {
            if (!options.batch->keepsGoing && progress.getNumFailed() > 0)
                break;
            if (journal.findFinished(item, options.batch->settings) != nullptr)
                progress.skip(item.size);
            else
                startOne(pool, item);
        }
        pool.finish();
    }

    void startOne(JobPool& pool, const BatchItem& item)
    {
        const bool mayWrite = !std::filesystem::exists(item.output) || isOurs(item);
        Options forOne = options;
        forOne.overwrites = options.overwrites || mayWrite;
        BatchRow row = makeRow(item, options.batch->settings);
        if (mayWrite)
        {
            row["status"] = status::started;
            journal.add(item, row);
        }
        pool.start([&] { return cleanOne(std::move(forOne), item, row); },
                   [this, item, row](const std::string& result, const std::string& failure)
                   { finishOne(item, row, result, failure); });
    }

    /// Whether the output is one that an earlier run has made, as it made it, or was making when it
    /// was killed.
    bool isOurs(const BatchItem& item) const
    {
        const Journal::Row* const row = journal.find(item);
        std::error_code error;
        const auto size = std::filesystem::file_size(item.output, error);
        return row != nullptr && !error &&
               (row->value("status", "") == status::started ||
                (row->contains("outputSize") && (*row)["outputSize"] == size));
    }

    void finishOne(const BatchItem& item, BatchRow row, const std::string& result,
                   const std::string& failure)
    {
        BatchRow told = BatchRow::parse(result, nullptr, false);
        if (failure.empty() && told.is_object())
            row = std::move(told);
        else
        {
            row["status"] = status::failed;
            row["error"] = fmt::format("{}: {}", printable(item.input), failure);
        }
        journal.add(item, row);
        tell(item, row);
    }

    void tell(const BatchItem& item, const BatchRow& row)
    {
        if (row["status"] != status::done)
        {
            progress.addFailed(item.size, reasonOf(row));
            return;
        }
        progress.addDone(item.size, row["seconds"].get<double>(), row["output"].get<std::string>());
        for (const auto& warning : row["warnings"])
            progress.warn(fmt::format("{}: warning: {}", row["input"].get<std::string>(),
                                      warning.get<std::string>()));
    }

    void tellEnd() const
    {
        if (progress.isQuiet())
            return;
        progress.erase();
        fmt::print("{}: {} cleaned, {} done before, {} failed{}; {}\n",
                   counted(static_cast<std::ptrdiff_t>(plan.items.size()), "file"),
                   progress.getNumDone(), progress.getNumSkipped(), progress.getNumFailed(),
                   plan.numLeftOut > 0 ? fmt::format(", {} other files left alone", plan.numLeftOut)
                                       : "",
                   progress.describeSpeed());
    }

    void writeReports() const
    {
        std::vector<BatchRow> rows;
        for (const BatchItem& item : plan.items)
            if (const Journal::Row* const row = journal.find(item))
            {
                rows.push_back(*row);
                rows.back().erase("key");
            }
        for (const std::filesystem::path& report : options.batch->reports)
            writeBatchReport(report, rows);
        if (options.reportsJson)
            fmt::print("{}", batchRowsToJson(rows));
    }

    const Options& options;
    const BatchPlan& plan;
    Journal journal;
    BatchProgress progress;
};

void showPlan(const BatchPlan& plan, const BatchOptions& options)
{
    std::optional<Journal> journal;
    std::error_code error;
    if (std::filesystem::exists(options.journal, error))
        journal.emplace(options.journal);
    for (const BatchItem& item : plan.items)
    {
        const bool isDone = journal && journal->findFinished(item, options.settings) != nullptr;
        fmt::print("{} -> {}{}\n", printable(item.input), printable(item.output),
                   isDone ? " (done)" : "");
    }
}

} // namespace

int runBatch(const Options& options)
{
    const BatchPlan plan = planBatch(options.batch->request);
    for (const std::string& problem : plan.problems)
        fmt::print(stderr, "kalim: {}\n", problem);
    if (options.batch->isDryRun)
        showPlan(plan, *options.batch);
    const bool hasFailed = !options.batch->isDryRun && BatchRun(options, plan).run() > 0;
    return hasFailed || !plan.problems.empty() ? 1 : 0;
}

} // namespace kalim::program
