#pragma once

#include "dsp/hum/Kalimmer.h"
#include "dsp/signal/FourierTransform.h"
#include "dsp/signal/IirFilter64.h"
#include "tests/support/EngineRun.h"
#include "tests/support/TestSignals.h"

#include <vector>

namespace testing_support
{

/// One harmonic, followed by its definition: every sum written out, in double.
class PlainTracker
{
public:
    PlainTracker(int numChannels, double rate);

    /// The harmonic's copy in a frame.
    Signal32 generate(const Signal32& frame, float fundamental, int harmonicNumber);

    bool isPresent() const { return present; }

private:
    struct Channel
    {
        double s1 = 0.0;
        double s2 = 0.0;
        float smoothed = 0.0F;
        float last = 0.0F;
        float predicted = 0.0F;
    };

    void track(Channel& channel, const float* input, int length, float frequency, float fundamental,
               float* copy);
    std::vector<float> isolate(Channel& channel, const float* input, int length,
                               float frequency) const;

    double sampleRate;
    std::vector<Channel> channels;
    bool isFirst = true;
    bool present = false;
};

/// The whole engine by its definition, as slow and as readable as it can be. It shares the Fourier
/// transform, magnitudes, phases and the single notch with the real one, nothing else.
class PlainEngine
{
public:
    explicit PlainEngine(const EngineSettings& initial);

    void setFormat(int channels, double rate);
    void reset();
    Signal32 process(const Signal32& input, bool isBypassed);

    std::vector<orvo::audio::HarmonicStatus> getStatus() const;

    EngineSettings settings;
    float fundamental = 50.0F;
    Signal32 display;

private:
    int getNumber(int index) const { return settings.onlyOdd ? 2 * index + 1 : index + 1; }

    void analyse();
    float estimate(const Signal32& magnitudes, const Signal32& phases) const;
    Signal32 cleanWithTrackers(const Signal32& frame);
    Signal32 cleanWithNotches(const Signal32& frame);

    int numChannels = 0;
    double sampleRate = 0.0;
    int blockSize = 0;
    int hopSize = 0;
    orvo::audio::FourierTransform transform;
    std::vector<PlainTracker> trackers;
    std::vector<orvo::audio::IirFilter64> notches;
    Signal32 toAnalyse;
    Signal32 toClean;
    Signal32 previousPhases;
};

} // namespace testing_support
