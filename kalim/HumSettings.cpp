#include "kalim/HumSettings.h"

#include <algorithm>
#include <cmath>

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

void HumSettings::applyTo(Kalimmer& engine) const
{
    for (const auto& parameter : humParameters)
        engine.setParameterValue(parameter.id, get(parameter.id), false);
}

} // namespace kalim::program
