#include "kalim/streams/StreamOptions.h"

#include "kalim/Options.h"

#include <CLI/App.hpp>

#include <stdexcept>
#include <string_view>

namespace kalim::program
{
namespace
{

constexpr std::string_view rawWord = "raw";

bool asksForRaw(std::string_view format)
{
    return format.starts_with(rawWord) &&
           (format.size() == rawWord.size() || format[rawWord.size()] == ':');
}

} // namespace

void StreamOptionTexts::add(CLI::App& app, const std::string& group)
{
    app.add_option(
           "--raw", raw,
           "The input has no header and is this, such as 48000:2:s16le; FORMAT is s8, u8, or "
           "s16, s24, s32, f32 or f64 with le or be")
        ->type_name("RATE:CHANNELS:FORMAT")
        ->group(group);
}

StreamOptions StreamOptionTexts::parse(const std::string& format, FormatRequest& request) const
{
    StreamOptions options;
    if (!raw.empty())
        options.rawInput = withUsageError<std::invalid_argument>("--raw: ", [this]
                                                                 { return parseRawFormat(raw); });
    options.isRawOutput = asksForRaw(format);
    if (!options.isRawOutput)
    {
        if (!format.empty())
            request = withUsageError<std::invalid_argument>("--format: ", [&]
                                                            { return parseFormatRequest(format); });
        return options;
    }
    if (format.size() > rawWord.size())
        options.rawOutput = withUsageError<std::invalid_argument>(
            "--format: ", [&] { return parseRawSamples(format.substr(rawWord.size() + 1)); });
    else if (options.rawInput)
        options.rawOutput = options.rawInput->samples;
    request.container = ContainerName::wav;
    if (options.rawOutput)
        request.samples = options.rawOutput->format;
    return options;
}

} // namespace kalim::program
