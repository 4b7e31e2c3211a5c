#include "dsp/precise/HumSynthesis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

/// Points per period of the highest harmonic keep cubic interpolation 90 dB below it.
constexpr int pointsPerPeriod = 40;
constexpr int smallestTable = 1024;

/// A change lies within so many frames of where the frames show it.
constexpr double changeReach = 2.5;

constexpr int chunk = 512;

/// Cosines and sines of all harmonics over one period, [harmonic - 1][point].
class Waves
{
public:
    Waves(int numHarmonics, int sizeToUse)
        : size(sizeToUse)
        , cosines(indexOf(numHarmonics, sizeToUse))
        , sines(cosines.size())
    {
        Series<Complex> circle;
        for (int i = 0; i < size; ++i)
            circle.push_back(std::polar(1.0, 2.0 * std::numbers::pi * i / size));
        for (int h = 1; h <= numHarmonics; ++h)
            for (int i = 0; i < size; ++i)
            {
                const Complex value = circle[indexOf(i, h) % static_cast<std::size_t>(size)];
                const std::size_t at = indexOf(h - 1, size, i);
                cosines[at] = static_cast<float>(value.real());
                sines[at] = static_cast<float>(value.imag());
            }
    }

    int getSize() const { return size; }

    void add(int harmonic, Complex amplitude, float* values) const
    {
        const auto real = static_cast<float>(amplitude.real());
        const auto imaginary = static_cast<float>(amplitude.imag());
        const float* const c = &cosines[indexOf(harmonic - 1, size)];
        const float* const s = &sines[indexOf(harmonic - 1, size)];
        for (int i = 0; i < size; ++i)
            values[i] += real * c[i] - imaginary * s[i];
    }

private:
    int size;
    Series<float> cosines;
    Series<float> sines;
};

int findTableSize(int numHarmonics)
{
    int size = smallestTable;
    while (size < pointsPerPeriod * numHarmonics)
        size *= 2;
    return size;
}

/// Place in a table: the point before, and the share of the way to the next.
struct Place
{
    int point;
    float share;
};

/// Cubic interpolation through four points (Catmull and Rom, "A class of local interpolating
/// splines", 1974); the table starts one point early.
float read(const Series<float>& table, Place place)
{
    const float* const y = &table[place.point];
    const float d = place.share;
    return y[1] + 0.5F * d *
                      (y[2] - y[0] +
                       d * (2.0F * y[0] - 5.0F * y[1] + 4.0F * y[2] - y[3] +
                            d * (3.0F * (y[1] - y[2]) + y[3] - y[0])));
}

class Synthesis
{
public:
    Synthesis(const HumModel& modelToUse, const ChannelView& viewToUse)
        : model(modelToUse)
        , lines(modelToUse.getLines())
        , view(viewToUse)
        , amplitudes(modelToUse.getAmplitudes())
        , highest(findHighest())
        , waves(highest, findTableSize(highest))
        , hum(view.channels.size(), Series<float>(static_cast<std::size_t>(view.numSamples)))
    {
    }

    Series<Series<float>> play()
    {
        const Series<Part> parts = model.getParts();
        int from = 0;
        for (std::size_t i = 0; i < parts.size(); ++i)
        {
            const int to =
                i + 1 < parts.size() ? findSwitch(parts[i], parts[i + 1], from) : view.numSamples;
            for (int channel = 0; channel < lines.numChannels; ++channel)
                render(parts[i], channel, from, to, hum[channel].data() + from);
            from = to;
        }
        return std::move(hum);
    }

private:
    int findHighest() const
    {
        int found = 1;
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (model.getSmooth().isPresent[line] != 0)
                found = std::max(found, lines.getHarmonic(line));
        return found;
    }

    Series<float> makeTable(int frame, int channel) const
    {
        const int size = waves.getSize();
        Series<float> table(static_cast<std::size_t>(size) + 3);
        for (int h = 1; h <= highest; ++h)
        {
            const Complex amplitude =
                amplitudes[lines.at(frame, channel * lines.numHarmonics + h - 1)];
            if (amplitude != Complex{})
                waves.add(h, amplitude, table.data() + 1);
        }
        table[0] = table[size];
        table[size + 1] = table[1];
        table[size + 2] = table[2];
        return table;
    }

