#include "dsp/precise/LineDoubts.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// A harmonic above these that is 6 dB louder than any of them, or than any of as many on either
/// side, is no hum: rectifiers of three phases have every sixth. Where hum is in doubt, it is none
/// above the first three either.
constexpr int lowHarmonics = 6;
constexpr int lowHarmonicsInDoubt = 3;
constexpr double loudestShare = 4.0;

/// A note brings its multiples with it, of which so many stand out by 6 dB from as many harmonics
/// on either side. Rectifiers make every second, third, sixth and twelfth stand out.
constexpr int numMultiples = 3;
constexpr int numMultiplesInDoubt = 2;
constexpr int numBeside = 2;
constexpr int firstStep = 4;
constexpr int stepOfRectifiers = 6;

/// Lines must be like what they were so long before: notes and syllables hardly are.
constexpr double lag = 2.0; // seconds
constexpr double leastLikeness = 0.3;

/// In recordings of less than this there is too little to compare, and the share of a line's power
/// that is in its mean must be larger than this.
constexpr double steadySeconds = 3.0 * lag;
constexpr double leastSteadiness = 0.7;

/// What is louder than the median of its line by this (6 dB), with the gain of all as without it,
/// while no more than half of all lines are, is something else.
constexpr double outstandingPower = 4.0;

/// A line is gone where it is 12 dB below its mean while the noise beside it is, too. Hum is not,
/// but for a few frames at its changes.
constexpr double goneShare = 0.06;
constexpr double mostGone = 0.03; // of all frames
constexpr int fewGone = 2;        // frames

double getSeconds(const HarmonicLines& lines)
{
    return lines.numFrames * lines.frameTime;
}

/// Mean power of each harmonic in the channel where it is loudest, the first at 0.
Series<double> collectPowers(const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex> amplitudes = model.getAmplitudes();
    Series<double> sums(static_cast<std::size_t>(lines.getNumLines()));
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int line = 0; line < lines.getNumLines(); ++line)
            sums[line] += getPower(amplitudes[lines.at(frame, line)]);
    Series<double> powers(static_cast<std::size_t>(lines.numHarmonics));
    for (int line = 0; line < lines.getNumLines(); ++line)
    {
        double& most = powers[lines.getHarmonic(line) - 1];
        most = std::max(most, sums[line] / lines.numFrames);
    }
    return powers;
}

/// A harmonic is a note's where its multiples stand out as well.
void leaveOutCombs(HumModel& model, bool isDoubtful)
{
    const Series<double> powers = collectPowers(model);
    const auto count = static_cast<int>(powers.size());
    const auto standsOut = [&](int harmonic)
    {
        double beside = 0.0;
        for (int other = harmonic - numBeside; other <= std::min(harmonic + numBeside, count);
             ++other)
            if (other != harmonic)
                beside = std::max(beside, powers[other - 1]);
        return powers[harmonic - 1] > loudestShare * beside;
    };
    const int needed = isDoubtful ? numMultiplesInDoubt : numMultiples;
    for (int step = firstStep; needed * step <= count; ++step)
    {
        bool isNote = step % stepOfRectifiers != 0;
        for (int multiple = 1; isNote && multiple <= needed; ++multiple)
            isNote = standsOut(multiple * step);
        for (int harmonic = step; isNote && harmonic <= count; harmonic += step)
            if (standsOut(harmonic))
                model.leaveOutHarmonic(harmonic);
    }
}

/// A high harmonic that is far louder than all low ones, or stands alone, is a note.
void leaveOutLoud(HumModel& model, bool isDoubtful)
{
    const Series<double> powers = collectPowers(model);
    const auto count = static_cast<int>(powers.size());
    const auto getLoudest = [&](int first, int last) // from 0
    {
        const auto begin = powers.begin() + std::min(first, count);
        const auto end = powers.begin() + std::min(last, count);
        return begin == end ? 0.0 : *std::max_element(begin, end);
    };
    const int low = isDoubtful ? lowHarmonicsInDoubt : lowHarmonics;
    for (int i = low; i < count; ++i)
    {
        const double beside =
            std::max(getLoudest(i - low, i), getLoudest(i + 1, i + 1 + lowHarmonics));
        if (powers[i] > loudestShare * std::min(beside, getLoudest(0, low)))
            model.leaveOutHarmonic(i + 1);
    }
}

