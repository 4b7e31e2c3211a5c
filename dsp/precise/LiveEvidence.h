#pragma once

#include "dsp/precise/LiveMath.h"

#include <cstddef>
#include <vector>

namespace orvo::audio::precise
{

/// How sure it is that each line is there, from how much better than silence it was predicted, and
/// whether all together are a hum.
class LiveEvidence
{
public:
    explicit LiveEvidence(const LiveLayout& newLayout);

    /// Forgets everything.
    void start();

    /// Counts a frame: aligned lines against what was expected of them. The first frame of a
    /// tracker says nothing about its predictions.
    void add(const std::vector<Complex>& aligned, const std::vector<Complex>& expected,
             const std::vector<double>& noise, bool isFirst);

    /// Lets a frame pass that says nothing.
    void fade();

    /// Decides which lines are there, given their amplitudes and the fundamental's deviation in
    /// Hz.
    void decide(const std::vector<Complex>& amplitudes, double deviation);

    /// The hum has stopped: nothing is open, and the lines have to show themselves again.
    void fallSilent();

    /// Whether there is a hum.
    bool isAudible() const { return audible; }

    /// Whether any line is open.
    bool hasOpen() const;

    bool isOpen(std::size_t line) const { return open[line] != 0; }

    /// Whether the line is open and may be subtracted.
    bool isTrusted(std::size_t line) const { return trusted[line] != 0; }

    const std::vector<double>& getLines() const { return evidence; }

    /// How well the last frame was predicted, and the same summed over half a second.
    double getScore() const { return score; }

    double getRecentScore() const { return recentScore; }

private:
    double getFade() const;
    void judgeProminence(const std::vector<Complex>& amplitudes);
    bool isLasting(std::size_t line) const;

    LiveLayout layout;
    bool audible = false;
    double score = 0.0;
    double recentScore = 0.0;
    std::vector<double> evidence;
    std::vector<char> open;
    std::vector<int> openFrames;
    std::vector<char> trusted;
};

} // namespace orvo::audio::precise
