#include "dsp/precise/CoveredLines.h"

#include "dsp/precise/RowKernels.h"
#include "dsp/precise/Windows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace orvo::audio::precise
{
namespace
{

constexpr double lookSeconds = 0.5;
constexpr int fewestLooks = 8;

/// What lies beside a line is read where the spectrum of a Hann window is 0, in bins of it.
constexpr std::array<double, 2> distances{2.0, 3.0};

/// Looks are few and hold little noise: lines need this evidence, or as much more than they have,
/// and half of their power in their mean, which what beats has not.
constexpr double leastLookEvidence = 10.0;
constexpr double leastLookSteadiness = 0.5;

/// A line is covered where looks hold less than a quarter of the noise that frames would leave in
/// them if it were even.
constexpr double mostCoveredShare = 0.25;

/// Frames overlap by half, so that their noise does not average out as quickly.
constexpr double overlapNoise = 1.33;

/// Means of the lines of a model over half a second, and what lies beside them then.
class LongLooks
{
public:
    explicit LongLooks(const HumModel& modelToUse)
        : model(modelToUse)
        , frames(model.getAlignedLines())
        , reach(std::max(2, static_cast<int>(std::lround(lookSeconds / frames.frameTime / 2.0))))
        , window(makeHannWindow(2 * reach + 1))
        , looks(makeLines(frames.numChannels, frames.numHarmonics,
                          std::max(0, (frames.numFrames - 1) / reach - 1), frames.getTime(reach),
                          reach * frames.frameTime))
        , isSkipped(findSkipped())
    {
        const double sum = std::accumulate(window.begin(), window.end(), 0.0);
        for (double& weight : window)
            weight /= sum;
    }

    bool areEnough() const
    {
        return std::count(isSkipped.begin(), isSkipped.end(), 0) >= fewestLooks;
    }

    void read()
    {
        for (int look = 0; look < looks.numFrames; ++look)
            sumFrames(look, window, &looks.amplitudes[looks.at(look, 0)]);
        std::fill(looks.noise.begin(), looks.noise.end(), quietestNoise);
        for (const double distance : distances)
            readBeside(distance);
        smooth = AmplitudeSmoother(looks, isSkipped).smooth(findJumps(), Caution::AllLines);
    }

    /// Whether a line is hum that the model lacks, or knows less well.
    bool isBetter(int line) const
    {
        const SmoothAmplitudes& known = model.getSmooth();
        if (known.isPresent[line] != 0)
            return smooth.evidence[line] > known.evidence[line] + leastLookEvidence &&
                   isCovered(line);
        const Series<double> gains(static_cast<std::size_t>(looks.numFrames), 1.0);
        return smooth.evidence[line] > leastLookEvidence &&
               getSteadiness(looks, gains, smooth.amplitudes, line) > leastLookSteadiness;
    }

    /// What the looks say of a line, frame by frame of the model.
    LineEstimate getEstimate(int line) const
    {
        LineEstimate estimate{{}, {}, smooth.evidence[line]};
        for (int frame = 0; frame < frames.numFrames; ++frame)
        {
            const double position =
                std::clamp(static_cast<double>(frame - reach) / reach, 0.0, looks.numFrames - 1.0);
            const int before = std::min(static_cast<int>(position), looks.numFrames - 2);
            const double share = getShare(before, frame, position - before);
            const std::size_t from = looks.at(before, line);
            const std::size_t to = looks.at(before + 1, line);
            estimate.amplitudes.push_back((1.0 - share) * smooth.amplitudes[from] +
                                          share * smooth.amplitudes[to]);
            estimate.variances.push_back((1.0 - share) * smooth.variances[from] +
                                         share * smooth.variances[to]);
        }
        return estimate;
    }

private:
    /// Sums up the frames of a look, each with its weight, line by line.
    void sumFrames(int look, const Series<double>& weights, Complex* sums) const
    {
        Series<const double*> rows;
        for (int i = 0; i <= 2 * reach; ++i)
            // The standard lays the parts of complex values side by side.
            rows.push_back(reinterpret_cast<const double*>(
                &frames.amplitudes[frames.at(look * reach + i, 0)]));
        sumRows({rows.data(), weights.data(), 2 * reach + 1}, 1.0, 2 * frames.getNumLines(),
                reinterpret_cast<double*>(sums));
    }

    /// Adds to the noise what lies on either side of the lines.
    void readBeside(double distance)
    {
        Series<double> cosines;
        Series<double> sines;
        for (int i = -reach; i <= reach; ++i)
        {
            const double angle = 2.0 * pi * distance * i / (2 * reach + 2);
            cosines.push_back(window[i + reach] * std::cos(angle));
            sines.push_back(window[i + reach] * std::sin(angle));
        }
        Series<Complex> even(static_cast<std::size_t>(frames.getNumLines()));
        Series<Complex> odd = even;
        for (int look = 0; look < looks.numFrames; ++look)
        {
            sumFrames(look, cosines, even.data());
            sumFrames(look, sines, odd.data());
            double* const noise = &looks.noise[looks.at(look, 0)];
            // Of the powers of even + i odd and even - i odd what is mixed cancels.
            for (int line = 0; line < frames.getNumLines(); ++line)
                noise[line] += (getPower(even[line]) + getPower(odd[line])) / distances.size();
        }
    }

    int getMiddle(int look) const { return (look + 1) * reach; }

    Series<char> findSkipped() const
    {
        Series<char> skipped(static_cast<std::size_t>(looks.numFrames));
        const Series<int> changes = model.getChanges();
        for (int look = 0; look < looks.numFrames; ++look)
            for (int frame = look * reach; frame <= (look + 2) * reach; ++frame)
                if (!model.isOn(frame) ||
                    std::find(changes.begin(), changes.end(), frame) != changes.end())
                    skipped[look] = 1;
        return skipped;
    }

    /// A jump of the amplitudes between a look and the one before, 0 if there is none.
    int findJump(int look) const
    {
        for (const int jump : model.getSmooth().jumps)
            if (look > 0 && jump > getMiddle(look - 1) && jump <= getMiddle(look))
                return jump;
        return 0;
    }

    Series<int> findJumps() const
    {
        Series<int> jumps;
        for (int look = 0; look < looks.numFrames; ++look)
            if (findJump(look) != 0)
                jumps.push_back(look);
        return jumps;
    }

    /// How much of a frame is of the second of two looks; where there is a jump between them it is
    /// like the one on its side.
    double getShare(int before, int frame, double position) const
    {
        const int jump = findJump(before + 1);
        if (jump == 0)
            return position;
        return frame < jump ? 0.0 : 1.0;
    }

    bool isCovered(int line) const
    {
        Series<double> shares;
        for (int look = 0; look < looks.numFrames; ++look)
        {
            double expected = tiny;
            for (int i = 0; i <= 2 * reach; ++i)
            {
                const int frame = look * reach + i;
                expected += window[i] * window[i] * std::exp(-2.0 * model.getLogGain()[frame]) *
                            model.getReadNoise()[frames.at(frame, line)];
            }
            shares.push_back(looks.noise[looks.at(look, line)] / (overlapNoise * expected));
        }
        return takeMedian(shares) < mostCoveredShare;
    }

    const HumModel& model;
    const HarmonicLines& frames;
    int reach; // frames to either side of a look's middle, and from look to look
    Series<double> window;
    HarmonicLines looks;
    Series<char> isSkipped;  // looks in which the hum changes or is off
    SmoothAmplitudes smooth; // of the looks
};

} // namespace

void addCoveredLines(HumModel& model)
{
    if (!model.isAnyPresent())
        return;
    LongLooks looks(model);
    if (!looks.areEnough())
        return;
    looks.read();
    for (int line = 0; line < model.getLines().getNumLines(); ++line)
        if (looks.isBetter(line))
            model.takeLine(line, looks.getEstimate(line));
}

} // namespace orvo::audio::precise