/// How much each line is like what it was a while before, where there is hum at both times, from 0
/// to 1: a phase that goes on turning is no matter.
Series<double> getLikenesses(const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex>& amplitudes = model.getSmooth().amplitudes;
    const int numLines = lines.getNumLines();
    const auto frames = static_cast<int>(std::lround(lag / lines.frameTime));
    Series<Complex> sums(static_cast<std::size_t>(numLines));
    Series<double> powers(sums.size(), tiny);
    for (int frame = frames; frame < lines.numFrames; ++frame)
    {
        if (!model.isOn(frame) || !model.isOn(frame - frames))
            continue;
        const Complex* const now = &amplitudes[lines.at(frame, 0)];
        const Complex* const before = &amplitudes[lines.at(frame - frames, 0)];
        for (int line = 0; line < numLines; ++line)
        {
            sums[line] += multiplyConjugate(now[line], before[line]);
            powers[line] += 0.5 * (getPower(now[line]) + getPower(before[line]));
        }
    }
    for (int line = 0; line < numLines; ++line)
        powers[line] = std::sqrt(getPower(sums[line])) / powers[line];
    return powers;
}

void leaveOutUnsteady(HumModel& model, bool isTrusted)
{
    const HarmonicLines& lines = model.getLines();
    const bool isBrief = getSeconds(lines) < steadySeconds;
    if (isBrief && isTrusted)
        return;
    const Series<Complex> amplitudes = isBrief ? model.getAmplitudes() : Series<Complex>{};
    Series<double> gains;
    for (const double gain : model.getLogGain())
        gains.push_back(std::exp(gain));
    const Series<double> likenesses = isBrief ? Series<double>{} : getLikenesses(model);
    for (int line = 0; line < lines.getNumLines(); ++line)
        if (model.getSmooth().isPresent[line] != 0 &&
            (isBrief ? getSteadiness(lines, gains, amplitudes, line) < leastSteadiness
                     : likenesses[line] < leastLikeness))
            model.leaveOutLine(line);
}

/// Finds lines that are gone in pauses of the sound, while most of the hum stands. The lower a line
/// the more it has to say about that, since hum is strong where it comes from.
class PauseTest
{
public:
    explicit PauseTest(const HumModel& modelToTest)
        : model(modelToTest)
        , lines(model.getLines())
        , leastPowers(static_cast<std::size_t>(lines.getNumLines()))
        , goneCounts(leastPowers.size())
    {
        for (int frame = 0; frame < lines.numFrames; ++frame)
            for (int line = 0; line < lines.getNumLines(); ++line)
                leastPowers[line] += goneShare / lines.numFrames *
                                     getPower(model.getSmooth().amplitudes[lines.at(frame, line)]);
        for (int frame = 0; frame < lines.numFrames; ++frame)
            if (model.isOn(frame))
                count(frame);
    }

    bool isNote(int line) const
    {
        return goneCounts[line] > std::max<double>(fewGone, mostGone * lines.numFrames);
    }

private:
    void count(int frame)
    {
        const double gain = std::exp(2.0 * model.getLogGain()[frame]);
        double standing = 0.0;
        Series<int> gone;
        for (int line = 0; line < lines.getNumLines(); ++line)
        {
            const std::size_t at = lines.at(frame, line);
            const double least = gain * leastPowers[line];
            if (model.getSmooth().isPresent[line] == 0 || model.getReadNoise()[at] > least)
                continue;
            const bool isGone = getPower(lines.amplitudes[at]) < least;
            standing += (isGone ? -1.0 : 1.0) / lines.getHarmonic(line);
            if (isGone)
                gone.push_back(line);
        }
        for (const int line : gone)
            goneCounts[line] += standing > 0.0 ? 1 : 0;
    }

    const HumModel& model;
    const HarmonicLines& lines;
    Series<double> leastPowers;
    Series<int> goneCounts;
};

