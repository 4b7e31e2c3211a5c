#include "dsp/precise/PhaseTrack.h"

#include "dsp/precise/TableKernel.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace orvo::audio::precise
{

PhaseTrack::PhaseTrack(double fundamental)
    : phases{0.0}
    , frequencies{fundamental}
{
}

PhaseTrack::PhaseTrack(double first, double step, Series<double> phasesToUse,
                       Series<double> frequenciesToUse)
    : firstTime(first)
    , frameTime(step)
    , phases(std::move(phasesToUse))
    , frequencies(std::move(frequenciesToUse))
{
}

PhaseTrack PhaseTrack::fromFrequencies(double firstTime, double frameTime,
                                       Series<double> frequencies)
{
    Series<double> phases(frequencies.size());
    for (std::size_t k = 1; k < phases.size(); ++k)
        phases[k] = phases[k - 1] + 0.5 * (frequencies[k] + frequencies[k - 1]) * frameTime;
    return {firstTime, frameTime, std::move(phases), std::move(frequencies)};
}

PhaseTrack::Piece PhaseTrack::getPiece(double time) const
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const auto last = static_cast<int>(phases.size()) - 1;
    const double position = (time - firstTime) / frameTime;
    if (position < 0.0)
        return {firstTime, last == 0 ? infinity : firstTime, phases[0], frequencies[0], 0.0, 0.0};
    if (position >= last)
        return {firstTime + last * frameTime, infinity, phases[last], frequencies[last], 0.0, 0.0};
    const auto k = static_cast<int>(position);
    const double start = firstTime + k * frameTime;
    const double slope = (phases[k + 1] - phases[k]) / frameTime;
    const double f0 = frequencies[k];
    const double f1 = frequencies[k + 1];
    return {start,
            start + frameTime,
            phases[k],
            f0,
            (3.0 * slope - 2.0 * f0 - f1) / frameTime,
            (f0 + f1 - 2.0 * slope) / (frameTime * frameTime)};
}

double PhaseTrack::getPhase(double time) const
{
    const Piece p = getPiece(time);
    const double t = time - p.start;
    return p.c0 + t * (p.c1 + t * (p.c2 + t * p.c3));
}

double PhaseTrack::getFrequency(double time) const
{
    const Piece p = getPiece(time);
    const double t = time - p.start;
    return p.c1 + t * (2.0 * p.c2 + t * 3.0 * p.c3);
}

void PhaseTrack::getPhases(double time, double step, int count, double* result) const
{
    for (int i = 0; i < count;)
    {
        const Piece p = getPiece(time + i * step);
        const double c0 = p.c0 - std::floor(p.c0);
        const double steps = std::ceil((p.end - time) / step);
        const int end = steps < count ? std::max(static_cast<int>(steps), i + 1) : count;
        getFractions({c0, p.c1, p.c2, p.c3}, time + i * step - p.start, step, end - i, result + i);
        i = end;
    }
}

} // namespace orvo::audio::precise
