#include "dsp/precise/FrameSums.h"
#include "dsp/precise/GridKernels.h"
#include "dsp/precise/PackedLines.h"
#include "dsp/precise/RowKernels.h"
#include "tests/dsp/precise/Recordings.h"
#include "tests/support/InstructionSets.h"

using namespace orvo::audio::precise;
using namespace testing_support;

namespace
{

using Doubles = orvo::audio::precise::Series<double>;

/// Rows of numbers, one pointer for each.
struct Rows
{
    explicit Rows(int numRows, std::size_t count, Dice& dice)
    {
        for (int row = 0; row < numRows; ++row)
        {
            Doubles& numbers = values.emplace_back();
            for (std::size_t i = 0; i < count; ++i)
                numbers.push_back(dice.uniform(-1.0, 1.0));
            weights.push_back(dice.uniform(0.0, 1.0));
        }
        for (const Doubles& row : values)
            pointers.push_back(row.data());
    }

    double sum(int i) const
    {
        double result = 0.0;
        for (std::size_t row = 0; row < values.size(); ++row)
            result += values[row][i] * weights[row];
        return result;
    }

    WeightedRows get() const
    {
        return {pointers.data(), weights.data(), static_cast<int>(weights.size())};
    }

    std::vector<Doubles> values;
    std::vector<const double*> pointers;
    Doubles weights;
};

} // namespace

TEST(RowKernels, areThePlainFormsForEveryInstructionSet)
{
    constexpr int count = 61; // no multiple of any vector
    Dice dice;
    const Rows rows(7, 2 * count, dice);
    orvo::audio::precise::Series<Complex> values;
    for (int i = 0; i < count; ++i)
        values.push_back(makeNoise(dice, 1.0));
    forEachInstructionSet(
        [&]
        {
            Doubles sums(count);
            Doubles powers(count);
            sumRows(rows.get(), 3.0, count, sums.data());
            getDistances(rows.get(), values.data(), count, powers.data());
            for (int i = 0; i < count; ++i)
            {
                EXPECT_EQ(sums[i], rows.sum(i) / 3.0);
                EXPECT_EQ(powers[i],
                          getPower(values[i] - Complex(rows.sum(2 * i), rows.sum(2 * i + 1))));
            }
        });
}

TEST(GridKernels, scoreAGroupOfWindowsAsOneByOneForEveryInstructionSet)
{
    constexpr int count = 61;
    constexpr int numReadings = 5;
    constexpr int group = TurnedReadings::group;
    Dice dice;
    SplitComplex<float> turns(numReadings * count);
    for (std::size_t i = 0; i < turns.real.size(); ++i)
        turns.set(i, std::polar(1.0, dice.uniform(0.0, fullTurn)));
    SplitComplex<float> readings(group * numReadings);
    for (std::size_t i = 0; i < readings.real.size(); ++i)
        readings.set(i, makeNoise(dice, 1.0));
    forEachInstructionSet(
        [&]
        {
            orvo::audio::precise::Series<float> scores(group * count);
            orvo::audio::precise::Series<float> single(count);
            addScores({readings, turns, 0, {1.0, 2.0, 3.0, 4.0}, 0.2}, true, numReadings, count,
                      scores.data());
            for (int window = 0; window < group; ++window)
            {
                SplitComplex<float> own(numReadings);
                for (int k = 0; k < numReadings; ++k)
                    own.set(static_cast<std::size_t>(k),
                            {readings.real[window * numReadings + k],
                             readings.imaginary[window * numReadings + k]});
                std::fill(single.begin(), single.end(), 0.0F);
                addScores({own, turns, 0, {window + 1.0}, 0.2}, false, numReadings, count,
                          single.data());
                for (int i = 0; i < count; ++i)
                    EXPECT_EQ(scores[window * count + i], single[i]);
            }
        });
}

