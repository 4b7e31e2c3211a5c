#include "dsp/precise/HumPattern.h"

#include <algorithm>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

/// Phases of the fundamental that are tried: a 40th of a cycle of the hundredth harmonic.
constexpr int phasesPerPeriod = 4000;

/// Mean of the smooth amplitudes of each line, against track, gain and phase of the segments.
Series<Complex> getMeans(const HumModel& model, Part part)
{
    const HarmonicLines& lines = model.getLines();
    Series<Complex> means(static_cast<std::size_t>(lines.getNumLines()));
    for (int frame = part.first; frame < part.last; ++frame)
        for (int line = 0; line < lines.getNumLines(); ++line)
            means[line] += model.getSmooth().amplitudes[lines.at(frame, line)] /
                           static_cast<double>(part.last - part.first);
    return means;
}

/// Lines of a pattern in the order of a model; those that it lacks are 0.
Series<Complex> arrange(const HumPattern& pattern, const HarmonicLines& lines)
{
    Series<Complex> arranged(static_cast<std::size_t>(lines.getNumLines()));
    for (int channel = 0; channel < lines.numChannels; ++channel)
    {
        const Series<Complex>& amplitudes = pattern.amplitudes[channel];
        const auto count = std::min(static_cast<int>(amplitudes.size()), lines.numHarmonics);
        std::copy_n(amplitudes.begin(), count, arranged.begin() + channel * lines.numHarmonics);
    }
    return arranged;
}

/// How the pattern lies in a part: phase of the fundamental in radians and factor.
struct Place
{
    double phase = 0.0;
    double gain = 0.0;
};

/// The weighted least squares of what was found against the pattern.
Place findPlace(const HumModel& model, Part part, const Series<Complex>& pattern)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex> means = getMeans(model, part);
    Series<Complex> sums(static_cast<std::size_t>(lines.numHarmonics)); // of all channels
    double power = tiny;
    const int middle = (part.first + part.last) / 2;
    for (int line = 0; line < lines.getNumLines(); ++line)
    {
        if (means[line] == Complex{})
            continue;
        const double weight = 1.0 / (model.getSmooth().variances[lines.at(middle, line)] +
                                     1e-4 * getPower(means[line]) + tiny);
        sums[line % lines.numHarmonics] += weight * multiplyConjugate(means[line], pattern[line]);
        power += weight * getPower(pattern[line]);
    }
    Place best;
    for (int i = 0; i < phasesPerPeriod; ++i)
    {
        const double phase = 2.0 * std::numbers::pi * i / phasesPerPeriod;
        const Complex turn = std::polar(1.0, -phase);
        Complex turned = 1.0;
        double likeness = 0.0;
        for (const Complex sum : sums)
        {
            turned = multiply(turned, turn);
            likeness += multiply(sum, turned).real();
        }
        if (likeness > best.gain * power)
            best = {phase, likeness / power};
    }
    return best;
}

} // namespace

HumPattern learnPattern(const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Part> parts = model.getParts();
    const Part longest =
        *std::max_element(parts.begin(), parts.end(),
                          [](Part a, Part b) { return a.last - a.first < b.last - b.first; });
    const double time = lines.getTime((longest.first + longest.last) / 2);
    HumPattern pattern{model.getTrack().getFrequency(time), {}};
    const Series<Complex> means = getMeans(model, longest);
    for (int channel = 0; channel < lines.numChannels; ++channel)
        pattern.amplitudes.emplace_back(means.begin() + channel * lines.numHarmonics,
                                        means.begin() + (channel + 1) * lines.numHarmonics);
    return pattern;
}

void imposePattern(const HumPattern& pattern, HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex> arranged = arrange(pattern, lines);
    Series<Complex> amplitudes(lines.amplitudes.size());
    for (const Part part : model.getParts())
    {
        const Place place = findPlace(model, part, arranged);
        for (int line = 0; line < lines.getNumLines(); ++line)
        {
            const Complex amplitude = multiply(
                arranged[line], std::polar(place.gain, lines.getHarmonic(line) * place.phase));
            for (int frame = part.first; frame < part.last; ++frame)
                amplitudes[lines.at(frame, line)] = amplitude;
        }
    }
    model.setAmplitudes(std::move(amplitudes));
}

} // namespace orvo::audio::precise
