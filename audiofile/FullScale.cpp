#include "audiofile/FullScale.h"

#include "base/FileError.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

namespace kalim
{
namespace
{

constexpr std::array integerScales{32768.0, 8388608.0, 2147483648.0};

/// How large the samples are.
struct Magnitudes
{
    void add(std::span<const float> samples)
    {
        // Half of ordinary samples never lie 48 dB above full scale; those of integers do.
        constexpr float farBeyond = 256.0F;
        for (const float sample : samples)
        {
            const float magnitude = std::abs(sample);
            numSounding += magnitude > 0.0F ? 1 : 0;
            numFarBeyond += magnitude > farBeyond ? 1 : 0;
            if (magnitude <= static_cast<float>(integerScales.back()))
                peak = std::max(peak, static_cast<double>(magnitude));
        }
    }

    bool areIntegers() const { return 2 * numFarBeyond > numSounding; }

    std::int64_t numSounding = 0;
    std::int64_t numFarBeyond = 0;
    double peak = 0.0;
};

/// One piece after another, with as many frames left out between them.
Magnitudes measure(AudioFileReader& reader, std::int64_t gap)
{
    constexpr std::int64_t framesAtOnce = 4096;
    std::vector<float> samples(static_cast<std::size_t>(framesAtOnce * reader.getNumChannels()));
    Magnitudes result;
    try
    {
        while (const auto count = reader.read(samples))
        {
            result.add(std::span<const float>(samples).first(
                static_cast<std::size_t>(count * reader.getNumChannels())));
            reader.seek(reader.getPosition() + gap);
        }
    }
    catch (const FileError&)
    {
        // Whoever reads on is told of it.
    }
    reader.seek(0);
    return result;
}

} // namespace

double fullScaleOf(AudioFileReader& reader)
{
    const auto samples = reader.getFormat().getSampleFormat();
    if (samples != SampleFormat::float32 && samples != SampleFormat::float64)
        return 1.0;
    constexpr std::int64_t pieces = 64;
    if (!measure(reader, reader.getNumFrames() / pieces).areIntegers())
        return 1.0;
    const auto whole = measure(reader, 0);
    const auto* scale =
        std::ranges::find_if(integerScales, [&](double one) { return one >= whole.peak; });
    return whole.areIntegers() ? *scale : 1.0;
}

} // namespace kalim