TEST(PackedLines, giveMediansAndEstimatesForEveryInstructionSet)
{
    constexpr int numLines = 21; // a pack and a part of one
    Dice dice;
    HarmonicLines lines = makeLines(1, numLines, 50, 0.0, 0.04);
    for (std::size_t at = 0; at < lines.noise.size(); ++at)
    {
        lines.noise[at] = std::pow(10.0, dice.uniform(-9.0, -3.0));
        lines.amplitudes[at] = makeNoise(dice, 1.0);
    }
    orvo::audio::precise::Series<char> isSkipped(50);
    isSkipped[3] = isSkipped[4] = isSkipped[20] = 1; // an odd number is left
    forEachInstructionSet(
        [&]
        {
            const PackedLines packed(lines);
            for (const int first : {0, PackedLines::width})
            {
                const int count = std::min(PackedLines::width, numLines - first);
                const auto medians = getMedianNoise(packed, isSkipped, first);
                const std::size_t from = packed.at(first);
                PackEstimates estimates{&packed.real[from],
                                        &packed.imaginary[from],
                                        &packed.noise[from],
                                        50,
                                        count,
                                        {},
                                        {}};
                estimates.doubts.fill(0.7);
                estimates.isPresent.fill(1.0);
                estimates.isPresent[1] = 0.0;
                orvo::audio::precise::Series<Complex> amplitudes(lines.amplitudes.size());
                Doubles variances(amplitudes.size());
                unpack(estimates, numLines, &amplitudes[first], &variances[first]);
                for (int line = first; line < first + count; ++line)
                {
                    Doubles noise;
                    for (int k = 0; k < 50; ++k)
                    {
                        const std::size_t at = lines.at(k, line);
                        if (isSkipped[k] == 0)
                            noise.push_back(static_cast<float>(lines.noise[at]));
                        const double share =
                            getPower(lines.amplitudes[at]) /
                            (getPower(lines.amplitudes[at]) + 0.7 * lines.noise[at]);
                        const bool isThere = line - first != 1;
                        const Complex wanted = isThere ? share * lines.amplitudes[at] : 0.0;
                        EXPECT_NEAR(std::abs(amplitudes[at] - wanted), 0.0, 1e-6);
                        EXPECT_NEAR(variances[at], isThere ? lines.noise[at] : 0.0, 1e-9);
                    }
                    std::sort(noise.begin(), noise.end());
                    EXPECT_EQ(medians[static_cast<std::size_t>(line - first)],
                              static_cast<float>(noise[noise.size() / 2]));
                }
            }
        });
}

TEST(FrameSums, areTheirDefinitionAtTheEndsTooForEveryInstructionSet)
{
    constexpr int numSamples = 150;
    const orvo::audio::precise::Series<float> window(41, 0.5F);
    Dice dice;
    std::vector<orvo::audio::precise::Series<float>> channels(3);
    orvo::audio::precise::Series<const float*> pointers;
    for (auto& channel : channels)
    {
        for (int i = 0; i < numSamples; ++i)
            channel.push_back(static_cast<float>(dice.uniform(-1.0, 1.0)));
        pointers.push_back(channel.data());
    }
    const Doubles frequencies{0.05, 0.1, 0.31};
    forEachInstructionSet(
        [&]
        {
            FrameSums sums(window);
            for (const int centre : {10, 75, 140})
            {
                sums.read(pointers, numSamples, centre, frequencies);
                for (int channel = 0; channel < 3; ++channel)
                    for (int f = 0; f < 3; ++f)
                    {
                        Complex sum;
                        for (int t = -40; t <= 40; ++t)
                            if (centre + t >= 0 && centre + t < numSamples)
                                sum += 0.5 * pointers[channel][centre + t] *
                                       std::polar(1.0, -fullTurn * frequencies[f] * t);
                        EXPECT_NEAR(std::abs(sums.get(channel, f) - sum), 0.0, 1e-5);
                    }
            }
        });
}
