#pragma once

#include "dsp/precise/LiveRemover.h"
#include "python/src/EngineRun.h"

#include <memory>
#include <mutex>

namespace kalim::python
{

/// Removes hum from a signal that comes in blocks of any length. One thread at a time.
class HumStream
{
public:
    HumStream() = default;
    HumStream(const HumStream&) = delete;
    HumStream& operator=(const HumStream&) = delete;
    virtual ~HumStream() = default;

    /// Samples by which the output is late.
    virtual int getLatency() = 0;

    /// The fundamental that is being removed in Hz; 0 where nothing is, if that is known.
    virtual double getFundamental() const = 0;

    /// Forgets all sound.
    virtual void reset() = 0;

    /// Works in place on the samples of every channel, which are finite.
    virtual void process(float* const* channels, int numSamples) = 0;
};

/// The tracking engine as a stream.
std::unique_ptr<HumStream> makeEngineStream(const EngineTask& task, int channels);

/// The live form of precise removal as a stream. Throws std::invalid_argument as it does.
std::unique_ptr<HumStream> makeLiveStream(double rate, int channels,
                                          const orvo::audio::precise::LiveRemover::Settings&);

/// A stream in the precision of the caller's samples. In double precision the stream plays what it
/// removes, which is subtracted from the samples that came in. Calls from several threads wait for
/// each other.
template <typename Sample>
class StreamRunner
{
public:
    /// `stream` must play what is removed if `residual` is asked for or samples are double. Samples
    /// are multiplied by `scale`, a power of two, to be what sound is.
    StreamRunner(std::unique_ptr<HumStream> stream, int channels, bool residual, double scale);

    int getChannels() const { return channels; }

    int getLatency();

    double getFundamental();

    void reset();

    /// `output` is as long as the recording, channel after channel.
    void process(const Recording<Sample>& recording, Sample* output);

    /// The last samples, getLatency() of every channel; begins anew.
    void flush(Sample* output);

private:
    void run(const Recording<Sample>& recording, Sample* output);
    void finish(int channel, const Recording<Sample>& recording, Sample* output);

    std::mutex mutex;
    std::unique_ptr<HumStream> stream;
    int channels;
    bool playsResidual;
    Normal normal;
    std::vector<std::vector<Sample>> delayed; // what came in and has not gone out
    std::vector<std::vector<float>> samples;
};

} // namespace kalim::python
