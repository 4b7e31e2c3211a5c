#include "dsp/hum/NotchCascade.h"
#include "dsp/hum/SteadyState.h"
#include "dsp/hum/TrackerBank.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/PlainEngine.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

using namespace testing_support;
using orvo::audio::HarmonicSelection;
using orvo::audio::IirCoefficients;
using orvo::audio::IirFilter64;
using orvo::audio::NotchCascade;
using orvo::audio::TrackerBank;

namespace
{

constexpr double sampleRate = 48000.0;

// The kernels fuse products and sums, sum in other orders and prime in closed form. All of that is
// far below single precision, so what remains is the rounding of a few samples to the other
// neighbour.
constexpr float rounding = 1.2e-7F;

/// A fundamental that wanders, as a tracked one does.
float wandering(int frame)
{
    return 50.0F + 0.07F * static_cast<float>(frame % 5);
}

Signal32 makeProgram(double noiseDb, double seconds, int numChannels)
{
    return mix(makeHum({.numHarmonics = 40}, sampleRate, seconds, numChannels),
               makeNoise(noiseDb, sampleRate, seconds, numChannels));
}

} // namespace

TEST(TrackerBank, doesWhatItsTrackersDoOneByOne)
{
    struct Case
    {
        int frameLength;
        int numChannels;
        HarmonicSelection selection;
    };

    const auto compare = []
    {
        for (const auto& [length, numChannels, whole] :
             {Case{2048, 2, {20, false}}, Case{2048, 1, {1, false}}, Case{1024, 3, {96, true}},
              Case{333, 1, {33, false}}, Case{5, 1, {7, false}}})
        {
            const Signal32 program = makeProgram(-50.0, 0.6, numChannels);
            TrackerBank bank;
            bank.setFormat(numChannels, sampleRate, length);
            PlainBank plain(numChannels, sampleRate);
            for (int frame = 0; frame < 10; ++frame)
            {
                const Signal32 input = cut(program, frame * length, length);
                // New harmonics join in the middle and have to be primed beside old ones.
                const HarmonicSelection selection(frame < 4 ? whole.count / 2 : whole.count,
                                                  whole.onlyOdd);
                Signal32 output = input;
                bank.subtractHarmonics(input, output, wandering(frame), selection);
                const Signal32 expected = plain.clean(input, wandering(frame), selection);
                ASSERT_LT(peakOf(difference(output, expected)), rounding)
                    << length << " samples, frame " << frame;
                for (int index = 0; index < selection.count; ++index)
                    ASSERT_EQ(bank.getTracker(index).isSinusoidalPresent(), plain.isPresent(index))
                        << "frame " << frame << ", index " << index;
            }
        }
    };
    forEachInstructionSet(compare);
}

TEST(NotchCascade, doesWhatItsStagesDoOneAfterTheOther)
{
    // A pair of channels that run side by side, and one that is left over.
    const Signal32 program = makeProgram(-30.0, 0.5, 3);
    const auto compare = [&]
    {
        for (const int count : {1, 2, 7, 8, 16, 17, 40, 96})
        {
            NotchCascade cascade;
            cascade.setFormat(3, sampleRate);
            PlainCascade plain(sampleRate);
            int position = 0;
            int frame = 0;
            for (const int length : {2048, 1, 3, 15, 16, 17, 64, 2048, 500, 2048})
            {
                // Tuned anew at every second block, and the selection changes once.
                const float fundamental = wandering(frame++ / 2);
                const HarmonicSelection selection(count, count == 40 && frame > 5);
                const Signal32 input = cut(program, position, length);
                Signal32 output = input;
                cascade.process(output, fundamental, selection);
                // Every one of the stages may round to the other neighbour.
                ASSERT_LT(peakOf(difference(output, plain.clean(input, fundamental, selection))),
                          6.0e-7F)
                    << count << " stages, " << length << " samples";
                position += length;
            }
        }
    };
    forEachInstructionSet(compare);
}

TEST(SteadyState, equalsTheRepeatedPasses)
{
    IirFilter64 filter;
    filter.setFilter(1, IirCoefficients::createBandPass(100.0, 10.0, sampleRate));
    const auto taps = filter.getNormalisedTaps();
    const auto period = cut(makeHum({}, sampleRate, 1.0), 0, 960).toSignal64();
    filter.process(period);
    const std::array<double, 2> once{filter.getDelayLine(0)[0], filter.getDelayLine(0)[1]};
    for (int pass = 1; pass < 25; ++pass)
        filter.process(period);
    const auto closed = orvo::audio::repeatPasses(once, taps[4], taps[5], 960, 25);
    EXPECT_NEAR(closed[0], filter.getDelayLine(0)[0], 1e-12);
    EXPECT_NEAR(closed[1], filter.getDelayLine(0)[1], 1e-12);
}
