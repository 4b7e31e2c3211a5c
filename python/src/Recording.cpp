#include "python/src/Recording.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <type_traits>

namespace kalim::python
{
namespace
{

/// Sound lies between these, in shares of full scale. Physical units mostly do not: volts of an
/// electroencephalogram, counts of a converter.
constexpr double quietestPeak = 1.0 / 8192.0;
constexpr double loudestPeak = 8.0;

/// Sound has hardly any offset; electrodes have one far above what they measure.
constexpr double mostOffset = 3.0; // standard deviations

/// Samples that one thread measures before another could have begun.
constexpr std::int64_t longestAlone = 1 << 18;

struct Level
{
    double mean = 0.0;
    double deviation = 0.0;
    double lowest = 0.0;
    double highest = 0.0;
};

/// Adds samples up, four sums side by side: additions that wait for each other take most of the
/// time.
class Measurement
{
public:
    explicit Measurement(double firstSample)
        : first(std::isfinite(firstSample) ? firstSample : 0.0)
    {
    }

    template <typename Sample>
    void add(const Sample* samples, std::int64_t count)
    {
        Sums local = sums; // in registers
        std::int64_t n = 0;
        for (; n + lanes <= count; n += lanes)
        {
            double probe = 0.0; // which only numbers that are finite leave alone
            for (int lane = 0; lane < lanes; ++lane)
                probe += 0.0 * static_cast<double>(samples[n + lane]);
            if (probe == 0.0)
                for (int lane = 0; lane < lanes; ++lane)
                    local.take(static_cast<double>(samples[n + lane]) - first, lane);
            else
                for (int lane = 0; lane < lanes; ++lane)
                    takeFinite(static_cast<double>(samples[n + lane]), lane, local);
        }
        for (; n < count; ++n)
            takeFinite(static_cast<double>(samples[n]), static_cast<int>(n % lanes), local);
        sums = local;
        numTaken += count;
    }

    Level get() const
    {
        const auto count = static_cast<double>(std::max<std::int64_t>(numTaken - numOther, 1));
        const auto add = [](const double* s) { return s[0] + s[1] + s[2] + s[3]; };
        const double mean = add(sums.values) / count;
        const double square = add(sums.squares) / count;
        return {first + mean, std::sqrt(std::max(square - mean * mean, 0.0)),
                first + *std::min_element(sums.lows, sums.lows + lanes),
                first + *std::max_element(sums.highs, sums.highs + lanes)};
    }

private:
    static constexpr int lanes = 4;

    struct Sums
    {
        void take(double value, int lane)
        {
            values[lane] += value;
            squares[lane] += value * value;
            lows[lane] = std::min(lows[lane], value);
            highs[lane] = std::max(highs[lane], value);
        }

        double values[lanes] = {};
        double squares[lanes] = {};
        double lows[lanes] = {};
        double highs[lanes] = {};
    };

    void takeFinite(double sample, int lane, Sums& local)
    {
        if (std::isfinite(sample))
            local.take(sample - first, lane);
        else
            ++numOther;
    }

    double first; // far from an offset squares lose their digits
    Sums sums;
    std::int64_t numTaken = 0;
    std::int64_t numOther = 0; // that are not finite
};

template <typename Sample>
Level measure(const Sample* samples, std::int64_t length)
{
    Measurement measurement(length > 0 ? static_cast<double>(samples[0]) : 0.0);
    measurement.add(samples, length);
    return measurement.get();
}

bool looksLikeSound(const std::vector<Level>& levels)
{
    double peak = 0.0;
    for (const Level& level : levels)
    {
        if (std::abs(level.mean) > mostOffset * level.deviation && level.mean != 0.0)
            return false;
        peak = std::max({peak, level.highest, -level.lowest});
    }
    return peak == 0.0 || (peak >= quietestPeak && peak <= loudestPeak);
}

Normal normalise(const Level& level)
{
    const double peak = std::max(level.highest - level.mean, level.mean - level.lowest);
    int exponent = 0;
    std::frexp(peak, &exponent);
    return {level.mean, std::isfinite(peak) ? std::ldexp(1.0, -exponent) : 1.0};
}

} // namespace

template <typename Sample>
std::vector<Normal> findNormals(const Recording<Sample>& recording, bool always)
{
    std::vector<Level> levels(static_cast<std::size_t>(recording.channels));
    const auto measureFrom = [&](int first)
    {
        for (int channel = first; channel < recording.channels; channel += 2)
            levels[static_cast<std::size_t>(channel)] =
                measure(recording.row(channel), recording.length);
    };
    const bool isLong = recording.channels * recording.length > longestAlone;
    auto others = std::async(isLong ? std::launch::async : std::launch::deferred, measureFrom, 1);
    measureFrom(0);
    others.get();
    std::vector<Normal> normals;
    if (always || !looksLikeSound(levels))
        for (const Level& level : levels)
            normals.push_back(normalise(level));
    return normals;
}

template <typename Sample>
Pieces<Sample>::Pieces(const Recording<Sample>& recordingToRead)
    : recording(recordingToRead)
    , copies(static_cast<std::size_t>(recording.channels))
    , pointers(static_cast<std::size_t>(recording.channels))
{
}

template <typename Sample>
const float* const* Pieces<Sample>::read(std::int64_t start, int count)
{
    for (int channel = 0; channel < recording.channels; ++channel)
    {
        const auto at = static_cast<std::size_t>(channel);
        const Sample* const samples = recording.row(channel) + start;
        if constexpr (std::is_same_v<Sample, float>)
            if (recording.normals.empty())
            {
                pointers[at] = samples;
                continue;
            }
        const Normal normal = recording.normalOf(channel);
        copies[at].resize(static_cast<std::size_t>(count));
        std::transform(samples, samples + count, copies[at].begin(),
                       [normal](Sample sample)
                       { return static_cast<float>((sample - normal.offset) * normal.scale); });
        pointers[at] = copies[at].data();
    }
    return pointers.data();
}

template std::vector<Normal> findNormals(const Recording<float>&, bool);
template std::vector<Normal> findNormals(const Recording<double>&, bool);
template class Pieces<float>;
template class Pieces<double>;

} // namespace kalim::python
