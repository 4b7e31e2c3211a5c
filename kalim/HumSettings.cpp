#include "kalim/HumSettings.h"

#include <cmath>

namespace kalim::program
{

HumSettings::HumSettings()
{
    const orvo::audio::Kalimmer remover;
    for (std::size_t id = 0; id < count; ++id)
        values[id] = remover.getParameter(static_cast<int>(id)).getDefaultValueAsFloat();
}

void HumSettings::update(std::span<const ParameterValue> changes)
{
    orvo::audio::Kalimmer remover;
    applyTo(remover);
    for (const auto& [id, value] : changes)
        if (id >= 0 && id < remover.getNumParameters())
            remover.setParameterValue(id, value, false);
    for (std::size_t id = 0; id < count; ++id)
    {
        const float limited = remover.getParameterValue(static_cast<int>(id));
        values[id] = std::isnan(limited)
                         ? remover.getParameter(static_cast<int>(id)).getDefaultValueAsFloat()
                         : limited;
    }
}

void HumSettings::applyTo(orvo::audio::Kalimmer& remover) const
{
    for (std::size_t id = 0; id < count; ++id)
        remover.setParameterValue(static_cast<int>(id), values[id], false);
}

} // namespace kalim::program
