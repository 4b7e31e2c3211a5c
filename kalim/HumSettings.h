#pragma once

#include "dsp/hum/Kalimmer.h"
#include "presets/PresetFile.h"

#include <array>
#include <span>

namespace kalim::program
{

/// Values of the hum remover's parameters by id, in their natural units.
class HumSettings
{
public:
    static constexpr std::size_t count = orvo::audio::numHumParameters;

    /// The defaults.
    HumSettings();

    float get(orvo::audio::HumParameterId id) const
    {
        return values[static_cast<std::size_t>(id)];
    }

    bool isOn(orvo::audio::HumParameterId id) const { return get(id) > 0.5F; }

    /// Takes values over one after the other, limited as the hum remover limits them; it would work
    /// with the default in place of not-a-number, so that is taken. Skips ids of no parameter.
    void update(std::span<const ParameterValue> changes);

    /// Gives them all to a hum remover.
    void applyTo(orvo::audio::Kalimmer& remover) const;

private:
    std::array<float, count> values{};
};

} // namespace kalim::program
