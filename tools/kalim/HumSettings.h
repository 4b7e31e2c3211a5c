#pragma once

#include "dsp/hum/Kalimmer.h"

#include <array>

namespace kalim::program
{

/// Values of the hum remover's parameters by id, in their natural units.
class HumSettings
{
public:
    static constexpr std::size_t count = 7;

    /// The defaults.
    HumSettings();

    float get(orvo::audio::Kalimmer::ParameterId id) const
    {
        return values[static_cast<std::size_t>(id)];
    }

    void set(orvo::audio::Kalimmer::ParameterId id, float value)
    {
        values[static_cast<std::size_t>(id)] = value;
    }

    bool isOn(orvo::audio::Kalimmer::ParameterId id) const { return get(id) > 0.5F; }

    /// Gives them all to a hum remover.
    void applyTo(orvo::audio::Kalimmer& remover) const;

private:
    std::array<float, count> values{};
};

} // namespace kalim::program
