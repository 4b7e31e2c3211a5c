#include "dsp/precise/ChangeFinder.h"
#include "dsp/precise/GridKernels.h"
#include "dsp/precise/PathSmoother.h"
#include "dsp/precise/TableKernel.h"
#include "dsp/precise/WalkKernel.h"
#include "tests/dsp/precise/Recordings.h"
#include "tests/support/InstructionSets.h"

using namespace orvo::audio::precise;
using namespace testing_support;

namespace
{

/// A walking line by its definition, one value after the other in double precision.
struct PlainWalk
{
    const HarmonicLines& lines;
    const Walks& walks;
    int line;
    double step;

    struct State
    {
        Complex mean;
        double variance;
    };

    State start() const { return {0.0, walks.startVariances[line]}; }

    double getJump(int frame) const
    {
        return frame < lines.numFrames && walks.isJump[frame] != 0 ? walks.jumpVariances[line]
                                                                   : 0.0;
    }

    /// Gives the frame's part of the logarithm of the likelihood.
    double update(State& s, int frame, double noise, bool isRobust) const
    {
        const bool isSkipped = walks.isSkipped[frame] != 0;
        const Complex error = lines.amplitudes[lines.at(frame, line)] - (isSkipped ? 0.0 : s.mean);
        const double total = isSkipped ? noise : s.variance + noise;
        const double ratio = std::norm(error) / total;
        const double factor = std::max((ratio + 2.0) / 3.0, 0.5);
        const double gain =
            isSkipped ? 0.0 : s.variance / (s.variance + noise * (isRobust ? factor : 1.0));
        s.mean += gain * error;
        s.variance -= gain * s.variance;
        return -std::log(total) - 3.0 * std::log1p(ratio / 2.0);
    }

    double getNoise(int frame) const { return lines.noise[lines.at(frame, line)]; }

    double getLikelihood() const
    {
        double likelihood = 0.0;
        State state = start();
        for (int k = 0; k < lines.numFrames; ++k)
        {
            state.variance += step + getJump(k);
            likelihood += update(state, k, getNoise(k), true);
        }
        return likelihood;
    }

    std::vector<State> smooth() const
    {
        std::vector<State> states(static_cast<std::size_t>(lines.numFrames));
        std::vector<double> noise;
        for (int k = 0; k < lines.numFrames; ++k)
            noise.push_back(getNoise(k));
        for (int round = 0; round < 3; ++round)
        {
            State state = start();
            for (int k = 0; k < lines.numFrames; ++k)
            {
                state.variance += step + getJump(k);
                update(state, k, noise[static_cast<std::size_t>(k)], round == 0);
                states[static_cast<std::size_t>(k)] = state;
            }
            for (int k = lines.numFrames - 2; k >= 0; --k)
            {
                State& here = states[static_cast<std::size_t>(k)];
                const State& next = states[static_cast<std::size_t>(k) + 1];
                const double predicted = here.variance + step + getJump(k + 1);
                const double gain = here.variance / predicted;
                here.mean += gain * (next.mean - here.mean);
                here.variance += gain * gain * (next.variance - predicted);
            }
            for (int k = 0; k < lines.numFrames; ++k)
            {
                const Complex value = lines.amplitudes[lines.at(k, line)];
                const double error = std::norm(value - states[static_cast<std::size_t>(k)].mean);
                noise[static_cast<std::size_t>(k)] =
                    std::max((2.0 * getNoise(k) + error) / 3.0, 0.4 * getNoise(k));
            }
        }
        return states;
    }
};

} // namespace

