#pragma once

#include "dsp/precise/Series.h"
#include "dsp/signal/FourierTransform.h"

namespace orvo::audio::precise
{

/// Fundamentals to be looked for, in Hz.
struct FundamentalRange
{
    double lowest;
    double highest;
};

/// A fundamental that hum may have, and how far its harmonics stand out: the mean over time of the
/// sum over 12 harmonics of the logarithm of each peak over the power 1 to 5 Hz beside it, above
/// the median of all fundamentals in range.
struct CombPeak
{
    double fundamental;
    double score;
};

/// Finds the fundamental in the spectra of windows of three seconds that overlap by half (the
/// windows and the comparison with what lies beside follow Brandt and Bitzer, "Automatic Detection
/// of Hum in Audio Signals", 2014). Add windows as they come: results cover all so far. One thread
/// at a time.
class CombDetector
{
public:
    /// For sound of `sampleRate` Hz, which must be above 26 times the highest fundamental. A coarse
    /// one takes a fifth of the time and tells the fundamental to a tenth of a hertz.
    CombDetector(double sampleRate, Series<FundamentalRange> ranges, bool isCoarse = false);

    /// Windows `getHop()` samples apart; the last may be shorter, silence is added.
    int getWindowLength() const { return static_cast<int>(window.size()); }

    int getHop() const;

    int getNumWindows() const { return numWindows; }

    void addWindow(const float* samples, int count);

    /// Takes over what another one of the same kind has heard.
    void add(const CombDetector& other);

    /// Forgets all windows.
    void forget();

    /// The best peaks of all ranges, best first; at least one per range.
    Series<CombPeak> getPeaks() const;

private:
    struct Range
    {
        FundamentalRange limits;
        double step;
        Series<double> scores;
    };

    bool findRatios();
    void rate(Range& range);
    void addPeaks(const Range& range, Series<CombPeak>& peaks) const;

    double sampleRate;
    int size;
    int numWindows = 0;
    Series<double> window;
    Series<Range> ranges;
    Series<double> power;
    Series<double> sums;
    Series<double> ratios;   // [bin], to what lies beside it
    Series<double> products; // of a range
    FourierTransform transform;
    Signal32 frame;
    ComplexSignal32 spectrum;
};

} // namespace orvo::audio::precise
