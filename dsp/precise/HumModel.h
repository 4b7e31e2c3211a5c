#pragma once

#include "dsp/precise/ChangeFinder.h"
#include "dsp/precise/CommonMotion.h"
#include "dsp/precise/LineReader.h"
#include "dsp/precise/Series.h"

#include <memory>

namespace orvo::audio::precise
{

/// Frames first to last - 1 without a change of the hum.
struct Part
{
    int first;
    int last;
};

/// What is known of a line, frame by frame.
struct LineEstimate
{
    Series<Complex> amplitudes;
    Series<double> variances;
    double evidence; ///< natural logarithm of the likelihood ratio to no hum
};

/// The hum of a stretch: the sum over all harmonics h of the real part of
/// a_h(t) g(t) exp(i h (2 pi p(t) + q)), where p is the track in cycles, g the common gain, q the
/// phase of the segment and a_h an amplitude that hardly moves.
class HumModel
{
public:
    /// `lines` were read along `track`.
    HumModel(PhaseTrack track, HarmonicLines lines);

    const PhaseTrack& getTrack() const { return track; }

    const HarmonicLines& getLines() const { return lines; }

    /// Noise as it was read beside the lines, laid out as in getLines().
    const Series<double>& getReadNoise() const { return readNoise; }

    const Series<Segment>& getSegments() const { return segments; }

    const Series<double>& getLogGain() const { return logGain; }

    const SmoothAmplitudes& getSmooth() const { return smooth; }

    /// Lines as they would be with one phase and a gain of 1; not to be used any more once track,
    /// gain or segments have changed.
    const HarmonicLines& getAlignedLines() const { return prepare().aligned.lines; }

    /// Variance that the frequency gained per second, in (rad/s)^2; 0 before any motion was
    /// measured.
    double getWander() const { return wander; }

    bool isAnyPresent() const;

    /// Whether the hum is switched on in a frame.
    bool isOn(int frame) const { return getSegment(frame).isOn; }

    /// Logarithm of the likelihood, less what segments cost.
    double getScore() const;

    /// By how much the score exceeds that of another model of the same lines, when none of them may
    /// speak for or against it by more than `mostPerLine`.
    double getAdvantage(const HumModel& other, double mostPerLine) const;

    /// Looks for changes in a model that has none; gives whether there are any.
    bool addChanges();

    /// Estimates the amplitudes of every line, and looks for jumps of all of them.
    void findAmplitudes();

    /// Estimates them with the jumps that are known.
    void updateAmplitudes(Caution caution = Caution::AllLines);

    /// Measures the motion that all lines share, and gives the model that follows it; its
    /// amplitudes must be found anew. Needs a present line.
    HumModel followMotion(Motion motion) const;

    /// Takes as noise what the model leaves, where that is more than was read beside the harmonics,
    /// or far less for the whole of a line.
    void takeNoiseFromResidual();

    /// Leaves a harmonic out of the hum, in all channels.
    void leaveOutHarmonic(int harmonic);

    /// Leaves a harmonic out of the hum of one channel.
    void leaveOutLine(int line);

    /// What a line is all the time; what it was besides counts as noise. 0 leaves it out.
    void holdLine(int line, Complex still);

    /// Takes a line from another estimate, against track, gain and phase of the segments.
    void takeLine(int line, const LineEstimate& estimate);

    /// Replaces the amplitudes, [frame][line] against track, gain and phase of the segments; lines
    /// that are 0 throughout are left out.
    void setAmplitudes(Series<Complex> amplitudes);

    /// Number of the highest harmonic that is there, 1 if none is; amplitudes need not be known
    /// yet.
    int findHighest() const;

    /// The first harmonics as they were read.
    HarmonicLines getReadLines(int numHarmonics) const;

    /// The same hum on other lines, which were read along getTrack(): more harmonics, say. Their
    /// noise is raised by what moves beside them.
    HumModel moveTo(HarmonicLines otherLines) const;

    /// Frames before which the hum changes at once, in order.
    Series<int> getChanges() const;

    /// All frames, cut at the changes.
    Series<Part> getParts() const;

    /// Amplitude of a line with gain and phase of its segment, against the track.
    Series<Complex> getAmplitudes() const;

private:
    HumModel(const HumModel& other, HarmonicLines lines);

    struct Aligned
    {
        HarmonicLines lines;
        Series<char> isSkipped;
    };

    /// What is derived from the members below until one of them changes.
    struct Prepared
    {
        explicit Prepared(Aligned alignedToUse);

        Aligned aligned;
        AmplitudeSmoother smoother;
    };

    const Prepared& prepare() const;

    bool isAligned() const;
    Aligned align() const;
    Series<double> getLineScores() const;
    Series<double> getPowerGains() const;
    Series<double> getResidual(const Series<double>& gains) const;
    Series<double> getSharesOfNoise(const Series<double>& gains, const Series<double>& residual,
                                    const Series<char>& isSkipped) const;
    double getMeanFrequency() const;
    Series<double> getLead(double meanFrequency) const;
    CommonMotion measure(Motion motion, double meanFrequency) const;
    void addGain(const Series<double>& moreLogGain);
    void addPhase(SmoothPath& path, double meanFrequency);
    void moveLeapsToSegments(SmoothPath& path);
    void setTrack(PhaseTrack newTrack);
    const Segment& getSegment(int frame) const;

    PhaseTrack track;
    HarmonicLines lines;
    Series<double> readNoise;
    Series<Segment> segments;
    Series<double> logGain;
    SmoothAmplitudes smooth;
    double wander = 0.0;
    mutable std::shared_ptr<const Prepared> prepared;
};

/// Takes lines from one track to another, which must not differ by more than a hertz at any
/// harmonic.
void turnLines(HarmonicLines& lines, const PhaseTrack& from, const PhaseTrack& to);

} // namespace orvo::audio::precise
