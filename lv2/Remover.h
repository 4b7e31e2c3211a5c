#pragma once

#include <memory>
#include <span>

namespace kalim::lv2
{

/// A way to remove hum as a host's block wants it: as much comes out as goes in, late by a constant
/// number of samples. All but the construction is for the audio thread.
class Remover
{
public:
    Remover() = default;
    virtual ~Remover() = default;

    Remover(const Remover&) = delete;
    Remover& operator=(const Remover&) = delete;

    /// Takes the values of the method's controls, each within its range. Returns for how many
    /// samples there will be silence because a new delay has begun, 0 if none has.
    virtual int setControls(std::span<const float> values) = 0;

    /// Forgets all sound and starts from the present controls.
    virtual void reset() = 0;

    /// Works in place on up to getLongestBlock() samples.
    virtual void process(std::span<float* const> channels, int numSamples) = 0;

    virtual int getLongestBlock() const = 0;

    /// Samples by which the output is late at present, and at most.
    virtual int getLatency() const = 0;
    virtual int getLongestLatency() const = 0;

    /// The fundamental that is followed in Hz, 0 where there is none.
    virtual float getFundamental() const = 0;
};

/// The tracking engine. Throws std::bad_alloc.
std::unique_ptr<Remover> makeTrackingRemover(double sampleRate, int numChannels);

/// The precise remover in its live form. Throws std::bad_alloc, and std::invalid_argument where it
/// does not know the sample rate.
std::unique_ptr<Remover> makePreciseRemover(double sampleRate, int numChannels);

} // namespace kalim::lv2
