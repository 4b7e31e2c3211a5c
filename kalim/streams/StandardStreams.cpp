#include "kalim/streams/StandardStreams.h"

#include "audiofile/AudioFileReader.h"
#include "base/FileError.h"
#include "kalim/Cleaning.h"
#include "kalim/streams/OutputSpool.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace kalim::program
{
namespace
{

constexpr const char* outputName = "standard output";

bool takesStreams(const Options& options)
{
    return isStream(options.input) || isStream(options.output) || options.streams.rawInput;
}

/// A run between files that stand for the streams.
class StreamRun
{
public:
    explicit StreamRun(const Options& options)
        : given(options)
        , own(options)
    {
    }

    Report run()
    {
        if (isStream(given.output))
            openOutput();
        input = keepInput(given.input, given.streams.rawInput, given.salvages);
        if (input)
        {
            own.input = input->getPath();
            own.inputName = nameOfInput(given.input);
        }
        try
        {
            return finish(clean(own));
        }
        catch (const UsageError& error)
        {
            throw UsageError(told(error.what()));
        }
        catch (const FileError& error)
        {
            throw FileError({}, told(error.what()));
        }
    }

private:
    void openOutput()
    {
        if (isatty(STDOUT_FILENO) == 1)
            throw UsageError("standard output is a terminal, which shows no sound; send it to a "
                             "file or program");
        // A reader that goes away is told of in a line, as other failures are.
        signal(SIGPIPE, SIG_IGN);
        output.emplace(extensionOf(given.format.container.value_or(ContainerName::wav)));
        own.output = output->getPath();
        // Beside the spool there may be files that are not to be replaced.
        for (const auto& other : {given.trace, given.plot})
            if (other)
                requireNew(*other);
        std::ranges::for_each(given.speedReports, [this](const auto& file) { requireNew(file); });
        own.overwrites = true;
        own.overwritesAnything = true;
    }

    void requireNew(const std::filesystem::path& file) const
    {
        if (!given.overwrites && std::filesystem::exists(file))
            throw FileError(file, "already exists");
    }

    Report finish(Report report)
    {
        for (std::string& warning : report.warnings)
            warning = told(std::move(warning));
        if (given.streams.rawInput)
            report.inputFormat = "raw " + std::string(given.streams.rawInput->samples.name);
        if (!output)
            return report;
        report.output = outputName;
        const auto raw = chooseRawSamples();
        if (raw)
            report.outputFormat = "raw " + std::string(raw->name);
        output->send(STDOUT_FILENO, outputName, raw);
        return report;
    }

    std::optional<RawSamples> chooseRawSamples() const
    {
        if (!given.streams.isRawOutput || given.streams.rawOutput)
            return given.streams.rawOutput;
        const AudioFileFormat format = AudioFileReader(output->getPath()).getFormat();
        const auto raw = rawSamplesOf(format.getSampleFormat());
        if (!raw)
            throw UsageError("--format: raw samples cannot be " + format.getSamplesName() +
                             "; choose others, such as raw:s16le");
        return raw;
    }

    /// The text as the user knows the files.
    std::string told(std::string text) const
    {
        if (input)
            text = renamed(std::move(text), own.input, nameOfInput(given.input));
        if (output)
            text = renamed(std::move(text), own.output, outputName);
        return text;
    }

    const Options& given;
    Options own;
    std::unique_ptr<InputSpool> input;
    std::optional<OutputSpool> output;
};

} // namespace

bool isStream(const std::filesystem::path& name)
{
    return name == streamName;
}

void requireFittingStreams(const Options& options)
{
    if (options.batch)
    {
        if (options.streams.rawInput || options.streams.isRawOutput)
            throw UsageError("--raw, --format raw: cannot be given together with --output-dir");
        return;
    }
    if (options.streams.isRawOutput && !isStream(options.output))
        throw UsageError("--format: raw is for OUTPUT - alone");
    if (options.provenance && takesStreams(options))
        throw UsageError("--provenance: tells of files, and not of streams or raw samples");
    if (options.reportsJson && isStream(options.output))
        throw UsageError("--json: the report would go to standard output, where the sound goes");
}

Report cleanAnything(const Options& options)
{
    if (takesStreams(options))
        return StreamRun(options).run();
    return clean(options);
}

std::unique_ptr<InputSpool> keepInput(const std::filesystem::path& input,
                                      const std::optional<RawFormat>& raw, bool mayBeCut)
{
    if (isStream(input) && isatty(STDIN_FILENO) == 1)
        throw UsageError("standard input is a terminal, from which no sound comes");
    if (isStream(input))
        return std::make_unique<InputSpool>(STDIN_FILENO, nameOfInput(input), raw, mayBeCut);
    if (!raw)
        return nullptr;
    const FileDescriptor file(open(input.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen())
        throw FileError(input, errno);
    return std::make_unique<InputSpool>(file.get(), nameOfInput(input), raw, mayBeCut);
}

std::string nameOfInput(const std::filesystem::path& input)
{
    return isStream(input) ? "standard input" : printable(input);
}

std::string renamed(std::string text, const std::filesystem::path& file, const std::string& name)
{
    const std::string from = printable(file);
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + name.size()))
        text.replace(at, from.size(), name);
    return text;
}

} // namespace kalim::program