void leaveOutPausing(HumModel& model)
{
    const PauseTest test(model);
    for (int line = 0; line < model.getLines().getNumLines(); ++line)
        if (model.getSmooth().isPresent[line] != 0 && test.isNote(line))
            model.leaveOutLine(line);
}

/// Finds frames in which lines are far louder than else, and puts the mean of the others there.
class OutstandingMoments
{
public:
    explicit OutstandingMoments(HumModel& modelToMend)
        : model(modelToMend)
        , lines(model.getLines())
        , isOutstanding(lines.amplitudes.size())
        , counts(static_cast<std::size_t>(lines.numFrames))
    {
        for (int frame = 0; frame < lines.numFrames; ++frame)
            if (model.isOn(frame))
            {
                framesOn.push_back(frame);
                gains.push_back(std::exp(2.0 * model.getLogGain()[frame]));
            }
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (model.getSmooth().isPresent[line] != 0)
                used.push_back(line);
    }

    void replace()
    {
        if (framesOn.empty())
            return;
        for (std::size_t first = 0; first < used.size(); first += linesAtOnce)
            find(first, std::min(first + linesAtOnce, used.size()));
        if (outstanding.empty())
            return;
        Series<Complex> amplitudes = model.getSmooth().amplitudes;
        for (const int line : outstanding)
            replace(line, amplitudes);
        model.setAmplitudes(std::move(amplitudes));
    }

private:
    static constexpr std::size_t linesAtOnce = 8; // lie beside each other

    double getLinePower(int frame, int line) const
    {
        return getPower(model.getSmooth().amplitudes[lines.at(frame, line)]);
    }

    void find(std::size_t first, std::size_t last)
    {
        std::array<Series<double>, linesAtOnce> powers;
        for (const int frame : framesOn)
            for (std::size_t i = first; i < last; ++i)
                powers[i - first].push_back(getLinePower(frame, used[i]));
        for (std::size_t i = first; i < last; ++i)
            find(used[i], powers[i - first]);
    }

    void find(int line, const Series<double>& powers)
    {
        Series<double> heard;
        for (std::size_t i = 0; i < powers.size(); ++i)
            heard.push_back(gains[i] * powers[i]);
        Series<double> room = powers;
        const double most = outstandingPower * takeMedian(room);
        room = heard;
        const double mostHeard = outstandingPower * takeMedian(room);
        bool isAny = false;
        for (std::size_t i = 0; i < powers.size(); ++i)
            if (powers[i] > most && heard[i] > mostHeard)
            {
                isAny = true;
                isOutstanding[lines.at(framesOn[i], line)] = 1;
                ++counts[framesOn[i]];
            }
        if (isAny)
            outstanding.push_back(line);
    }

    void replace(int line, Series<Complex>& amplitudes) const
    {
        Complex mean;
        int count = 0;
        for (const int frame : framesOn)
            if (isOutstanding[lines.at(frame, line)] == 0)
            {
                mean += amplitudes[lines.at(frame, line)];
                ++count;
            }
        mean /= std::max(1, count);
        for (const int frame : framesOn)
            if (isOutstanding[lines.at(frame, line)] != 0 &&
                2 * counts[frame] <= static_cast<int>(used.size()))
                amplitudes[lines.at(frame, line)] = mean;
    }

    HumModel& model;
    const HarmonicLines& lines;
    Series<char> isOutstanding; // [frame][line]
    Series<int> counts;         // [frame], of lines that are
    Series<int> framesOn;
    Series<double> gains; // of power, in them
    Series<int> used;
    Series<int> outstanding; // lines that are somewhere
};

} // namespace

void leaveOutNotes(HumModel& model, bool isDoubtful, bool isTrusted)
{
    leaveOutCombs(model, isDoubtful);
    leaveOutLoud(model, isDoubtful);
    leaveOutPausing(model);
    leaveOutUnsteady(model, isTrusted);
    leaveOutLoud(model, isDoubtful); // beside notes that are known by now others seemed usual
    OutstandingMoments(model).replace();
}

} // namespace orvo::audio::precise
