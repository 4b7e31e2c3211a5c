#include "dsp/precise/ChangeFinder.h"

#include "dsp/precise/GridKernels.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

constexpr int numPhases = 128;
constexpr int absent = numPhases;
constexpr int numStates = numPhases + 1;

/// What changes cost in logarithms of likelihood: a leap of the phase, coming or going, and a step
/// to the phase beside, since a track is never quite exact.
constexpr double leapCost = 30.0;
constexpr double switchCost = 20.0;
constexpr double driftCost = 2.0;

constexpr int comparedHarmonics = 16;
constexpr int fewestFrames = 20;
constexpr int patternFrames = 50;
constexpr int patternStep = 12;
constexpr int mostPatterns = 6;
constexpr double mostSignificance = 100.0;
constexpr int improvements = 3;

/// Where so many of the clearest patterns last through a stretch no other is tried.
constexpr int fewestLasting = 2;

constexpr int errorsPerLogarithm = 16; // products of so many errors stay within range

/// What lasts for fewer frames between two others is the moment of a change.
constexpr int shortestSegment = 4;

double getTurn(int state)
{
    return 2.0 * std::numbers::pi * state / numPhases;
}

using Pattern = Series<Complex>;

struct Path
{
    double score = -std::numeric_limits<double>::infinity();
    Series<int> states;
};

/// Whether two states that follow each other belong to one segment.
bool goesOn(int before, int state)
{
    const int distance = std::abs(before - state);
    if (before == absent || state == absent)
        return before == state;
    return std::min(distance, numPhases - distance) <= 1;
}

/// Whether a pattern is there all the time, without a change.
bool isLasting(const Path& path)
{
    return path.states[0] != absent && std::adjacent_find(path.states.begin(), path.states.end(),
                                                          [](int before, int state) {
                                                              return !goesOn(before, state);
                                                          }) == path.states.end();
}

class ChangeFinder
{
public:
    ChangeFinder(const HarmonicLines& linesToUse, const SmoothAmplitudes& smoothToUse)
        : lines(linesToUse)
        , smooth(smoothToUse)
    {
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (smooth.isPresent[line] != 0 && lines.getHarmonic(line) <= comparedHarmonics)
                used.push_back(line);
    }

    bool canFind() const { return !used.empty() && lines.numFrames >= fewestFrames; }

    Path findPath() const
    {
        Path best;
        Pattern pattern;
        int numLasting = 0;
        for (const int frame : findClearParts())
        {
            Pattern trialPattern = formPattern(frame);
            Path trial = findPath(trialPattern);
            numLasting = isLasting(trial) ? numLasting + 1 : 0;
            if (numLasting == fewestLasting)
                return trial;
            if (trial.score > best.score)
            {
                best = std::move(trial);
                pattern = std::move(trialPattern);
            }
        }
        for (int i = 0; i < improvements; ++i)
        {
            pattern = improve(pattern, best);
            Path trial = findPath(pattern);
            if (trial.score <= best.score + 0.1)
                break;
            best = std::move(trial);
        }
        return best;
    }

private:
    int getHalf() const { return std::min(lines.numFrames, patternFrames) / 2; }

    Pattern formPattern(int centre) const
    {
        const int first = std::max(0, centre - getHalf());
        const int last = std::min(lines.numFrames, centre + getHalf());
        Pattern pattern(used.size());
        for (int frame = first; frame < last; ++frame)
            for (std::size_t i = 0; i < used.size(); ++i)
                pattern[i] += smooth.amplitudes[lines.at(frame, used[i])];
        for (Complex& amplitude : pattern)
            amplitude /= std::max(last - first, 1);
        return pattern;
    }

    /// Frames around which a pattern stands out, the clearest first, apart from each other.
    Series<int> findClearParts() const
    {
        Series<std::pair<double, int>> parts;
        for (int frame = getHalf() / 2; frame < lines.numFrames; frame += patternStep)
        {
            const Pattern pattern = formPattern(frame);
            double significance = 0.0;
            for (std::size_t i = 0; i < used.size(); ++i)
                significance += std::min(getPower(pattern[i]) /
                                             (smooth.variances[lines.at(frame, used[i])] + tiny),
                                         mostSignificance);
            parts.emplace_back(-significance, frame);
        }
        std::stable_sort(parts.begin(), parts.end());
        Series<int> chosen;
        for (const auto& [significance, frame] : parts)
        {
            const auto isNear = [this, at = frame](int other)
            { return std::abs(at - other) < getHalf(); };
            if (static_cast<int>(chosen.size()) < mostPatterns &&
                std::none_of(chosen.begin(), chosen.end(), isNear))
                chosen.push_back(frame);
        }
        return chosen;
    }

    /// Logarithm of the likelihood of each state in a frame, given a pattern ahead by each of the
    /// phases, [used line][phase].
    void rate(int frame, const Pattern& pattern, const SplitComplex<double>& turned,
              Series<double>& products, double* scores) const
    {
        std::fill_n(scores, numStates, 0.0);
        for (std::size_t i = 0; i < used.size(); ++i)
        {
            const std::size_t at = lines.at(frame, used[i]);
            const Complex value = lines.amplitudes[at];
            const double scale = 0.5 / (lines.noise[at] + patternError * getPower(pattern[i]));
            multiplyErrors(value, turned, i * numPhases, numPhases, scale, products.data());
            products[absent] *= 1.0 + getPower(value) * scale;
            if (i % errorsPerLogarithm == errorsPerLogarithm - 1 || i + 1 == used.size())
                collectLogarithms(3.0, numStates, products.data(), scores);
        }
    }

