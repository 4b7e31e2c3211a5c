#include "dsp/precise/LiveGuard.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// How much the rest happens to resemble the hum is learnt over this many periods.
constexpr double periodsToLearn = 50.0;
constexpr double firstGuess = 0.1;

/// The hum is withdrawn when less than this share of it is found and the rest resembles its
/// opposite by more than is usual, and comes back when it is found again.
constexpr double shareToLeave = 0.4;
constexpr double shareToReturn = 0.7;
constexpr double leastLiveLikeness = 0.5;
constexpr double timesUsual = 2.0;

constexpr double guardFadeSeconds = 0.002;

} // namespace

void LiveGuard::prepare(double sampleRate, int newPeriod)
{
    period = newPeriod;
    step = static_cast<float>(1.0 / std::max(1.0, guardFadeSeconds * sampleRate));
    reset();
}

void LiveGuard::reset()
{
    count = 0;
    share = 1.0F;
    isWithheld = false;
    match = power = others = 0.0;
    usual = firstGuess;
}

float LiveGuard::advance()
{
    if (++count == period)
        judge();
    share = std::clamp(share + (isWithheld ? -step : step), 0.0F, 1.0F);
    return share;
}

void LiveGuard::judge()
{
    if (power > 0.0 && std::isfinite(match) && std::isfinite(others))
    {
        const double found = 1.0 + match / power;
        const double likeness = match / std::sqrt(power * others + 1e-30);
        if (isWithheld)
            isWithheld = found < shareToReturn;
        else
            isWithheld = found < shareToLeave && -likeness > leastLiveLikeness + timesUsual * usual;
        if (!isWithheld)
            usual += (std::abs(likeness) - usual) / periodsToLearn;
    }
    count = 0;
    match = power = others = 0.0;
}

} // namespace orvo::audio::precise