TEST(WalkKernel, agreesWithThePlainFormForEveryInstructionSet)
{
    Dice dice;
    HarmonicLines lines = makeLines(1, 19, 203, 0.0, 0.04); // a pack and a part of one
    for (std::size_t at = 0; at < lines.noise.size(); ++at)
    {
        lines.noise[at] = std::pow(10.0, dice.uniform(-9.0, -3.0));
        lines.amplitudes[at] = 0.01 + makeNoise(dice, lines.noise[at]);
    }
    const PackedLines packed(lines);
    using Lanes = orvo::audio::precise::Series<float>;
    Walks walks{packed, Lanes(32, 1e-2F), Lanes(32, 1e-3F), {}, {}};
    walks.isSkipped.resize(203);
    walks.isJump.resize(203);
    walks.isJump[90] = walks.isSkipped[30] = walks.isSkipped[31] = 1;
    std::array<Lanes, numWalkSizes> steps;
    for (std::size_t size = 0; size < numWalkSizes; ++size)
        steps[size].assign(32,
                           static_cast<float>(std::pow(10.0, -12.0 + static_cast<double>(size))));
    const orvo::audio::precise::Series<char> nothing(203);
    forEachInstructionSet(
        [&]
        {
            const auto likelihoods = getWalkLikelihoods(walks, steps);
            const WalkEstimates estimates = smoothWalks(walks, steps[4], nothing);
            for (int line = 0; line < 19; ++line)
            {
                for (std::size_t size = 0; size < numWalkSizes; ++size) // thousands in the sum
                    EXPECT_NEAR(likelihoods[line][size],
                                (PlainWalk{lines, walks, line, steps[size][0]}.getLikelihood()),
                                0.02);
                const auto smooth = PlainWalk{lines, walks, line, steps[4][0]}.smooth();
                for (int k = 0; k < 203; ++k)
                {
                    const std::size_t at = packed.at(line) + indexOf(k, PackedLines::width);
                    const auto& plain = smooth[static_cast<std::size_t>(k)];
                    EXPECT_NEAR(estimates.real[at], plain.mean.real(), 1e-7);
                    EXPECT_NEAR(estimates.imaginary[at], plain.mean.imag(), 1e-7);
                    // The smoother subtracts variances that are nearly equal.
                    EXPECT_NEAR(estimates.variances[at] / plain.variance, 1.0, 0.01);
                }
            }
        });
}

TEST(GridKernels, agreeWithThePlainFormsForEveryInstructionSet)
{
    constexpr int count = 61; // no multiple of any vector
    Dice dice;
    const Complex value(0.3, -0.2);
    const Complex other(-0.1, 0.7);
    SplitComplex<float> readings(2);
    readings.set(0, value);
    readings.set(1, other);
    const GainEvidence evidence{0.13, 0.2, -0.05, 1e-3, 1e-3};
    SplitComplex<float> turns(2 * count);
    SplitComplex<double> expected(2 * count);
    orvo::audio::precise::Series<double> gains;
    for (int i = 0; i < 2 * count; ++i)
    {
        gains.push_back(dice.uniform(0.01, 5.0));
        turns.set(static_cast<std::size_t>(i), std::polar(1.0, dice.uniform(0.0, fullTurn)));
        expected.set(static_cast<std::size_t>(i), makeNoise(dice, 1.0));
    }
    forEachInstructionSet(
        [&]
        {
            orvo::audio::precise::Series<float> sums(count, 1.0F);
            SplitComplex<float> squares = turns;
            orvo::audio::precise::Series<double> products(count, 2.0);
            orvo::audio::precise::Series<double> scores(count, 1.0);
            multiplyInPlace(squares, turns);
            addScores({readings, turns, 0, {3.0}, 0.2}, false, 2, count, sums.data());
            multiplyErrors(value, expected, count, count, 7.0, products.data());
            multiplyGainErrors(evidence, gains.data(), count, products.data());
            const auto factors = products;
            collectLogarithms(3.0, count, products.data(), scores.data());
            for (int i = 0; i < count; ++i)
            {
                const Complex turn(turns.real[count + i], turns.imaginary[count + i]);
                const Complex error =
                    value - Complex(expected.real[count + i], expected.imaginary[count + i]);
                const double gain = gains[i];
                const double rest = std::max(0.0, 0.13 + gain * (0.2 * gain + 0.1));
                const double factor = 2.0 * (1.0 + 7.0 * std::norm(error)) *
                                      (1.0 + rest / (1e-3 + 1e-3 * gain * gain * 0.2));
                EXPECT_NEAR(squares.real[count + i], (turn * turn).real(), 1e-6);
                EXPECT_NEAR(squares.imaginary[count + i], (turn * turn).imag(), 1e-6);
                const Complex before(turns.real[i], turns.imaginary[i]);
                const double clear = std::norm(value * before + other * turn) / 3.0;
                EXPECT_NEAR(sums[i], 1.0 + clear / (1.0 + clear / 0.2), 1e-6);
                EXPECT_NEAR(factors[i], factor, 1e-12 * factor);
                EXPECT_NEAR(scores[i], 1.0 - 3.0 * std::log(factor), 1e-12);
                EXPECT_EQ(products[i], 1.0);
            }
        });
}

