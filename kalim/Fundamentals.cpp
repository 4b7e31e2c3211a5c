#include "kalim/Fundamentals.h"

#include <fmt/format.h>

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace kalim::program
{
namespace
{

/// From railway mains to aircraft.
constexpr double lowest = 15.0;
constexpr double highest = 440.0;

/// Mains and tape speeds stay within 2.5 %.
constexpr double reach = 0.025;

double parseFrequency(const char* option, std::string_view text)
{
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !(value >= lowest && value <= highest))
        throw std::invalid_argument(fmt::format("{}: '{}' is not in the range {:g} to {:g} Hz",
                                                option, text, lowest, highest));
    return value;
}

} // namespace

void FundamentalChoice::applyTo(orvo::audio::precise::PreciseSettings& settings) const
{
    if (!mains.empty() && !range.empty())
        throw std::invalid_argument("--range: cannot be given together with --mains");
    if (!mains.empty() && mains != "auto")
    {
        const double fundamental = parseFrequency("--mains", mains);
        settings.ranges = {{(1.0 - reach) * fundamental, (1.0 + reach) * fundamental}};
        settings.distrustsOthers = false;
    }
    if (range.empty())
        return;
    const std::string_view text = range;
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        throw std::invalid_argument(fmt::format("--range: '{}' is no range such as 49:51", text));
    const double low = parseFrequency("--range", text.substr(0, colon));
    const double high = parseFrequency("--range", text.substr(colon + 1));
    if (!(low < high))
        throw std::invalid_argument(fmt::format("--range: '{}' does not rise", text));
    settings.ranges = {{low, high}};
    settings.distrustsOthers = false;
}

} // namespace kalim::program
