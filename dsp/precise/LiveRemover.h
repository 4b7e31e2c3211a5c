#pragma once

#include "dsp/precise/LiveContest.h"
#include "dsp/precise/LiveGuard.h"
#include "dsp/precise/LivePlan.h"
#include "dsp/precise/LiveReader.h"

#include <array>
#include <cstdint>
#include <vector>

namespace orvo::audio::precise
{

/// Removes mains hum from a running signal: a phase, a gain and slowly moving amplitudes are
/// followed by filters, and what they predict is subtracted. Where no hum is certain the samples
/// pass unchanged. The result does not depend on how the signal is cut into host blocks.
///
/// prepare() must come first and is not for the audio thread, nor is any other call meant to run
/// beside process().
class LiveRemover
{
public:
    struct Settings
    {
        /// The fundamental in Hz, 16 to 400; it may lie 1.8 % off.
        double fundamental = 50.0;

        /// Seconds by which the output is late and that may be used to see what comes.
        double lookAhead = 0.0;

        /// The most harmonics to remove, 1 to 96; those above 0.45 of the rate are left out.
        int numHarmonics = 96;

        /// The share of the found hum that is removed, 0 to 1.
        double strength = 1.0;

        /// Whether to play what is removed instead of what remains.
        bool residual = false;
    };

    /// Allocates for 8 to 384 kHz and 1 to 8 channels. Throws std::invalid_argument out of these
    /// ranges or those of the settings.
    void prepare(double sampleRate, int numChannels, const Settings& newSettings);

    /// Forgets all sound.
    void reset();

    /// Works in place on the channels of a host block.
    void process(float* const* channels, int numSamples);

    /// How much is removed, 0 to 1, and whether to play that instead of what remains. Between two
    /// calls of process(), on any thread.
    void setOutput(double strength, bool residual);

    /// Samples by which the output is late.
    int getLatency() const { return latency; }

    /// The fundamental that is being removed in Hz, 0 where nothing is. For the thread of
    /// process().
    double getFundamental() const;

private:
    struct Channel
    {
        std::vector<float> ring;

        /// Zeros on end in the output's source, and the share of the hum that is left for them.
        int numZeros = 0;
        float presence = 1.0F;
    };

    void runPart(int part);
    void readFrame(int channel);
    int getNumUrgentParts() const;
    void scheduleParts();
    void takeOver();
    float follow(Channel& channel, float source) const;
    void render(float* const* channels, int offset, int numSamples);

    LiveLayout layout;
    Settings settings;
    int latency = 0;
    int fade = 0;
    std::int64_t mask = 0;
    std::vector<Channel> channelStates;
    LiveReader reader;
    LiveHistory history;
    LiveContest contest;
    LiveGuard guard;
    int plannedSegment = 0;
    std::array<LivePlan, 3> plans;
    std::array<int, 3> order{};
    std::int64_t position = 0;
    std::int64_t frameStart = 0;
    std::int64_t fadeStart = 0;

    /// When the parts of a frame's work are due, in samples after its last one.
    std::vector<int> schedule;
    std::size_t nextPart = 0;
};

} // namespace orvo::audio::precise
