#include "dsp/precise/CommonMotion.h"

#include "dsp/precise/GridKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace orvo::audio::precise
{
namespace
{

/// Hum is never known better than this share of its power.
constexpr double surestShare = 1e-6;
constexpr float leastNoiseShare = 1e-5F;

constexpr int rounds = 5;
constexpr int roughRounds = 2; // in which the phase is not smoothed yet
constexpr double largestPhaseStep = 0.3;
constexpr double largestGainStep = 0.5;
/// Levels of the gain for a first path, from -60 dB to 20 dB, and how far it moves from frame to
/// frame (one sigma).
constexpr double lowestLevel = -largestLogGain;
constexpr double levelStep = 0.1;
constexpr int numGains = 96;
constexpr double levelMove = 0.1;
constexpr int levelReach = 5;

/// What a move of the gain costs by the number of its steps, either way.
constexpr auto gainCosts = []
{
    std::array<double, levelReach + 1> costs{};
    for (int steps = 0; steps <= levelReach; ++steps)
    {
        const double move = steps * levelStep / levelMove;
        costs[static_cast<std::size_t>(steps)] = 0.5 * move * move;
    }
    return costs;
}();

constexpr double leastInformation = 1e-9;

constexpr std::size_t linesPerLogarithm = 4; // products of so many errors stay within range

constexpr double unknown = 1e9; // variance where nothing was measured

constexpr int largestPhaseExponent = 1;
constexpr int largestGainExponent = 2;

/// Holds what the rounds work on.
class Measurement
{
public:
    Measurement(Motion motion, const HarmonicLines& linesToUse, const Series<char>& skipped,
                const SmoothAmplitudes& smoothToUse)
        : lines(linesToUse)
        , isSkipped(skipped)
        , smooth(smoothToUse)
        , hasPhase(motion != Motion::Gain)
        , hasGain(motion != Motion::Phase)
        , isJump(static_cast<std::size_t>(lines.numFrames))
        , phase(isJump.size())
        , logGain(isJump.size())
        , phaseVariances(isJump.size())
        , gainVariances(isJump.size())
    {
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (smooth.isPresent[line] != 0)
            {
                used.push_back(line);
                turnOf.push_back(lines.getHarmonic(line) - 1);
            }
        stride = (static_cast<int>(used.size()) + FrameLines::group - 1) / FrameLines::group *
                 FrameLines::group;
        turns.resize(static_cast<std::size_t>(lines.numHarmonics));
        factors = SplitComplex<float>(static_cast<std::size_t>(stride));
        collectReadings();
        for (int level = 0; level < numGains; ++level)
            levels.push_back(std::exp(getLevel(level)));
        for (const int jump : smooth.jumps)
            isJump[jump] = 1;
        followIncrements();
        formPattern();
    }

    CommonMotion measure(const Series<int>& restarts, const Series<double>& base)
    {
        Series<char> isRestarted = isJump;
        for (const int frame : restarts)
            isRestarted[frame] = 1;
        CommonMotion motion;
        for (int round = 0; round < rounds; ++round)
        {
            measureFrames();
            if (hasPhase && round >= roughRounds)
            {
                for (std::size_t k = 0; k < phase.size(); ++k)
                    phase[k] += base[k];
                motion.phase = smoothPath(phase, phaseVariances, isRestarted, lines.frameTime,
                                          largestPhaseExponent);
                for (std::size_t k = 0; k < phase.size(); ++k)
                    phase[k] = motion.phase.values[k] - base[k];
            }
            if (hasGain && round == roughRounds)
                findGainPath();
            else if (hasGain && round > 0)
                logGain =
                    smoothPath(logGain, gainVariances, isJump, lines.frameTime, largestGainExponent)
                        .values;
        }
        for (double& gain : logGain)
            gain = std::clamp(gain, -largestLogGain, largestLogGain);
        motion.logGain = logGain;
        return motion;
    }

private:
    void collectReadings()
    {
        readings = SplitComplex<float>(indexOf(lines.numFrames, stride));
        pattern = readings;
        noise.assign(readings.real.size(), 1.0F);
        harmonics.resize(static_cast<std::size_t>(stride));
        for (std::size_t i = 0; i < used.size(); ++i)
            harmonics[i] = static_cast<float>(lines.getHarmonic(used[i]));
        for (int frame = 0; frame < lines.numFrames; ++frame)
            for (std::size_t i = 0; i < used.size(); ++i)
            {
                const std::size_t at = lines.at(frame, used[i]);
                readings.set(indexOf(frame, stride) + i, lines.amplitudes[at]);
                noise[indexOf(frame, stride) + i] = static_cast<float>(lines.noise[at]);
            }
    }

    /// How much a line says about the motion in a frame: its power over its variance.
    double getWeight(std::size_t at) const
    {
        const double power = getPower(smooth.amplitudes[at]);
        return power / std::max(smooth.variances[at], surestShare * power + tiny);
    }

    /// A first estimate: what the smooth amplitudes have in common from frame to frame.
    void followIncrements()
    {
        for (int frame = 1; frame < lines.numFrames; ++frame)
        {
            phase[frame] = phase[frame - 1];
            logGain[frame] = logGain[frame - 1];
            if (isJump[frame] == 0)
                addIncrement(frame);
        }
    }

    void addIncrement(int frame)
    {
        double turn = 0.0;
        double turnWeights = 1e-12;
        double growth = 0.0;
        double growthWeights = 1e-12;
        for (std::size_t i = 0; i < used.size(); ++i)
        {
            const std::size_t now = lines.at(frame, used[i]);
            const std::size_t before = lines.at(frame - 1, used[i]);
            const double weight = std::min(getWeight(now), getWeight(before));
            const Complex step =
                multiplyConjugate(smooth.amplitudes[now], smooth.amplitudes[before]);
            const double size = std::sqrt(getPower(step)) + tiny;
            const int harmonic = turnOf[i] + 1;
            turn += harmonic * weight * step.imag() / size;
            turnWeights += static_cast<double>(harmonic) * harmonic * weight;
            if (hasGain)
                growth += weight * 0.5 *
                          std::log((getPower(smooth.amplitudes[now]) + tiny) /
                                   (getPower(smooth.amplitudes[before]) + tiny));
            growthWeights += weight;
        }
        if (hasPhase)
            phase[frame] += turn / turnWeights;
        if (hasGain)
            logGain[frame] += std::clamp(growth / growthWeights, -largestGainStep, largestGainStep);
    }

    /// Between jumps the lines keep one pattern; without a gain their sizes may change, and without
    /// a phase their phases.
    void formPattern()
    {
        int first = 0;
        for (int frame = 1; frame <= lines.numFrames; ++frame)
            if (frame == lines.numFrames || isJump[frame] != 0)
            {
                if (hasGain)
                    centreGain(first, frame);
                formPattern(first, frame);
                first = frame;
            }
    }

    void centreGain(int first, int last)
    {
        double sum = 0.0;
        double weights = tiny;
        for (int frame = first; frame < last; ++frame)
            for (std::size_t i = 0; isSkipped[frame] == 0 && i < used.size(); ++i)
            {
                const double weight = getWeight(lines.at(frame, used[i]));
                sum += weight * logGain[frame];
                weights += weight;
            }
        for (int frame = first; frame < last; ++frame)
            logGain[frame] -= sum / weights;
    }

    void formPattern(int first, int last)
    {
        Series<Complex> means(used.size());
        Series<double> weights(used.size(), tiny);
        for (int frame = first; frame < last; ++frame)
        {
            if (isSkipped[frame] != 0)
                continue;
            const double shrink = std::exp(-logGain[frame]);
            findTurns(frame);
            for (std::size_t i = 0; i < used.size(); ++i)
            {
                const std::size_t at = lines.at(frame, used[i]);
                const double weight = 1.0 / (smooth.variances[at] * shrink * shrink + tiny);
                means[i] += weight * shrink *
                            (hasPhase ? multiplyConjugate(smooth.amplitudes[at], turns[turnOf[i]])
                                      : Complex(std::sqrt(getPower(smooth.amplitudes[at]))));
                weights[i] += weight;
            }
        }
        Series<double> sizes;
        for (std::size_t i = 0; i < used.size(); ++i)
        {
            means[i] /= weights[i];
            sizes.push_back(std::sqrt(getPower(means[i])));
        }
        for (int frame = first; frame < last; ++frame)
            for (std::size_t i = 0; i < used.size(); ++i)
            {
                const Complex amplitude = smooth.amplitudes[lines.at(frame, used[i])];
                const double size = std::sqrt(getPower(amplitude));
                const double grown = hasGain || sizes[i] == 0.0 ? 1.0 : size / sizes[i];
                const Complex expected =
                    hasPhase || size == 0.0 ? grown * means[i] : sizes[i] / size * amplitude;
                pattern.set(indexOf(frame, stride) + i, expected);
            }
    }

    void measureFrames()
    {
        for (int frame = 0; frame < lines.numFrames; ++frame)
            if (isSkipped[frame] != 0)
                phaseVariances[frame] = gainVariances[frame] = unknown;
            else
                measureFrame(frame);
    }

    /// The likeliest path (Viterbi) of the gain through levels of a grid, with the present phase: a
    /// fade takes it further than steps from frame to frame can find.
    void findGainPath()
    {
        Series<double> best = rateGains(0);
        Series<int> origins(phase.size() * numGains);
        for (int frame = 1; frame < lines.numFrames; ++frame)
        {
            const Series<double> here = rateGains(frame);
            Series<double> next(numGains);
            for (int level = 0; level < numGains; ++level)
            {
                int& origin = origins[indexOf(frame, numGains, level)];
                origin = findOrigin(best, level);
                next[level] = here[level] + best[origin] -
                              gainCosts[static_cast<std::size_t>(std::abs(level - origin))];
            }
            best = std::move(next);
        }
        auto level = static_cast<int>(std::max_element(best.begin(), best.end()) - best.begin());
        for (int frame = lines.numFrames - 1; frame >= 0; --frame)
        {
            logGain[frame] = getLevel(level);
            level = origins[indexOf(frame, numGains, level)];
        }
    }

    static double getLevel(int level) { return lowestLevel + level * levelStep; }

    static int findOrigin(const Series<double>& best, int level)
    {
        int origin = level;
        double most = best[level];
        for (int from = std::max(0, level - levelReach);
             from <= std::min(numGains - 1, level + levelReach); ++from)
        {
            const double score =
                best[from] - gainCosts[static_cast<std::size_t>(std::abs(level - from))];
            if (score > most)
            {
                most = score;
                origin = from;
            }
        }
        return origin;
    }

    /// Logarithm of the likelihood of each level in a frame.
    Series<double> rateGains(int frame)
    {
        Series<double> scores(numGains);
        if (isSkipped[frame] != 0)
            return scores;
        Series<double> products(numGains, 1.0);
        findTurns(frame);
        for (std::size_t i = 0; i < used.size(); ++i)
        {
            const std::size_t at = lines.at(frame, used[i]);
            const std::size_t place = indexOf(frame, stride) + i;
            const Complex value = lines.amplitudes[at];
            const Complex expected =
                multiply({pattern.real[place], pattern.imaginary[place]}, turns[turnOf[i]]);
            multiplyGainErrors({getPower(value), getPower(expected),
                                multiplyConjugate(value, expected).real(),
                                freedom * lines.noise[at], patternError},
                               levels.data(), numGains, products.data());
            if (i % linesPerLogarithm == linesPerLogarithm - 1)
                collectLogarithms(freedom + 1.0, numGains, products.data(), scores.data());
        }
        collectLogarithms(freedom + 1.0, numGains, products.data(), scores.data());
        return scores;
    }

    /// By what the present phase turns each harmonic in a frame, the first at 0.
    void findTurns(int frame)
    {
        const Complex turn = std::polar(1.0, phase[frame]);
        turns[0] = turn;
        for (int h = 1; h < lines.numHarmonics; ++h)
            turns[h] = multiply(turns[h - 1], turn);
    }

    /// One Gauss-Newton step from the present phase and gain.
    void measureFrame(int frame)
    {
        const double gain = std::exp(std::clamp(logGain[frame], -largestLogGain, largestLogGain));
        findTurns(frame);
        for (std::size_t i = 0; i < used.size(); ++i)
            factors.set(i, gain * turns[turnOf[i]]);
        const std::size_t at = indexOf(frame, stride);
        const MotionStep step =
            measureStep({&readings.real[at], &readings.imaginary[at], &noise[at], &pattern.real[at],
                         &pattern.imaginary[at], harmonics.data(), stride},
                        factors, leastNoiseShare);
        const double turnInformation = step.turnInformation + leastInformation;
        const double growthInformation = step.growthInformation + leastInformation;
        if (hasPhase)
            phase[frame] +=
                std::clamp(step.turn / turnInformation, -largestPhaseStep, largestPhaseStep);
        phaseVariances[frame] = 0.5 / turnInformation;
        if (hasGain)
            logGain[frame] +=
                std::clamp(step.growth / growthInformation, -largestGainStep, largestGainStep);
        gainVariances[frame] = 0.5 / growthInformation;
    }

    const HarmonicLines& lines;
    const Series<char>& isSkipped;
    const SmoothAmplitudes& smooth;
    bool hasPhase;
    bool hasGain;
    Series<char> isJump;
    Series<double> phase;
    Series<double> logGain;
    Series<double> phaseVariances;
    Series<double> gainVariances;
    Series<int> used; // lines that are present
    int stride = 0;   // of frames in the tables below
    SplitComplex<float> readings;
    Series<float> noise;
    SplitComplex<float> pattern;
    Series<float> harmonics;
    Series<double> levels;       // of the gain
    Series<Complex> turns;       // of the frame that is worked on, [harmonic - 1]
    Series<int> turnOf;          // which of them each used line has
    SplitComplex<float> factors; // what they are with the gain
};

} // namespace

CommonMotion measureMotion(Motion motion, const HarmonicLines& lines, const Series<char>& isSkipped,
                           const SmoothAmplitudes& smooth, const Series<int>& restarts,
                           const Series<double>& base)
{
    return Measurement(motion, lines, isSkipped, smooth).measure(restarts, base);
}

} // namespace orvo::audio::precise
