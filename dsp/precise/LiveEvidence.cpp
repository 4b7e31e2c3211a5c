#include "dsp/precise/LiveEvidence.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orvo::audio::precise
{
namespace
{

/// Seconds over which evidence and the fortune of the predictions are remembered.
constexpr double memoryOfEvidence = 3.0;
constexpr double memoryOfScore = 0.6;

/// Share of the evidence's fading that remains while sound masks the line.
constexpr double leastForgotten = 0.1;

/// What one frame can add to the evidence of a line, take from it, and where the sum is held.
constexpr double mostPerFrame = 12.0;
constexpr double leastPerFrame = -6.0;
constexpr double mostLiveEvidence = 30.0;
constexpr double leastEvidence = -12.0;

/// Lines with so much evidence make the score, each up to the limit.
constexpr double evidenceToScore = 1.0;
constexpr double mostScorePerLine = 8.0;

/// A line opens and closes at these; what is open together must exceed the last.
constexpr double evidenceToOpen = 6.0;
constexpr double evidenceToStay = 1.8;
constexpr double evidenceToSound = 20.0;

/// Where lines stand once the hum has stopped.
constexpr double evidenceOfSilence = -1.0;

/// A line of the two lowest may sound alone if it holds out for so long with so much evidence.
constexpr double secondsAlone = 1.0;
constexpr double evidenceAlone = 25.0;

/// So must a line above the lowest that is stronger by this factor of power than all in the octave
/// below it: it may be the overtone of a note.
constexpr std::size_t lowLiveHarmonics = 6;
constexpr double prominence = 4.0;

/// Share of the nominal beyond which it is some other tone.
constexpr double mostDeviation = 0.019;

} // namespace

LiveEvidence::LiveEvidence(const LiveLayout& newLayout)
    : layout(newLayout)
    , evidence(static_cast<std::size_t>(layout.getNumLines()))
    , open(evidence.size())
    , openFrames(evidence.size())
    , trusted(evidence.size())
{
}

void LiveEvidence::start()
{
    std::fill(evidence.begin(), evidence.end(), 0.0);
    std::fill(open.begin(), open.end(), char{0});
    std::fill(openFrames.begin(), openFrames.end(), 0);
    std::fill(trusted.begin(), trusted.end(), char{0});
    audible = false;
    score = recentScore = 0.0;
}

double LiveEvidence::getFade() const
{
    return std::exp(-layout.getHopSeconds() / memoryOfEvidence);
}

void LiveEvidence::add(const std::vector<Complex>& aligned, const std::vector<Complex>& expected,
                       const std::vector<double>& noise, bool isFirst)
{
    score = 0.0;
    const double fade = 1.0 - getFade();
    for (std::size_t i = 0; i < evidence.size(); ++i)
    {
        const double gained =
            compareErrors(getPower(aligned[i] - expected[i]), getPower(aligned[i]), noise[i]);
        if (evidence[i] > evidenceToScore)
            score += std::clamp(gained, leastPerFrame, mostScorePerLine);
        // What sound masks is neither confirmed nor refuted, and less is forgotten.
        const double power = getPower(expected[i]);
        const double clarity = std::max(power / (power + noise[i]), leastForgotten);
        const double kept = 1.0 - fade * clarity;
        if (!isFirst)
            evidence[i] =
                std::clamp(evidence[i] * kept + std::clamp(gained, leastPerFrame, mostPerFrame),
                           leastEvidence, mostLiveEvidence);
    }
    recentScore = recentScore * std::exp(-layout.getHopSeconds() / memoryOfScore) + score;
}

void LiveEvidence::fade()
{
    for (double& value : evidence)
        value *= getFade();
}

bool LiveEvidence::hasOpen() const
{
    return std::find(open.begin(), open.end(), char{1}) != open.end();
}

/// Whether the line has held out for long.
bool LiveEvidence::isLasting(std::size_t line) const
{
    return openFrames[line] * layout.getHopSeconds() > secondsAlone;
}

void LiveEvidence::decide(const std::vector<Complex>& amplitudes, double deviation)
{
    for (std::size_t i = 0; i < open.size(); ++i)
    {
        const double bar = open[i] != 0 ? evidenceToStay : evidenceToOpen;
        open[i] = evidence[i] > bar ? 1 : 0;
        openFrames[i] = open[i] != 0 ? openFrames[i] + 1 : 0;
    }
    judgeProminence(amplitudes);
    double total = 0.0;
    double most = 0.0;
    int divisor = 0;
    int count = 0;
    for (std::size_t i = 0; i < open.size(); ++i)
    {
        if (trusted[i] == 0)
            continue;
        const int h = static_cast<int>(i) % layout.numHarmonics + 1;
        ++count;
        total += evidence[i];
        divisor = std::gcd(divisor, h);
        if (h <= 2 && isLasting(i))
            most = std::max(most, evidence[i]);
    }
    // A held note and its overtones look like a few harmonics that are multiples of one of them.
    const bool isHum = (count > 1 && divisor <= 2) || most > evidenceAlone;
    audible = total > evidenceToSound && (audible || isHum) &&
              std::abs(deviation) < mostDeviation * layout.nominal;
}

void LiveEvidence::judgeProminence(const std::vector<Complex>& amplitudes)
{
    const auto count = static_cast<std::size_t>(layout.numHarmonics);
    for (std::size_t i = 0; i < open.size(); ++i)
    {
        trusted[i] = open[i];
        const std::size_t h = i % count + 1;
        if (open[i] == 0 || h <= lowLiveHarmonics || isLasting(i))
            continue;
        double strongest = 0.0;
        for (std::size_t j = i - h / 2; j < i; ++j)
            if (trusted[j] != 0)
                strongest = std::max(strongest, getPower(amplitudes[j]));
        if (getPower(amplitudes[i]) > prominence * strongest)
            trusted[i] = 0;
    }
}

void LiveEvidence::fallSilent()
{
    for (double& value : evidence)
        value = std::min(value, evidenceOfSilence);
    std::fill(open.begin(), open.end(), char{0});
    std::fill(trusted.begin(), trusted.end(), char{0});
    audible = false;
    recentScore = std::min(recentScore, 0.0);
}

} // namespace orvo::audio::precise