    SplitComplex<double> turnPattern(const Pattern& pattern) const
    {
        SplitComplex<double> turned(used.size() * numPhases);
        for (std::size_t i = 0; i < used.size(); ++i)
            for (int state = 0; state < numPhases; ++state)
                turned.set(i * numPhases + static_cast<std::size_t>(state),
                           multiply(pattern[i],
                                    std::polar(1.0, getTurn(state) * lines.getHarmonic(used[i]))));
        return turned;
    }

    Path findPath(const Pattern& pattern) const
    {
        const SplitComplex<double> turned = turnPattern(pattern);
        Series<double> products(numStates, 1.0);
        Series<double> best(numStates);
        Series<double> here(numStates);
        Series<double> next(numStates);
        Series<double> circle(numPhases + 2);
        Series<float> origins(indexOf(lines.numFrames, numStates));
        rate(0, pattern, turned, products, best.data());
        for (int frame = 1; frame < lines.numFrames; ++frame)
        {
            rate(frame, pattern, turned, products, here.data());
            float* const origin = &origins[indexOf(frame, numStates)];
            const auto top =
                static_cast<int>(std::max_element(best.begin(), best.end() - 1) - best.begin());
            std::copy_n(best.begin(), numPhases, circle.begin() + 1);
            circle.front() = best[numPhases - 1];
            circle.back() = best[0];
            findPhaseOrigins(circle.data(), numPhases,
                             {driftCost, leapCost, top, absent, best[absent] - switchCost},
                             next.data(), origin);
            const double fromTop = best[top] - switchCost;
            next[absent] = std::max(best[absent], fromTop);
            origin[absent] = static_cast<float>(fromTop > best[absent] ? top : absent);
            for (int state = 0; state < numStates; ++state)
                best[state] = next[state] + here[state];
        }
        return traceBack(best, origins);
    }

    Path traceBack(const Series<double>& best, const Series<float>& origins) const
    {
        auto state = static_cast<int>(std::max_element(best.begin(), best.end()) - best.begin());
        Path path{best[state], Series<int>(static_cast<std::size_t>(lines.numFrames))};
        for (int frame = lines.numFrames - 1; frame >= 0; --frame)
        {
            path.states[frame] = state;
            state = static_cast<int>(origins[indexOf(frame, numStates, state)]);
        }
        return path;
    }

    /// The weighted mean of all frames in which a path has the pattern, turned back.
    Pattern improve(const Pattern& old, const Path& path) const
    {
        Pattern pattern(used.size());
        for (std::size_t i = 0; i < used.size(); ++i)
        {
            double weights = tiny;
            for (int frame = 0; frame < lines.numFrames; ++frame)
            {
                const int state = path.states[frame];
                if (state == absent)
                    continue;
                const std::size_t at = lines.at(frame, used[i]);
                const Complex value =
                    multiply(lines.amplitudes[at],
                             std::polar(1.0, -getTurn(state) * lines.getHarmonic(used[i])));
                const double noise = lines.noise[at] + patternError * getPower(old[i]);
                const double weight = 1.0 / (noise + 0.5 * getPower(value - old[i]));
                pattern[i] += weight * value;
                weights += weight;
            }
            pattern[i] /= weights;
        }
        return pattern;
    }

    const HarmonicLines& lines;
    const SmoothAmplitudes& smooth;
    Series<int> used;
};

Series<Segment> makeSegments(const Series<int>& states)
{
    Series<Segment> segments;
    Complex sum;
    int first = 0;
    const auto numFrames = static_cast<int>(states.size());
    for (int frame = 0; frame < numFrames; ++frame)
    {
        sum += std::polar(1.0, getTurn(states[frame]));
        if (frame + 1 < numFrames && goesOn(states[frame], states[frame + 1]))
            continue;
        const bool isOn = states[frame] != absent;
        segments.push_back({first, frame + 1, isOn, isOn ? std::arg(sum) : 0.0});
        first = frame + 1;
        sum = 0.0;
    }
    return segments;
}

Series<Segment> joinAroundMoments(Series<Segment> segments)
{
    for (std::size_t i = 1; i + 1 < segments.size();)
    {
        const Segment here = segments[i];
        if (here.last - here.first >= shortestSegment)
        {
            ++i;
            continue;
        }
        segments[i - 1].last = segments[i + 1].first = (here.first + here.last + 1) / 2;
        segments.erase(segments.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return segments;
}

} // namespace

Series<Segment> findChanges(const HarmonicLines& lines, const SmoothAmplitudes& smooth)
{
    const ChangeFinder finder(lines, smooth);
    if (!finder.canFind())
        return {{0, lines.numFrames, true, 0.0}};
    return joinAroundMoments(makeSegments(finder.findPath().states));
}

} // namespace orvo::audio::precise
