#include "kalim/HumSettings.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace kalim::program
{

using orvo::audio::humParameters;
using orvo::audio::Kalimmer;

HumSettings::HumSettings()
{
    std::ranges::transform(humParameters, values.begin(), &orvo::audio::HumParameter::defaultValue);
}

orvo::audio::HarmonicSelection HumSettings::getSelection() const
{
    return {static_cast<int>(get(Kalimmer::NumberOfHarmonics)), isOn(Kalimmer::OnlyOddHarmonics)};
}

void HumSettings::update(std::span<const ParameterValue> changes)
{
    Kalimmer engine;
    applyTo(engine);
    for (const auto& [id, value] : changes)
        if (id >= 0 && id < engine.getNumParameters())
            engine.setParameterValue(id, value, false);
    for (const auto& parameter : humParameters)
    {
        const float limited = engine.getParameterValue(parameter.id);
        values[static_cast<std::size_t>(parameter.id)] =
            std::isnan(limited) ? parameter.defaultValue : limited;
    }
}

void HumSettings::takeFrom(const orvo::audio::precise::HumSummary& hum,
                           const std::set<orvo::audio::HumParameterId>& ids)
{
    constexpr double leastProminence = 3.0; // dB
    std::set<int> numbers;
    for (const auto& harmonic : hum.getHarmonics())
        if (harmonic.getProminence() >= leastProminence)
            numbers.insert(harmonic.harmonic);
    const int highest = numbers.empty() ? 0 : *numbers.rbegin();
    const bool hasEven = std::ranges::any_of(numbers, [](int number) { return number % 2 == 0; });
    std::vector<ParameterValue> changes;
    if (ids.contains(Kalimmer::FundamentalFrequency) && hum.hasHum())
        changes.push_back(
            {Kalimmer::FundamentalFrequency, static_cast<float>(hum.getMeanFrequency())});
    if (ids.contains(Kalimmer::OnlyOddHarmonics))
        changes.push_back({Kalimmer::OnlyOddHarmonics, highest > 1 && !hasEven ? 1.0F : 0.0F});
    update(changes);
    // The number counts the odd ones alone where only those are treated.
    const int needed = isOn(Kalimmer::OnlyOddHarmonics) ? (highest + 1) / 2 : highest;
    if (ids.contains(Kalimmer::NumberOfHarmonics) || !hum.hasHum())
        update(std::array{ParameterValue{Kalimmer::NumberOfHarmonics, static_cast<float>(needed)}});
}

void HumSettings::applyTo(Kalimmer& engine) const
{
    for (const auto& parameter : humParameters)
        engine.setParameterValue(parameter.id, get(parameter.id), false);
}

} // namespace kalim::program
