#include "dsp/precise/HumSynthesis.h"

#include "dsp/precise/TableKernel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>

namespace orvo::audio::precise
{
namespace
{

/// Points per period of the highest harmonic keep cubic interpolation 90 dB below it.
constexpr int pointsPerPeriod = 40;
constexpr int smallestTable = 1024;

/// A change lies within so many frames of where the frames show it.
constexpr double changeReach = 2.5;

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
        const std::size_t at = indexOf(harmonic - 1, size);
        addWave(static_cast<float>(amplitude.real()), static_cast<float>(amplitude.imag()),
                &cosines[at], &sines[at], size, values);
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

/// What is played: amplitudes [frame][line] of the harmonics up to the highest that is there.
struct Score
{
    const HarmonicLines& lines;
    Series<Complex> amplitudes;
    int highest;

    Complex get(int frame, int channel, int harmonic) const
    {
        return amplitudes[lines.at(frame, channel * lines.numHarmonics + harmonic - 1)];
    }
};

using Phases = std::array<double, tableChunk>;
using Chunk = std::array<float, tableChunk>;

/// Plays a period of the hum, made anew for every frame of every channel: one look-up per sample,
/// however many harmonics there are.
class TablePlayer
{
public:
    TablePlayer(const Score& scoreToPlay, const Waves& wavesToUse)
        : score(scoreToPlay)
        , waves(wavesToUse)
        , tables(static_cast<std::size_t>(score.lines.numChannels))
    {
    }

    /// From `frame` to `following`; `isNext` where it was the following one until now.
    void moveTo(int frame, int following, bool isNext)
    {
        for (int channel = 0; channel < score.lines.numChannels; ++channel)
        {
            Pair& pair = tables[channel];
            pair.now = isNext ? std::move(pair.next) : makeTable(frame, channel);
            pair.next = following == frame ? pair.now : makeTable(following, channel);
        }
    }

    void setPhases(const Phases& phases, int /*count*/)
    {
        findPlaces(phases, waves.getSize(), places);
    }

    void play(int channel, float share, float shareStep, int /*count*/, Chunk& samples) const
    {
        const Pair& pair = tables[channel];
        readTables(pair.now.data(), pair.next.data(), places, share, shareStep, samples);
    }

private:
    /// A period at two frames that follow each other.
    struct Pair
    {
        Series<float> now;
        Series<float> next;
    };

    Series<float> makeTable(int frame, int channel) const
    {
        const int size = waves.getSize();
        Series<float> table(static_cast<std::size_t>(size) + 4);
        for (int h = 1; h <= score.highest; ++h)
        {
            const Complex amplitude = score.get(frame, channel, h);
            if (amplitude != Complex{})
                waves.add(h, amplitude, table.data() + 1);
        }
        table[0] = table[size];
        table[size + 1] = table[1];
        table[size + 2] = table[2];
        table[size + 3] = table[3]; // a phase just below 0 is rounded to 1
        return table;
    }

    const Score& score;
    const Waves& waves;
    Series<Pair> tables; // [channel]
    TablePlaces places{};
};

/// Adds the harmonics up, sample by sample, from waves that all channels share: where a frame holds
/// fewer samples than a table has points that is less work.
class SumPlayer
{
public:
    explicit SumPlayer(const Score& scoreToPlay)
        : score(scoreToPlay)
        , waves(indexOf(score.highest, tableChunk))
    {
        const SplitComplex<float> silence(static_cast<std::size_t>(score.highest));
        amplitudes.assign(static_cast<std::size_t>(score.lines.numChannels), {silence, silence});
    }

    void moveTo(int frame, int following, bool /*isNext*/)
    {
        for (int channel = 0; channel < score.lines.numChannels; ++channel)
        {
            MovingAmplitudes& moving = amplitudes[channel];
            for (int h = 1; h <= score.highest; ++h)
            {
                const Complex now = score.get(frame, channel, h);
                moving.now.set(static_cast<std::size_t>(h) - 1, now);
                moving.step.set(static_cast<std::size_t>(h) - 1,
                                score.get(following, channel, h) - now);
            }
        }
    }

