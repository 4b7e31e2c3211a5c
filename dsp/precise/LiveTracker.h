#pragma once

#include "dsp/precise/LiveEvidence.h"
#include "dsp/precise/LiveFilterBank.h"
#include "dsp/precise/LiveMath.h"
#include "dsp/precise/LivePattern.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvo::audio::precise
{

using LivePhaseBank = LiveFilterBank<3, 4>;
using LiveGainBank = LiveFilterBank<2, 3>;

/// What a tracker knew after a frame.
struct LiveRecord
{
    std::int64_t centre = 0;
    std::size_t phaseModel = 0;
    std::size_t gainModel = 0;
    std::size_t walk = 0;

    /// Records of different segments do not hang together: a jump lies between them.
    int segment = 0;

    LivePhaseBank phase;
    LiveGainBank gain;
    std::array<LivePattern::Walk, LivePattern::numModels> walks;
};

/// Follows one hum: a phase, a gain and the amplitudes of all lines, frame by frame.
class LiveTracker
{
public:
    LiveTracker(const LiveLayout& newLayout, int numRecords);

    /// Begins anew. `deviation` of the fundamental from the nominal and its standard deviation in
    /// Hz. A steady tracker knows slow motion only and no common gain.
    void start(double deviation, double uncertainty, bool steady);

    void advance(const LiveObservation& observation);

    /// Looks whether the last frames fit much better to no hum, or to the hum with another phase,
    /// and acts on it. Copies itself into `before`, if given, when it jumps; returns whether it
    /// did.
    bool considerChange(const LiveHistory& history, LiveTracker* before);

    bool isAudible() const { return evidence.isAudible(); }

    bool isSteady() const { return steady; }

    /// Deviation of the fundamental from the nominal in Hz.
    double getDeviation() const;

    int getAge() const { return age; }

    const LiveEvidence& getEvidence() const { return evidence; }

    /// The record `back` frames ago; there are getNumRecords().
    const LiveRecord& getRecord(int back) const;

    int getNumRecords() const { return numKept; }

    /// The factor that a gain and its slope stand for.
    static double getLevel(const LiveVector<2>& logGain);

    /// How phase, frequency and drift, and gain and slope, move in some seconds by themselves, and
    /// how much each model lets them stray.
    static LiveMatrix<3> getPhaseTransition(double seconds);
    static LiveMatrix<2> getGainTransition(double seconds);
    static std::array<LiveMatrix<3>, 4> getPhaseNoise(double seconds);
    static std::array<LiveMatrix<2>, 3> getGainNoise(double seconds);

private:
    struct Fit
    {
        double phase = 0.0;
        double phaseInformation = 0.0;
        double gain = 0.0;
        double gainInformation = 0.0;
    };

    void predict();
    void align(const LiveObservation& observation, double angle, double scale);
    void readNoise(const LiveObservation& observation);
    void measureMotion();
    Fit fitMotion() const;
    void updatePattern(const LiveObservation& observation);
    void remember(std::int64_t centre);
    /// By so many parts of a circle jumps may turn the phase.
    static constexpr std::size_t numShifts = 128;
    static const std::array<Complex, numShifts> turns;

    /// How much better than the prediction silence and each phase shift explain the last frames.
    struct Change
    {
        double silence = 0.0;
        std::array<double, numShifts> shifts{};
    };

    void expect(const LiveObservation& observation);
    bool isWeighed(std::size_t line) const;
    void weighSilence(const LiveObservation& observation, Change& change);
    void weighShifts(const LiveObservation& observation, Change& change);
    void jump(double shift, const LiveHistory& history);

    double getGain() const { return getLevel(gain.getState().mean); }

    LiveLayout layout;
    bool steady = false;
    int age = 0;
    int segment = 0;
    LivePhaseBank phase;
    LiveGainBank gain;
    LivePattern pattern;
    LiveEvidence evidence;
    std::vector<Complex> aligned;
    std::vector<double> noise;
    std::vector<Complex> expected;
    std::vector<double> expectedVariance;
    std::array<std::vector<Complex>, 4> recent;
    std::size_t numRecent = 0;
    std::vector<double> sideNoise;
    bool hasSideNoise = false;
    std::vector<LiveRecord> records;
    std::size_t newestRecord = 0;
    int numKept = 0;
};

} // namespace orvo::audio::precise
