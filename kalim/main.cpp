#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Detection.h"
#include "kalim/Options.h"
#include "kalim/batch/Batch.h"
#include "kalim/streams/StandardStreams.h"
#include "presets/PresetCatalogue.h"

#include <fmt/format.h>

#include <signal.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr int couldNotProcess = 1;
constexpr int wrongUsage = 2;

/// Channels of a stretch come from the system and go back at once, in bytes. The C library would
/// keep them among what the analysing threads gave back, and memory would grow to twice what is
/// used.
constexpr int largeBlock = 1 << 20;
constexpr int mostKept = 1 << 22;

/// Before threads are started: what they give back is shared then, and not kept for each.
void giveMemoryBack()
{
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, largeBlock);
    mallopt(M_TRIM_THRESHOLD, mostKept);
#endif
}

void say(const std::string& message)
{
    constexpr std::size_t mostBytes = 5000; // a path may have 4096
    fmt::print(stderr, "kalim: {}\n", kalim::shortened(message, mostBytes));
}

void showPresets(bool asJson)
{
    using namespace kalim;
    using namespace kalim::program;
    const PresetFolders folders = findPresetFolders();
    const std::vector<Preset> presets = listPresets(folders);
    fmt::print("{}", asJson ? presetsToJson(presets, folders) : presetsToText(presets, folders));
}

/// Gives the exit code; throws what went wrong.
int cleanOrList(int argc, char** argv)
{
    using namespace kalim;
    using namespace kalim::program;
    const auto options = parseOptions(argc, argv);
    if (!options)
        return 0;
    if (options->listsPresets)
    {
        showPresets(options->reportsJson);
        return 0;
    }
    if (options->batch)
        return runBatch(*options);
    const Report report = cleanAnything(*options);
    // That something is missing is an error, not a remark.
    if (!options->isQuiet || report.isSalvaged)
        for (const std::string& warning : report.warnings)
            say(fmt::format("warning: {}", warning));
    if (options->reportsJson)
        fmt::print("{}", report.toJson());
    else if (!options->isQuiet)
        fmt::print(isStream(options->output) ? stderr : stdout, "{}", report.toText());
    return report.isSalvaged ? couldNotProcess : 0;
}

/// Gives the exit code; throws what went wrong.
int runProgram(int argc, char** argv)
{
    if (argc > 1 && std::string_view(argv[1]) == "detect")
        return kalim::program::runDetection(argc - 1, argv + 1);
    return cleanOrList(argc, argv);
}

/// A report that did not arrive is a failure, for a script may wait for it.
void finishOutput()
{
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout)
        throw std::runtime_error("standard output: cannot be written");
}

} // namespace

int main(int argc, char** argv)
{
    giveMemoryBack();
    kalim::TemporaryFileRegistry::installSignalHandlers();
    // A file that reaches the allowed size is reported like a full disk.
    signal(SIGXFSZ, SIG_IGN);
    try
    {
        const int exitCode = runProgram(argc, argv);
        finishOutput();
        return exitCode;
    }
    catch (const kalim::program::UsageError& error)
    {
        say(error.what());
        return wrongUsage;
    }
    catch (const std::bad_alloc&)
    {
        say("not enough memory");
    }
    catch (const std::exception& error)
    {
        say(error.what());
    }
    return couldNotProcess;
}