    void setPhases(const Phases& phases, int count)
    {
        for (int i = 0; i < count; ++i)
        {
            const Complex turn =
                std::polar(1.0, 2.0 * std::numbers::pi * phases[static_cast<std::size_t>(i)]);
            Complex wave = turn;
            for (int h = 0; h < score.highest; ++h)
            {
                waves.set(indexOf(h, tableChunk, i), wave);
                wave = multiply(wave, turn);
            }
        }
    }

    void play(int channel, float share, float shareStep, int count, Chunk& samples) const
    {
        addHarmonics(amplitudes[channel], waves, share, shareStep, count, samples);
    }

private:
    const Score& score;
    SplitComplex<float> waves;           // [harmonic][sample of a chunk]
    Series<MovingAmplitudes> amplitudes; // [channel]
};

Series<float*> getPointers(Series<Series<float>>& channels, int from = 0)
{
    Series<float*> pointers;
    for (Series<float>& samples : channels)
        pointers.push_back(samples.data() + from);
    return pointers;
}

class Synthesis
{
public:
    Synthesis(const HumModel& modelToUse, const ChannelView& viewToUse)
        : model(modelToUse)
        , lines(modelToUse.getLines())
        , view(viewToUse)
        , score{lines, modelToUse.getAmplitudes(), findHighest()}
        , hum(view.channels.size(), Series<float>(static_cast<std::size_t>(view.numSamples)))
    {
        if (lines.frameTime * view.sampleRate >= tableChunk)
            waves.emplace(score.highest, findTableSize(score.highest));
    }

    Series<Series<float>> play()
    {
        const Series<Part> parts = model.getParts();
        int from = 0;
        for (std::size_t i = 0; i < parts.size(); ++i)
        {
            const int to =
                i + 1 < parts.size() ? findSwitch(parts[i], parts[i + 1], from) : view.numSamples;
            render(parts[i], from, to, getPointers(hum, from));
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

    void render(Part part, int from, int to, const Series<float*>& results) const
    {
        if (waves)
            render(TablePlayer(score, *waves), part, from, to, results);
        else
            render(SumPlayer(score), part, from, to, results);
    }

    /// Renders a part's hum for samples from `from` to before `to`, also outside of its frames.
    template <typename Player>
    void render(Player player, Part part, int from, int to, const Series<float*>& results) const
    {
        int held = -2;
        for (int start = from; start < to;)
        {
            const double position = (start / view.sampleRate - lines.firstTime) / lines.frameTime;
            const int frame =
                std::clamp(static_cast<int>(std::floor(position)), part.first, part.last - 1);
            const int end = std::min({getFrameEnd(frame, part, start), start + tableChunk, to});
            if (held != frame)
                player.moveTo(frame, std::min(frame + 1, part.last - 1), held + 1 == frame);
            held = frame;
            renderChunk(player, position - frame, start, end, from, results);
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

    template <typename Player>
    void renderChunk(Player& player, double share, int start, int end, int from,
                     const Series<float*>& results) const
    {
        const double shareStep = 1.0 / (view.sampleRate * lines.frameTime);
        Phases phases{};
        model.getTrack().getPhases(start / view.sampleRate, 1.0 / view.sampleRate, end - start,
                                   phases.data());
        player.setPhases(phases, end - start);
        Chunk samples;
        for (int channel = 0; channel < lines.numChannels; ++channel)
        {
            player.play(channel, static_cast<float>(share), static_cast<float>(shareStep),
                        end - start, samples);
            std::copy_n(samples.begin(), end - start, results[channel] + (start - from));
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
        Series<Series<float>> old(hum.size(), Series<float>(count));
        Series<Series<float>> fresh = old;
        render(before, first, last, getPointers(old));
        render(after, first, last, getPointers(fresh));
        for (std::size_t channel = 0; channel < old.size(); ++channel)
            for (std::size_t i = 0; i < count; ++i)
            {
                const float sample = view.channels[channel][first + static_cast<int>(i)];
                const double remainsOld = sample - old[channel][i];
                const double remainsFresh = sample - fresh[channel][i];
                gains[i] += remainsOld * remainsOld - remainsFresh * remainsFresh;
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
    Score score;
    std::optional<Waves> waves; // not where frames hold few samples
    Series<Series<float>> hum;
};

} // namespace

Series<Series<float>> synthesise(const HumModel& model, const ChannelView& view)
{
    return Synthesis(model, view).play();
}

} // namespace orvo::audio::precise
