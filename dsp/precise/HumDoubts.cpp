#include "dsp/precise/HumDoubts.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace orvo::audio::precise
{
namespace
{

/// A harmonic of less evidence (logarithm of the likelihood ratio) may be chance.
constexpr double sureEvidence = 25.0;

/// What sounds on a harmonic is that much louder than beside its neighbours, and the harmonic
/// stands out of it by less.
constexpr double noteRatio = 30.0;
constexpr double noteProminence = 20.0; // dB
constexpr int neighbours = 3;

/// The larger one of two middle values counts.
double medianNoiseNear(const Series<HarmonicSummary>& harmonics, const HarmonicSummary& one)
{
    Series<double> noises;
    for (const HarmonicSummary& other : harmonics)
        if (other.channel == one.channel && other.harmonic != one.harmonic &&
            std::abs(other.harmonic - one.harmonic) <= neighbours)
            noises.push_back(other.noise);
    if (noises.empty())
        return one.noise;
    std::sort(noises.begin(), noises.end());
    return noises[noises.size() / 2];
}

} // namespace

HumDoubts findDoubtfulHarmonics(const HumSummary& hum)
{
    const Series<HarmonicSummary> harmonics = hum.getHarmonics();
    std::map<int, double> evidence;
    std::set<int> notes;
    for (const HarmonicSummary& harmonic : harmonics)
    {
        evidence[harmonic.harmonic] += harmonic.evidence;
        if (harmonic.noise > noteRatio * medianNoiseNear(harmonics, harmonic) &&
            harmonic.getProminence() < noteProminence)
            notes.insert(harmonic.harmonic);
    }
    HumDoubts doubts;
    for (const auto& [number, sum] : evidence)
        if (sum < sureEvidence)
            doubts.unsure.push_back(number);
    doubts.notes.assign(notes.begin(), notes.end());
    return doubts;
}

} // namespace orvo::audio::precise
