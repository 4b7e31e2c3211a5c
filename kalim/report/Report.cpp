#include "kalim/report/Report.h"

#include "base/FileError.h"
#include "dsp/hum/Kalimmer.h"
#include "kalim/Version.h"
#include "kalim/report/HumText.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <iterator>
#include <string_view>
#include <utility>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;
using orvo::audio::Kalimmer;

/// Nobody hears lines below this level in dBFS, and their change means nothing.
constexpr double faintest = -120.0;

bool isSilent(double level)
{
    return level == SpectrumMeter::silence;
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

Json valueToJson(const orvo::audio::HumParameter& parameter, const HumSettings& settings)
{
    using Kind = orvo::audio::HumParameter::Kind;
    if (parameter.kind == Kind::toggle)
        return settings.isOn(parameter.id);
    const float value = settings.get(parameter.id);
    return parameter.kind == Kind::whole ? Json(static_cast<int>(value)) : Json(value);
}

Json settingsToJson(const HumSettings& settings)
{
    Json json;
    for (const auto& parameter : orvo::audio::humParameters)
        json[parameter.option] = valueToJson(parameter, settings);
    return json;
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

Json trackingToJson(const TrackingSummary& tracking)
{
    return {{"start", tracking.getStart()},
            {"end", tracking.getEnd()},
            {"min", tracking.getLowest()},
            {"max", tracking.getHighest()}};
}

/// File names need not be text: bytes that are no UTF-8 are replaced.
std::string toLines(const Json& json)
{
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json checksumsToJson(const SoundChecksums& checksums)
{
    return {{"samples", checksums.samples}, {"md5", checksums.md5}, {"sha256", checksums.sha256}};
}

std::string recordsToText(const Report& report)
{
    std::string text;
    if (report.speed)
        text += fmt::format("  speed against mains of {:g} Hz: mean {:+.3f} % ({:+.1f} cents), "
                            "lowest {:+.3f} %, highest {:+.3f} %\n",
                            report.speed->mains, report.speed->mean, toCents(report.speed->mean),
                            report.speed->lowest, report.speed->highest);
    if (!report.checksums)
        return text;
    for (const auto& [name, sums] : {std::pair("before", report.checksums->input),
                                     std::pair("after", report.checksums->output)})
        text += fmt::format("  sound {} ({}): MD5 {}, SHA-256 {}\n", name, sums.samples, sums.md5,
                            sums.sha256);
    return text;
}

void addRecords(Json& json, const Report& report)
{
    if (report.speed)
        json["speed"] = {{"mains", report.speed->mains},
                         {"meanPercent", report.speed->mean},
                         {"lowestPercent", report.speed->lowest},
                         {"highestPercent", report.speed->highest},
                         {"correction", report.speed->getCorrection()}};
    if (report.checksums)
        json["checksums"] = {{"input", checksumsToJson(report.checksums->input)},
                             {"output", checksumsToJson(report.checksums->output)}};
}

std::string presetList(const std::vector<Preset>& presets, PresetOrigin origin,
                       std::string_view heading, const std::filesystem::path& folder)
{
    std::string text(heading);
    if (!folder.empty())
        text += fmt::format(" in {}", printable(folder));
    text += '\n';
    const std::size_t headingSize = text.size();
    std::string subfolder;
    for (const Preset& preset : presets)
    {
        if (preset.origin != origin)
            continue;
        if (preset.folder != subfolder)
            fmt::format_to(std::back_inserter(text), "  {}/\n", printable(preset.folder));
        subfolder = preset.folder;
        fmt::format_to(std::back_inserter(text), "  {}{}\n", subfolder.empty() ? "" : "  ",
                       printable(preset.name));
    }
    return text.size() > headingSize ? text : text + "  none\n";
}

Json folderOrNull(const std::filesystem::path& folder)
{
    return folder.empty() ? Json() : Json(folder.native());
}

} // namespace

double Report::getSeconds() const
{
    return sampleRate > 0 ? static_cast<double>(samples) / sampleRate : 0.0;
}

std::string Report::toText() const
{
    std::string text = fmt::format("{} -> {}\n"
                                   "  {:.2f} s, {}, {:g} kHz, {}; {} times faster than real time\n",
                                   input, output, getSeconds(), channelText(channels),
                                   sampleRate / 1000.0, outputFormat, speedText(timesRealTime));
    const auto append = std::back_inserter(text);
    if (hum)
        fmt::format_to(append, "  precise removal: {}{}\n", describeHum(*hum),
                       hum->hasHum() ? "" : "; the output equals the input sample for sample");
    if (!hum || hum->hasHum())
        fmt::format_to(
            append,
            "  fundamental: start {:.2f} Hz, end {:.2f} Hz, lowest {:.2f} Hz, highest {:.2f} Hz\n",
            tracking.getStart(), tracking.getEnd(), tracking.getLowest(), tracking.getHighest());
    if (learned)
        fmt::format_to(append, "  its shape is that from {:g} s to {:g} s\n", learned->start,
                       learned->end);
    if (preset)
        fmt::format_to(append, "  preset: {} ({})\n", printable(preset->name),
                       printable(preset->file));
    if (measured && !harmonics.empty())
        fmt::format_to(append, "  levels from {:g} s to {:g} s:\n", measured->start, measured->end);
    if (harmonics.empty() &&
        (hum ? hum->hasHum() : settings.get(Kalimmer::NumberOfHarmonics) > 0.0F))
        text += "  too short to measure the levels of the harmonics\n";
    if (!harmonics.empty())
        text += harmonicTable(harmonics, settings.isOn(Kalimmer::ResidualMode));
    if (hum)
        for (const std::string& doubt : findDoubts(*hum))
            fmt::format_to(append, "  {}\n", doubt);
    if (nonFiniteSamples > 0)
        fmt::format_to(append, "  {} not finite and became silence\n", countText(nonFiniteSamples));
    if (clippedSamples > 0)
        fmt::format_to(append, "  {} louder than the format holds and limited\n",
                       countText(clippedSamples));
    return text + recordsToText(*this);
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
                 {"method", method},
                 {"settings", hum ? Json{{"strength", 100.0 * strength},
                                         {"residual", settings.isOn(Kalimmer::ResidualMode)}}
                                  : settingsToJson(settings)},
                 {"fundamental", hum && !hum->hasHum() ? Json() : trackingToJson(tracking)}};
    if (hum)
        json["hum"] = humToJson(*hum);
    if (learned)
        json["learned"] = {{"start", learned->start}, {"end", learned->end}};
    if (preset)
        json["preset"] = {{"name", preset->name}, {"file", preset->file.native()}};
    if (measured)
        json["measured"] = {{"start", measured->start}, {"end", measured->end}};
    json["harmonics"] = harmonicsToJson(harmonics);
    json["nonFiniteSamples"] = nonFiniteSamples;
    json["clippedSamples"] = clippedSamples;
    addRecords(json, *this);
    json["warnings"] = warnings;
    return toLines(json);
}

std::string presetsToText(const std::vector<Preset>& presets, const PresetFolders& folders)
{
    return presetList(presets, PresetOrigin::factory, "Factory presets", folders.factory) +
           presetList(presets, PresetOrigin::user, "User presets", folders.user);
}

std::string presetsToJson(const std::vector<Preset>& presets, const PresetFolders& folders)
{
    Json list = Json::array();
    for (const Preset& preset : presets)
        list.push_back({{"origin", preset.origin == PresetOrigin::factory ? "factory" : "user"},
                        {"folder", preset.folder},
                        {"name", preset.name},
                        {"file", preset.file.native()}});
    const Json json = {{"factoryFolder", folderOrNull(folders.factory)},
                       {"userFolder", folderOrNull(folders.user)},
                       {"presets", std::move(list)}};
    return toLines(json);
}

} // namespace kalim::program