TEST(GridKernels, measureAStepAsItsDefinitionDoesForEveryInstructionSet)
{
    constexpr int count = 2 * FrameLines::group;
    Dice dice;
    SplitComplex<float> values(count);
    SplitComplex<float> expected(count);
    SplitComplex<float> turns(count);
    orvo::audio::precise::Series<float> noise;
    orvo::audio::precise::Series<float> harmonics;
    MotionStep plain;
    for (std::size_t i = 0; i < count; ++i)
    {
        const Complex pattern = makeNoise(dice, 1.0);
        const Complex turn = std::polar(1.2, dice.uniform(0.0, fullTurn));
        const Complex error = makeNoise(dice, 1e-2);
        const double h = static_cast<double>(i % 24) + 1.0;
        const double read = std::pow(10.0, dice.uniform(-8.0, -2.0));
        values.set(i, pattern * turn + error);
        expected.set(i, pattern);
        turns.set(i, turn);
        noise.push_back(static_cast<float>(read));
        harmonics.push_back(static_cast<float>(h));
        const double power = std::norm(pattern * turn);
        const double used = std::max({read, 1e-5 * power, (2.0 * read + std::norm(error)) / 3.0});
        const Complex gradient = error * std::conj(pattern * turn) / used;
        plain.turn += h * gradient.imag();
        plain.turnInformation += h * h * power / used;
        plain.growth += gradient.real();
        plain.growthInformation += power / used;
    }
    forEachInstructionSet(
        [&]
        {
            const MotionStep step = measureStep(
                {values.real.data(), values.imaginary.data(), noise.data(), expected.real.data(),
                 expected.imaginary.data(), harmonics.data(), count},
                turns, 1e-5F);
            // The error is a small difference of values in single precision.
            EXPECT_NEAR(step.turn, plain.turn, 1e-4 * std::sqrt(plain.turnInformation));
            EXPECT_NEAR(step.growth, plain.growth, 1e-4 * std::sqrt(plain.growthInformation));
            EXPECT_NEAR(step.turnInformation / plain.turnInformation, 1.0, 1e-4);
            EXPECT_NEAR(step.growthInformation / plain.growthInformation, 1.0, 1e-4);
        });
}

TEST(GridKernels, findTheOriginThatGainsMostForEveryInstructionSet)
{
    constexpr int count = 61;
    Dice dice;
    orvo::audio::precise::Series<double> gains; // a circle: the ends are repeated
    for (int i = 0; i < count; ++i)
        gains.push_back(dice.uniform(0.0, 60.0));
    gains.insert(gains.begin(), gains.back());
    gains.push_back(gains[1]);
    const auto top =
        static_cast<int>(std::max_element(gains.begin() + 1, gains.end() - 1) - gains.begin()) - 1;
    forEachInstructionSet(
        [&]
        {
            orvo::audio::precise::Series<double> best(count);
            orvo::audio::precise::Series<double> bestPhase(count);
            orvo::audio::precise::Series<float> origins(count);
            orvo::audio::precise::Series<float> phases(count);
            findOrigins({gains.begin() + 1, gains.end() - 1}, 2.0, best, origins.data());
            findPhaseOrigins(gains.data(), count, {2.0, 30.0, top, 99, 20.0}, bestPhase.data(),
                             phases.data());
            for (int i = 0; i < count; ++i)
            {
                double most = 0.0;
                double mostPhase = 20.0; // from outside
                for (int from = 0; from < count; ++from)
                {
                    const int distance = std::abs(i - from);
                    most = std::max(most, gains[from + 1] - 2.0 * distance * distance);
                    const bool isBeside = distance == 1 || distance == count - 1;
                    const double cost = isBeside ? 2.0 : 30.0;
                    mostPhase = std::max(mostPhase, gains[from + 1] - (distance == 0 ? 0.0 : cost));
                }
                EXPECT_EQ(best[i], most);
                EXPECT_EQ(bestPhase[i], mostPhase);
                const auto origin = static_cast<int>(origins[i]);
                EXPECT_EQ(gains[origin + 1] - 2.0 * (origin - i) * (origin - i), most);
                const auto phase = static_cast<int>(phases[i]);
                EXPECT_EQ(phase == 99, mostPhase == 20.0);
                EXPECT_TRUE(phase == 99 || (phase >= 0 && phase < count));
            }
        });
}

TEST(TableKernel, addsMovingHarmonicsForEveryInstructionSet)
{
    constexpr int count = 61; // no multiple of any vector
    constexpr std::size_t numHarmonics = 3;
    Dice dice;
    MovingAmplitudes amplitudes{SplitComplex<float>(numHarmonics),
                                SplitComplex<float>(numHarmonics)};
    SplitComplex<float> waves(numHarmonics * tableChunk);
    std::array<double, count> now{};
    std::array<double, count> step{};
    for (std::size_t h = 0; h < numHarmonics; ++h)
    {
        const Complex amplitude = makeNoise(dice, 1.0);
        const Complex growth = makeNoise(dice, 1.0);
        amplitudes.now.set(h, amplitude);
        amplitudes.step.set(h, growth);
        for (std::size_t i = 0; i < count; ++i)
        {
            const Complex wave = std::polar(1.0, dice.uniform(0.0, fullTurn));
            waves.set(h * tableChunk + i, wave);
            now[i] += (amplitude * wave).real();
            step[i] += (growth * wave).real();
        }
    }
    forEachInstructionSet(
        [&]
        {
            std::array<float, tableChunk> result{};
            addHarmonics(amplitudes, waves, -0.2F, 0.03F, count, result);
            for (std::size_t i = 0; i < count; ++i)
            {
                const double weight = std::clamp(0.03 * static_cast<double>(i) - 0.2, 0.0, 1.0);
                EXPECT_NEAR(result[i], now[i] + weight * step[i], 2e-6);
            }
        });
}

