#pragma once

#include "kalim/report/Columns.h"
#include "kalim/report/SegmentSpectra.h"

#include <cstdint>
#include <span>
#include <vector>

namespace kalim::program
{

/// The low end of a recording's spectrum over time, all channels averaged, as the recording streams
/// by. Memory does not grow with the length: columns of a long recording are means of many spectra.
class Spectrogram
{
public:
    /// Up to which bins are kept, in Hz; less where half the sample rate is lower.
    static constexpr double highestFrequency = 2000.0;

    /// Level in dBFS that stands for silence.
    static constexpr float lowestLevel = -200.0F;

    Spectrogram(int channels, int sampleRate);

    /// Takes the next interleaved samples.
    void add(std::span<const float> interleaved);

    /// Once, at the end: completes the last column.
    void finish();

    /// Hz between bins, of which the first belongs to 0 Hz.
    double getBinSpacing() const { return binSpacing; }

    double getSecondsPerColumn() const { return columns.getSecondsPerColumn(); }

    /// Levels of every column's bins as those of sines in their centres, in dBFS.
    std::vector<std::vector<float>> getLevels() const;

private:
    struct Column
    {
        void merge(const Column& other);

        std::vector<float> power;
        int numSpectra = 0;
    };

    void take(std::span<const double> power);

    int numChannels;
    int sampleRate;
    int hop;
    SegmentSpectra segments;
    double binSpacing;
    std::size_t numBins;
    Columns<Column> columns;
    std::int64_t numSamples = 0;
    std::int64_t numSpectra = 0;
};

/// Where the fundamental went over time.
class FundamentalCourse
{
public:
    /// Longer than what lies between two moments of hum that lasts.
    static constexpr double shortestColumn = 0.5;

    void add(double time, double frequency) { columns.at(time).merge({frequency, 1}); }

    double getSecondsPerColumn() const { return columns.getSecondsPerColumn(); }

    /// The mean of every column in Hz, 0 where there was no hum.
    std::vector<double> getFrequencies() const;

private:
    struct Column
    {
        void merge(const Column& other)
        {
            sum += other.sum;
            count += other.count;
        }

        double sum = 0.0;
        int count = 0;
    };

    Columns<Column> columns{shortestColumn};
};

} // namespace kalim::program
