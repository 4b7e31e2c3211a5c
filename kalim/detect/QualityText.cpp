#include "kalim/detect/QualityText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <cstdint>
#include <optional>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;

std::string valueText(const std::optional<double>& value, const char* unit)
{
    return value ? fmt::format("{:.1f} {}", *value, unit) : "unknown";
}

std::string lengthText(double seconds)
{
    return seconds < 1.0 ? fmt::format("{:.1f} ms", 1000.0 * seconds)
                         : fmt::format("{:.1f} s", seconds);
}

std::string stretchesToText(const Stretches& stretches, const char* what, double sampleRate)
{
    if (stretches.count == 0)
        return "";
    return fmt::format("  {}: {} stretch{}, the longest {}, the first at {:.1f} s\n", what,
                       stretches.count, stretches.count == 1 ? "" : "es",
                       lengthText(static_cast<double>(stretches.longest) / sampleRate),
                       static_cast<double>(stretches.first) / sampleRate);
}

std::vector<int> fromOne(std::vector<int> channels)
{
    for (int& channel : channels)
        ++channel;
    return channels;
}

Json rounded(const std::optional<double>& value)
{
    return value ? Json(std::round(100.0 * *value) / 100.0) : Json();
}

Json stretchesToJson(const Stretches& stretches, double sampleRate)
{
    return {{"count", stretches.count},
            {"longest", static_cast<double>(stretches.longest) / sampleRate},
            {"first", stretches.count == 0
                          ? Json()
                          : Json(static_cast<double>(stretches.first) / sampleRate)}};
}

} // namespace

std::string qualityToText(const Quality& quality)
{
    std::string text = quality.truePeak ? fmt::format("  loudness {}, range {}, true peak {}\n",
                                                      valueText(quality.loudness, "LUFS"),
                                                      valueText(quality.loudnessRange, "LU"),
                                                      valueText(quality.truePeak, "dBTP"))
                                        : "";
    if (quality.removable)
        text +=
            fmt::format("  precise removal takes off hum that is {:.1f} dB {} the rest\n",
                        std::abs(*quality.removable), *quality.removable < 0.0 ? "below" : "above");
    text += stretchesToText(quality.clipped, "clipped", quality.sampleRate);
    text += stretchesToText(quality.droppedOut, "dropped out", quality.sampleRate);
    for (const int channel : fromOne(quality.silentChannels))
        text += fmt::format("  channel {} is silent\n", channel);
    for (const auto& group : quality.equalChannels)
        text += fmt::format("  channels {} are equal\n", fmt::join(fromOne(group), ", "));
    return text;
}

Json qualityToJson(const Quality& quality)
{
    Json equal = Json::array();
    for (const auto& group : quality.equalChannels)
        equal.push_back(fromOne(group));
    return {{"sampleRate", static_cast<std::int64_t>(quality.sampleRate)},
            {"channels", quality.channels},
            {"seconds", quality.getSeconds()},
            {"loudness", rounded(quality.loudness)},
            {"loudnessRange", rounded(quality.loudnessRange)},
            {"truePeak", rounded(quality.truePeak)},
            {"removable", rounded(quality.removable)},
            {"clipped", stretchesToJson(quality.clipped, quality.sampleRate)},
            {"droppedOut", stretchesToJson(quality.droppedOut, quality.sampleRate)},
            {"silentChannels", fromOne(quality.silentChannels)},
            {"equalChannels", std::move(equal)}};
}

} // namespace kalim::program
