#include "tests/support/InstructionSets.h"
#include "tests/support/PlainEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace testing_support;
using orvo::audio::HarmonicStatus;

namespace
{

/// A stretch of playing in one format, from which the next one goes on with the same engine.
struct Round
{
    double sampleRate;
    int numChannels;

    /// The longest host block, as a share of a hop.
    double longestBlock;
    EngineSettings settings;
};

/// Hum that starts late and jumps in phase, different in every channel, with noise over it: some
/// harmonics come out clearly, some not, and some are lost again.
Signal32 makeProgram(double sampleRate, double fundamental, int numChannels)
{
    const Signal32 noise = makeNoise(-48.0, sampleRate, 0.9, numChannels);
    const int length = noise.getNumSamples();
    return makeSignal(numChannels, length,
                      [&](int channel, int n)
                      {
                          const double t = 6.283185307179586 * fundamental * n / sampleRate;
                          const double jump = n > 2 * length / 3 ? 0.05 : 0.0;
                          double hum = 0.0;
                          for (int h = 1; h <= 30 && (channel > 0 || n > length / 4); ++h)
                              hum += std::cos(h * (t + jump) + h * h + channel) / h;
                          return 0.05 * hum + noise.getReadChannelPtr(channel)[n];
                      });
}

class Comparison
{
public:
    explicit Comparison(const EngineSettings& settings)
        : plain(settings)
    {
        apply(settings, engine);
    }

    /// Plays a round through both, with bypasses, resets and changes of settings strewn in.
    void play(const Round& round)
    {
        plain.settings = round.settings;
        apply(round.settings, engine);
        ASSERT_TRUE(engine.setFormat(makeFormat(round.numChannels, round.sampleRate),
                                     makeFormat(round.numChannels, round.sampleRate)));
        plain.setFormat(round.numChannels, round.sampleRate);
        const Signal32 program =
            makeProgram(round.sampleRate, static_cast<double>(round.settings.fundamental) + 0.15,
                        round.numChannels);
        const int longest = std::max(static_cast<int>(round.longestBlock * engine.getHopSize()), 1);
        bool isBypassed = false;
        for (int position = 0, call = 0; position < program.getNumSamples(); ++call)
        {
            const int length =
                std::min(1 + static_cast<int>(random() % static_cast<unsigned>(longest)),
                         program.getNumSamples() - position);
            changeSomething(call * longest, engine.getHopSize(), isBypassed);
            const Signal32 block = cut(program, position, length);
            compare(engine.process(block, isBypassed), plain.process(block, isBypassed));
            if (testing::Test::HasFatalFailure())
                FAIL() << "after " << position / round.sampleRate << " s at " << round.sampleRate
                       << " Hz, " << round.numChannels << " channels";
            position += length;
        }
    }

    float largestChange = 0.0F;

private:
    /// Something happens about every third hop.
    void changeSomething(int position, int hop, bool& isBypassed)
    {
        if (position / (3 * hop) == lastChange)
            return;
        lastChange = position / (3 * hop);
        switch (random() % 8)
        {
        case 0:
            isBypassed = !isBypassed;
            break;
        case 1:
            engine.reset();
            plain.reset();
            break;
        case 2:
            plain.settings.aggressive = !plain.settings.aggressive;
            break;
        case 3:
            plain.settings.harmonics = static_cast<int>(random() % 97);
            break;
        case 4:
            plain.settings.residual = !plain.settings.residual;
            break;
        default:
            break;
        }
        apply(plain.settings, engine);
    }

    void compare(const Signal32& output, const Signal32& expected)
    {
        ASSERT_EQ(output.getNumSamples(), expected.getNumSamples());
        ASSERT_EQ(engine.getCurrentFundamental(), plain.fundamental);
        // Fused products and sums, other orders and priming in closed form stay far below single
        // precision, which leaves the rounding of samples to their other neighbour: once for the
        // sum of the trackers, and once in every stage of a cascade.
        ASSERT_LT(peakOf(difference(output, expected)), 6.0e-7F);
        ASSERT_LT(peakOf(difference(engine.getInputMagnitudes(), plain.display)), 1.0e-6F);
        ASSERT_EQ(engine.getInputMagnitudes().getNumSamples(), plain.display.getNumSamples());
        const auto isSame = [](const HarmonicStatus& a, const HarmonicStatus& b)
        { return a.frequency == b.frequency && a.present == b.present; };
        ASSERT_TRUE(std::ranges::equal(engine.getDetectionStatus(), plain.getStatus(), isSame));
        largestChange = std::max(largestChange, peakOf(output));
    }

    orvo::audio::Kalimmer engine;
    PlainEngine plain;
    std::mt19937 random{7}; // its sequence is the same everywhere
    int lastChange = 0;
};

void playAll(const std::vector<Round>& rounds)
{
    Comparison comparison(rounds.front().settings);
    for (const Round& round : rounds)
        ASSERT_NO_FATAL_FAILURE(comparison.play(round));
    EXPECT_GT(comparison.largestChange, 0.01F);
}

} // namespace

TEST(Engine, doesWhatItIsDefinedToDoThroughChangesOfSettingsAndFormats)
{
    const EngineSettings forty{.fundamental = 60.0F, .adaptivity = 25.0F, .harmonics = 40};
    const EngineSettings notches{.fundamental = 60.0F, .harmonics = 40, .aggressive = true};
    // Each list is one engine, from one format to the next: longer and shorter hops, other
    // channels.
    playAll({{8000.0, 2, 0.3, forty}, {48000.0, 2, 0.9, forty}, {44100.0, 1, 0.1, forty}});
    playAll({{48000.0, 1, 0.5, notches}, {96000.0, 1, 0.5, notches}, {48000.0, 3, 2.5, notches}});
    playAll({{44100.0, 3, 0.2, {.fundamental = 47.0F, .adaptivity = 5.0F, .harmonics = 20}},
             {48000.0, 2, 3.0, {.fundamental = 100.0F, .harmonics = 96, .onlyOdd = true}},
             {96000.0, 2, 0.02, {.adaptivity = 0.0F, .harmonics = 12, .residual = true}},
             {8000.0, 1, 1.0, {.adaptivity = 60.0F, .harmonics = 96, .aggressive = true}}});
}

TEST(Engine, doesTheSameWithEveryInstructionSet)
{
    // Every number of vectors in use, and channels that run side by side and alone.
    const auto playShort = []
    {
        playAll({{8000.0, 3, 0.7, {.harmonics = 7}},
                 {8000.0, 1, 0.4, {.harmonics = 33}},
                 {11025.0, 2, 0.4, {.harmonics = 17, .aggressive = true}},
                 {8000.0, 3, 0.9, {.harmonics = 70, .aggressive = true}}});
    };
    forEachInstructionSet(playShort);
}