    /// Renders a part's hum for samples from `from` to before `to`, also outside of its frames.
    void render(Part part, int channel, int from, int to, float* result) const
    {
        Series<float> now;
        Series<float> next;
        int held = -1;
        for (int start = from; start < to;)
        {
            const double position = (start / view.sampleRate - lines.firstTime) / lines.frameTime;
            const int frame =
                std::clamp(static_cast<int>(std::floor(position)), part.first, part.last - 1);
            const int end = std::min({getFrameEnd(frame, part, start), start + chunk, to});
            const int following = std::min(frame + 1, part.last - 1);
            if (held != frame)
            {
                now = held + 1 == frame && !next.empty() ? std::move(next)
                                                         : makeTable(frame, channel);
                next = following == frame ? now : makeTable(following, channel);
                held = frame;
            }
            const double share = position - frame;
            const double shareStep = 1.0 / (view.sampleRate * lines.frameTime);
            renderChunk(now, next, share, shareStep, start, end - start, result + (start - from));
            start = end;
        }
    }

    /// The sample from which the next frame's table is the nearer one before.
    int getFrameEnd(int frame, Part part, int start) const
    {
        if (frame == part.last - 1)
            return view.numSamples;
        const double time = lines.getTime(frame + 1) * view.sampleRate;
        return std::max(start + 1, static_cast<int>(std::ceil(time)));
    }

    void renderChunk(const Series<float>& now, const Series<float>& next, double share,
                     double shareStep, int start, int count, float* result) const
    {
        std::array<double, chunk> phases{};
        model.getTrack().getPhases(start / view.sampleRate, 1.0 / view.sampleRate, count,
                                   phases.data());
        for (int i = 0; i < count; ++i)
        {
            const double point = phases[static_cast<std::size_t>(i)] * waves.getSize();
            const auto whole = static_cast<int>(point);
            const Place place{whole, static_cast<float>(point - whole)};
            const auto weight = static_cast<float>(std::clamp(share + i * shareStep, 0.0, 1.0));
            const float value = read(now, place);
            result[i] = value + weight * (read(next, place) - value);
        }
    }

    int findSwitch(Part before, Part after, int from) const
    {
        const double middle =
            (lines.getTime(after.first) - 0.5 * lines.frameTime) * view.sampleRate;
        const double reach = changeReach * lines.frameTime * view.sampleRate;
        const int first = std::clamp(static_cast<int>(middle - reach), from, view.numSamples);
        const int last = std::clamp(static_cast<int>(middle + reach), first, view.numSamples);
        const auto count = static_cast<std::size_t>(last - first);
        Series<double> gains(count);
        Series<float> old(count);
        Series<float> fresh(count);
        for (int channel = 0; channel < lines.numChannels; ++channel)
        {
            render(before, channel, first, last, old.data());
            render(after, channel, first, last, fresh.data());
            for (std::size_t i = 0; i < count; ++i)
            {
                const float sample = view.channels[channel][first + static_cast<int>(i)];
                const double remainsOld = sample - old[i];
                const double remainsFresh = sample - fresh[i];
                gains[i] += remainsOld * remainsOld - remainsFresh * remainsFresh;
            }
        }
        return first + findSmallestSum(gains);
    }

    static int findSmallestSum(const Series<double>& values)
    {
        double sum = 0.0;
        double smallest = 0.0;
        int best = 0;
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            sum += values[i];
            if (sum < smallest)
            {
                smallest = sum;
                best = static_cast<int>(i) + 1;
            }
        }
        return best;
    }

    const HumModel& model;
    const HarmonicLines& lines;
    const ChannelView& view;
    Series<Complex> amplitudes;
    int highest; // harmonic
    Waves waves;
    Series<Series<float>> hum;
};

} // namespace

Series<Series<float>> synthesise(const HumModel& model, const ChannelView& view)
{
    return Synthesis(model, view).play();
}

} // namespace orvo::audio::precise
