#include "kalim/report/Report.h"

#include "dsp/hum/Kalimmer.h"
#include "kalim/Version.h"
#include "base/FileError.h"
#include "kalim/report/SpectrumMeter.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <iterator>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;
using orvo::audio::Kalimmer;

/// Lines below this are none that anybody hears, and their change means nothing.
constexpr double faintest = -120.0;

bool isSilent(double level)
{
    return level <= SpectrumMeter::floorDb;
}

Json levelOrNull(double level)
{
    return isSilent(level) ? Json() : Json(level);
}

std::string levelText(double level)
{
    return isSilent(level) ? "silent" : fmt::format("{:.1f} dB", level);
}

std::string changeText(const HarmonicLevels& harmonic)
{
    if (harmonic.before < faintest || isSilent(harmonic.after))
        return "";
    return fmt::format("{:+.1f} dB", harmonic.after - harmonic.before);
}

std::string channelText(int channels)
{
    switch (channels)
    {
    case 1:
        return "mono";
    case 2:
        return "stereo";
    default:
        return fmt::format("{} channels", channels);
    }
}

std::string harmonicTable(const std::vector<HarmonicLevels>& harmonics, bool isResidual)
{
    std::string text =
        fmt::format("  {:>8}  {:>10}  {:>10}  {:>10}  {:>9}\n", "harmonic", "frequency", "before",
                    isResidual ? "removed" : "after", isResidual ? "" : "change");
    for (const HarmonicLevels& harmonic : harmonics)
        fmt::format_to(std::back_inserter(text), "  {:>8}  {:>10}  {:>10}  {:>10}  {:>9}\n",
                       harmonic.number, fmt::format("{:.1f} Hz", harmonic.frequency),
                       levelText(harmonic.before), levelText(harmonic.after),
                       isResidual ? "" : changeText(harmonic));
    return text;
}

std::string speedText(double timesRealTime)
{
    return timesRealTime < 10.0 ? fmt::format("{:.2g}", timesRealTime)
                                : fmt::format("{:.0f}", timesRealTime);
}

/// "1 sample was", "2 samples were"
std::string countText(std::int64_t count)
{
    return count == 1 ? "1 sample was" : fmt::format("{} samples were", count);
}

Json settingsToJson(const HumSettings& settings)
{
    return {{"fundamental", settings.get(Kalimmer::FundamentalFrequency)},
            {"sensitivity", settings.get(Kalimmer::Sensitivity)},
            {"adaptivity", settings.get(Kalimmer::Adaptivity)},
            {"harmonics", static_cast<int>(settings.get(Kalimmer::NumberOfHarmonics))},
            {"odd", settings.isOn(Kalimmer::OnlyOddHarmonics)},
            {"aggressive", settings.isOn(Kalimmer::AggressiveMode)},
            {"residual", settings.isOn(Kalimmer::ResidualMode)}};
}

Json harmonicsToJson(const std::vector<HarmonicLevels>& harmonics)
{
    Json list = Json::array();
    for (const HarmonicLevels& harmonic : harmonics)
        list.push_back({{"number", harmonic.number},
                        {"frequency", std::round(harmonic.frequency * 1000.0) / 1000.0},
                        {"before", levelOrNull(harmonic.before)},
                        {"after", levelOrNull(harmonic.after)}});
    return list;
}

} // namespace

double Report::getSeconds() const
{
    return sampleRate > 0 ? static_cast<double>(samples) / sampleRate : 0.0;
}

std::string Report::toText() const
{
    std::string text = fmt::format(
        "{} -> {}\n"
        "  {:.2f} s, {}, {:g} kHz, {}; {} times faster than real time\n"
        "  fundamental: start {:.2f} Hz, end {:.2f} Hz, lowest {:.2f} Hz, highest {:.2f} Hz\n",
        input, output, getSeconds(), channelText(channels), sampleRate / 1000.0, outputFormat,
        speedText(timesRealTime), fundamentalAtStart, fundamentalAtEnd, lowestFundamental,
        highestFundamental);
    const auto append = std::back_inserter(text);
    if (preset)
        fmt::format_to(append, "  preset: {} ({})\n", printable(preset->name),
                       printable(preset->file));
    if (measured && !harmonics.empty())
        fmt::format_to(append, "  levels from {:g} s to {:g} s:\n", measured->start, measured->end);
    if (harmonics.empty() && settings.get(Kalimmer::NumberOfHarmonics) > 0.0F)
        text += "  too short to measure the levels of the harmonics\n";
    if (!harmonics.empty())
        text += harmonicTable(harmonics, settings.isOn(Kalimmer::ResidualMode));
    if (nonFiniteSamples > 0)
        fmt::format_to(append, "  {} no number and became silence\n", countText(nonFiniteSamples));
    if (clippedSamples > 0)
        fmt::format_to(append, "  {} louder than the format holds and limited\n",
                       countText(clippedSamples));
    return text;
}

std::string Report::toJson() const
{
    Json json = {{"program", "kalim"},
                 {"version", version},
                 {"input", input},
                 {"output", output},
                 {"inputFormat", inputFormat},
                 {"outputFormat", outputFormat},
                 {"sampleRate", sampleRate},
                 {"channels", channels},
                 {"samples", samples},
                 {"seconds", getSeconds()},
                 {"blockSize", blockSize},
                 {"timesRealTime", timesRealTime},
                 {"settings", settingsToJson(settings)},
                 {"fundamental",
                  {{"start", fundamentalAtStart},
                   {"end", fundamentalAtEnd},
                   {"min", lowestFundamental},
                   {"max", highestFundamental}}}};
    if (preset)
        json["preset"] = {{"name", preset->name}, {"file", preset->file.native()}};
    if (measured)
        json["measured"] = {{"start", measured->start}, {"end", measured->end}};
    json["harmonics"] = harmonicsToJson(harmonics);
    json["nonFiniteSamples"] = nonFiniteSamples;
    json["clippedSamples"] = clippedSamples;
    json["warnings"] = warnings;
    // File names need not be text; what is no UTF-8 in them is replaced.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace kalim::program