TEST(PathSmoother, findsAPathUnderNoiseWithOutliersAndALeap)
{
    Dice dice;
    orvo::audio::precise::Series<double> path;
    orvo::audio::precise::Series<double> measured;
    orvo::audio::precise::Series<char> isRestarted(400);
    isRestarted[250] = 1;
    for (int k = 0; k < 400; ++k)
    {
        path.push_back(0.012 * k + 0.2 * std::sin(0.02 * k) + (k >= 250 ? 1.5 : 0.0));
        measured.push_back(path[k] + 0.1 * makeNormal(dice) + (k % 50 == 25 ? 8.0 : 0.0));
    }
    const orvo::audio::precise::Series<double> variances(400, 0.01);
    const SmoothPath smooth = smoothPath(measured, variances, isRestarted, 0.04, 2);
    // Some 60 frames tell each point: 0.1 becomes 0.013, several times that at ends and leap.
    for (int k = 0; k < 400; ++k)
    {
        EXPECT_NEAR(smooth.values[k], path[k], 0.08) << k;
        EXPECT_NEAR(smooth.speeds[k], 0.3 + 0.1 * std::cos(0.02 * k), 0.1) << k;
    }
}

TEST(PhaseTrack, isTheIntegralOfItsFrequencyAtOneAndAtManyTimes)
{
    const auto rising = PhaseTrack::fromFrequencies(0.04, 0.08, {50.0, 50.5, 51.0, 51.5});
    EXPECT_NEAR(rising.getPhase(0.27), 0.23 * 50.0 + 0.5 * 6.25 * 0.23 * 0.23, 1e-9); // a parabola
    const PhaseTrack bent(0.04, 0.08, {1e4, 1e4 + 4.1, 1e4 + 7.9}, {50.0, 51.0, 48.0});
    for (const PhaseTrack& track : {PhaseTrack(49.97), bent})
    {
        orvo::audio::precise::Series<double> phases(1000);
        track.getPhases(-0.05, 3e-4, 1000, phases.data());
        for (int i = 0; i < 1000; ++i)
        {
            const double time = -0.05 + i * 3e-4;
            const double distance = phases[i] - track.getPhase(time);
            EXPECT_NEAR(distance, std::round(distance), 1e-9);
            EXPECT_TRUE(phases[i] >= 0.0 && phases[i] < 1.0);
            // Where pieces meet the curvature leaps.
            EXPECT_NEAR((track.getPhase(time + 1e-5) - track.getPhase(time - 1e-5)) / 2e-5,
                        track.getFrequency(time), 0.01);
        }
    }
}

TEST(ChangeFinder, findsALeapAndAnAbsenceToAFrame)
{
    Dice dice;
    HarmonicLines lines = makeLines(1, 10, 300, 0.04, 0.04);
    for (int frame = 0; frame < 300; ++frame)
        for (int line = 0; line < 10; ++line)
        {
            const bool isOn = frame < 150 || frame >= 210;
            const double phase = line * line + (frame < 80 ? 0.0 : 1.0 + line);
            lines.noise[lines.at(frame, line)] = 1e-4;
            lines.amplitudes[lines.at(frame, line)] =
                makeNoise(dice, 1e-4) + std::polar(isOn ? 0.1 / (1 + line) : 0.0, phase);
        }
    const orvo::audio::precise::Series<char> isSkipped(300);
    const auto segments = findChanges(lines, AmplitudeSmoother(lines, isSkipped).smooth());
    ASSERT_EQ(segments.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i)
    {
        EXPECT_NEAR(segments[i].first, (std::array{0, 80, 150, 210}[i]), 1);
        EXPECT_EQ(segments[i].isOn, i != 2);
    }
    // Phases are those of 128 steps.
    EXPECT_NEAR(segments[1].phase - segments[0].phase, 1.0, fullTurn / 128.0);
    EXPECT_NEAR(segments[3].phase - segments[1].phase, 0.0, fullTurn / 128.0);
}
