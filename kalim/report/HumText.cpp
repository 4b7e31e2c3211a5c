#include "kalim/report/HumText.h"

#include "dsp/precise/HumDoubts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

namespace kalim::program
{
namespace
{

/// Hz: a frequency is not given more exactly than its last digit.
constexpr double leastUncertainty = 0.0005;

using orvo::audio::precise::HarmonicSummary;
using orvo::audio::precise::HumKind;
using orvo::audio::precise::HumSummary;

/// So many changes fit into a line.
constexpr std::size_t mostChanges = 8;

/// The level of a sine of this power in dBFS.
double levelOf(double power)
{
    return 10.0 * std::log10(std::max(2.0 * power, 1e-30));
}

double roundTo(double value, double step)
{
    return std::round(value / step) * step;
}

std::set<int> numbersOf(std::span<const HarmonicSummary> harmonics)
{
    std::set<int> numbers;
    for (const HarmonicSummary& harmonic : harmonics)
        numbers.insert(harmonic.harmonic);
    return numbers;
}

} // namespace

const char* nameOf(HumKind kind)
{
    switch (kind)
    {
    case HumKind::None:
        return "none";
    case HumKind::Steady:
        return "steady";
    case HumKind::Tape:
        return "tape";
    case HumKind::Switched:
        return "switched";
    case HumKind::Breathing:
        return "breathing";
    case HumKind::Bursts:
        break;
    }
    return "bursts, not hum";
}

std::string describeHum(const HumSummary& hum)
{
    if (!hum.hasHum())
        return hum.getKind() == HumKind::Bursts ? nameOf(HumKind::Bursts) : "no hum";
    const auto count = numbersOf(hum.getHarmonics()).size();
    return fmt::format("hum at {:.3f} Hz (+-{:.4f}), {}, {} harmonic{}", hum.getMeanFrequency(),
                       std::max(hum.getUncertainty(), leastUncertainty), nameOf(hum.getKind()),
                       count, count == 1 ? "" : "s");
}

nlohmann::ordered_json humToJson(const HumSummary& hum)
{
    if (!hum.hasHum())
        return {{"kind", nameOf(hum.getKind())}};
    nlohmann::ordered_json harmonics = nlohmann::ordered_json::array();
    for (const HarmonicSummary& harmonic : hum.getHarmonics())
        harmonics.push_back({{"channel", harmonic.channel + 1},
                             {"number", harmonic.harmonic},
                             {"level", roundTo(levelOf(harmonic.power), 0.01)},
                             {"prominence", roundTo(harmonic.getProminence(), 0.01)}});
    return {{"kind", nameOf(hum.getKind())},
            {"fundamental", roundTo(hum.getMeanFrequency(), 1e-5)},
            {"uncertainty", hum.getUncertainty()},
            {"lowest", roundTo(hum.getLowestFrequency(), 1e-5)},
            {"highest", roundTo(hum.getHighestFrequency(), 1e-5)},
            {"drift", hum.getDrift()},
            {"secondsOfHum", roundTo(hum.getSecondsOfHum(), 0.01)},
            {"changes", hum.getChanges()},
            {"harmonics", std::move(harmonics)},
            {"doubts", findDoubts(hum)}};
}

std::vector<std::string> findDoubts(const HumSummary& hum)
{
    const orvo::audio::precise::HumDoubts found = findDoubtfulHarmonics(hum);
    std::vector<std::string> doubts;
    if (!found.unsure.empty())
        doubts.push_back(fmt::format("unsure of harmonic{} {}", found.unsure.size() == 1 ? "" : "s",
                                     fmt::join(found.unsure, ", ")));
    for (const int number : found.notes)
        doubts.push_back(fmt::format("something else sounds on harmonic {} ({:.1f} Hz)", number,
                                     number * hum.getMeanFrequency()));
    return doubts;
}

std::string changesToText(std::span<const double> times)
{
    const std::size_t shown = std::min(times.size(), mostChanges);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < shown; ++i)
        texts.push_back(fmt::format("{:.1f} s", times[i]));
    if (times.size() <= shown)
        return fmt::format("{}", fmt::join(texts, ", "));
    return fmt::format("{} and {} more", fmt::join(texts, ", "), times.size() - shown);
}

std::string harmonicsToText(const HumSummary& hum)
{
    std::string text = fmt::format("  {:>7}  {:>8}  {:>10}  {:>10}  {:>10}\n", "channel",
                                   "harmonic", "frequency", "level", "stands out");
    for (const HarmonicSummary& harmonic : hum.getHarmonics())
        fmt::format_to(std::back_inserter(text), "  {:>7}  {:>8}  {:>10}  {:>10}  {:>10}\n",
                       harmonic.channel + 1, harmonic.harmonic,
                       fmt::format("{:.1f} Hz", harmonic.harmonic * hum.getMeanFrequency()),
                       fmt::format("{:.1f} dB", levelOf(harmonic.power)),
                       fmt::format("{:.1f} dB", harmonic.getProminence()));
    return text;
}

} // namespace kalim::program
