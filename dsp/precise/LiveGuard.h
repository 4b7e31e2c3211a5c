#pragma once

namespace orvo::audio::precise
{

/// Watches whether the hum that is subtracted is in the sound, and withdraws it at once where it
/// suddenly is not: the filters need some frames to see a jump or an end.
class LiveGuard
{
public:
    /// `period` of the hum in samples. Not for the audio thread.
    void prepare(double sampleRate, int period);

    void reset();

    /// Takes in a sample of one channel and what is to be subtracted from it.
    void add(float source, float hum)
    {
        const double rest = static_cast<double>(source) - hum;
        match += rest * hum;
        others += rest * rest;
        power += static_cast<double>(hum) * hum;
    }

    /// Ends the sample of all channels; returns the share of the hum to subtract from the next.
    float advance();

    /// The hum is known anew.
    void release() { isWithheld = false; }

private:
    void judge();

    int period = 1;
    int count = 0;
    float step = 1.0F;
    float share = 1.0F;
    bool isWithheld = false;
    double match = 0.0;
    double power = 0.0;
    double others = 0.0;
    double usual = 0.0;
};

} // namespace orvo::audio::precise
