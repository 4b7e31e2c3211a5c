#include "kalim/PreciseOptions.h"

#include "base/Text.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace kalim::program
{
namespace
{

constexpr double lowestMains = orvo::audio::precise::possibleFundamentals.lowest;
constexpr double highestMains = orvo::audio::precise::possibleFundamentals.highest;

double parseNumber(const char* option, std::string_view given, std::string_view unit, double least,
                   double most)
{
    const std::string_view text = withoutUnit(given, unit);
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !(value >= least && value <= most))
        throw std::invalid_argument(
            fmt::format("{}: '{}' is not in the range {:g} to {:g}", option, given, least, most));
    return value;
}

orvo::audio::precise::FundamentalRange parseRange(std::string_view text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        throw std::invalid_argument(fmt::format("--range: '{}' is no range such as 49:51", text));
    const double low =
        parseNumber("--range", text.substr(0, colon), "Hz", lowestMains, highestMains);
    const double high =
        parseNumber("--range", text.substr(colon + 1), "Hz", lowestMains, highestMains);
    if (!(low < high))
        throw std::invalid_argument(fmt::format("--range: '{}' does not rise", text));
    return {low, high};
}

} // namespace

void PreciseOptions::addFundamental(CLI::App& app, const std::string& group)
{
    app.add_option("--mains", mains,
                   "50, 60 or another frequency in Hz near which the hum is, or auto (default)")
        ->type_name("HZ")
        ->group(group);
    app.add_option("--range", range, "Range in Hz in which the fundamental is, between 15 and 440")
        ->type_name("LO:HI")
        ->group(group);
}

void PreciseOptions::addRemoval(CLI::App& app, const std::string& group)
{
    app.add_option("--strength", strength,
                   "Precise: share of the hum to take off, 0 to 100 (default 100)")
        ->type_name("PERCENT")
        ->group(group);
    app.add_option("--learn", learn,
                   "Precise: take the shape of the hum from this part, in seconds, where nothing "
                   "else sounds (at most half a minute of it is heard)")
        ->type_name("START:END")
        ->group(group);
}

orvo::audio::precise::PreciseSettings PreciseOptions::parse() const
{
    orvo::audio::precise::PreciseSettings settings;
    if (!mains.empty() && !range.empty())
        throw std::invalid_argument("--range: cannot be given together with --mains");
    if (!strength.empty())
        settings.strength = parseNumber("--strength", strength, "%", 0.0, 100.0) / 100.0;
    if (!mains.empty() && mains != "auto")
    {
        const double fundamental = parseNumber("--mains", mains, "Hz", lowestMains, highestMains);
        settings.ranges = {orvo::audio::precise::getRangeAround(fundamental)};
        settings.distrustsOthers = false;
    }
    if (!range.empty())
    {
        settings.ranges = {parseRange(range)};
        settings.distrustsOthers = false;
    }
    return settings;
}

} // namespace kalim::program
