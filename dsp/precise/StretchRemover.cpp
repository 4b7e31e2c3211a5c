#include "dsp/precise/StretchRemover.h"

#include "dsp/precise/ClearestChannels.h"
#include "dsp/precise/CoveredLines.h"
#include "dsp/precise/Decimator.h"
#include "dsp/precise/HumFitter.h"
#include "dsp/precise/LevelDoubts.h"
#include "dsp/precise/LineDoubts.h"
#include "dsp/precise/Mains.h"
#include "dsp/precise/StillLines.h"
#include "dsp/precise/TapeHum.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

/// Half the rate of the analysis over its highest harmonic, given the flat part of the decimator.
constexpr double analysisMargin = 1.4;

constexpr int firstHarmonics = 80;
constexpr int topHarmonics = 20;

/// Evidence (natural logarithm of a likelihood ratio) that a stretch needs: of all lines but the
/// clearest, since one line alone may be a held note; or of one line that is very clear and steady,
/// near a mains frequency.
constexpr double restEvidence = 30.0;
constexpr double sureSeconds = 5.0; // below, more evidence is needed
constexpr double singleEvidence = 300.0;
constexpr double singleSeconds = 3.0;
constexpr double singleSpread = 0.1; // Hz

/// What lies 66 dB under the sound is left alone: nobody hears it, and loops and codecs make lines
/// of that size.
constexpr double leastShare = 2.5e-7;

/// Mains stay that near to 50 or 60 Hz, and lasting hum changes no oftener.
constexpr double mainsOffset = 0.35;
constexpr double mostChangesPerSecond = 0.25;

/// Notes do not make up so much of the power at one fundamental for a stretch.
constexpr double mainShare = 0.6;

/// Points of a period, and the share of the power in a tenth of it that makes hum a train of
/// clicks: the pulses of dimmers keep a fundamental and half their power outside.
constexpr int burstPoints = 1000;
constexpr double burstShare = 0.85;

/// Candidates that lie nearer together are one, since the fit covers both.
constexpr double leastCandidateDistance = 0.3;
constexpr std::size_t mostPeaks = 2;

/// What a harmonic counts at most, and the share of the multiples of one, when notes are told from
/// hum.
constexpr double mostEvidence = 100.0;
constexpr double noteShare = 0.8;

/// A low-rate copy of a view, which owns its samples where the rate is another.
struct LowRateCopy
{
    Series<Series<float>> samples;
    ChannelView view;
};

/// A copy that holds harmonics of a fundamental; the factor is 1 where nothing can be left out.
LowRateCopy makeLowRateCopy(const ChannelView& view, double fundamental, int numHarmonics)
{
    const double needed = 2.0 * analysisMargin * (numHarmonics + 1) * fundamental;
    const int factor = std::max(1, static_cast<int>(view.sampleRate / needed));
    LowRateCopy copy;
    if (factor == 1)
    {
        copy.view = view;
        return copy;
    }
    const Decimator decimator(factor);
    for (const float* const samples : view.channels)
        copy.samples.push_back(decimator.process(samples, view.numSamples));
    for (const auto& samples : copy.samples)
        copy.view.channels.push_back(samples.data());
    copy.view.numSamples = static_cast<int>(copy.samples.front().size());
    copy.view.sampleRate = view.sampleRate / factor;
    return copy;
}

Series<CombPeak> findPeaks(const ChannelView& view, const Series<FundamentalRange>& ranges)
{
    CombDetector detector(view.sampleRate, ranges);
    for (const float* const samples : view.channels)
        for (int start = 0; start == 0 || start + detector.getWindowLength() <= view.numSamples;
             start += detector.getHop())
            detector.addWindow(samples + start, view.numSamples - start);
    return detector.getPeaks();
}

/// The best peaks, and the mains frequencies: hum of one line makes no comb.
Series<double> chooseCandidates(const Series<CombPeak>& peaks,
                                const Series<FundamentalRange>& ranges)
{
    Series<double> candidates;
    const auto add = [&candidates](double fundamental)
    {
        if (std::none_of(candidates.begin(), candidates.end(),
                         [&](double other)
                         { return std::abs(other - fundamental) < leastCandidateDistance; }))
            candidates.push_back(fundamental);
    };
    for (std::size_t i = 0; i < std::min(peaks.size(), mostPeaks); ++i)
        add(peaks[i].fundamental);
    for (const double mains : mainsFrequencies)
        if (std::any_of(ranges.begin(), ranges.end(),
                        [&](const FundamentalRange& range)
                        { return range.lowest <= mains && mains <= range.highest; }))
            add(mains);
    return candidates;
}

double getMeanFrequency(const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const double last = lines.getTime(std::max(lines.numFrames - 1, 1));
    return (model.getTrack().getPhase(last) - model.getTrack().getPhase(lines.firstTime)) /
           (last - lines.firstTime);
}

double getSpread(const HumModel& model)
{
    double lowest = 1e300;
    double highest = 0.0;
    for (int frame = 0; frame < model.getLines().numFrames; ++frame)
    {
        const double f = model.getTrack().getFrequency(model.getLines().getTime(frame));
        lowest = std::min(lowest, f);
        highest = std::max(highest, f);
    }
    return highest - lowest;
}

double getSeconds(const HumModel& model)
{
    return model.getLines().numFrames * model.getLines().frameTime;
}

/// Whether a stretch is so short that hum is hardly told from notes.
bool isShort(const HumModel& model)
{
    return getSeconds(model) < sureSeconds;
}

/// Evidence of every line that is there.
Series<double> getEvidence(const SmoothAmplitudes& smooth)
{
    Series<double> evidence = smooth.evidence;
    for (std::size_t line = 0; line < evidence.size(); ++line)
        if (smooth.isPresent[line] == 0)
            evidence[line] = 0.0;
    return evidence;
}

/// Evidence of each harmonic in the channel where it is clearest, the first at 0, given that of the
/// lines. What is left out of the model by now counts no more.
Series<double> collectEvidence(const HumModel& model, const Series<double>& ofLines)
{
    const HarmonicLines& lines = model.getLines();
    Series<double> evidence(static_cast<std::size_t>(lines.numHarmonics));
    for (int line = 0; line < lines.getNumLines(); ++line)
        if (model.getSmooth().isPresent[line] != 0)
        {
            double& most = evidence[lines.getHarmonic(line) - 1];
            most = std::max(most, ofLines[line]);
        }
    return evidence;
}

/// Whether nearly all that stands out are multiples of one harmonic: then that is a note which a
/// fraction of itself was found to fit. Rectifiers leave the even harmonics of mains alone.
bool isNoteOnComb(const Series<double>& evidence, bool isBesideMains)
{
    const auto count = static_cast<int>(evidence.size());
    const auto sumOfMultiples = [&](int step)
    {
        double sum = 0.0;
        for (int harmonic = step; harmonic <= count; harmonic += step)
            sum += std::min(evidence[harmonic - 1], mostEvidence);
        return sum;
    };
    const double all = sumOfMultiples(1);
    for (int step = isBesideMains ? 2 : 3; 2 * step <= count; ++step)
        if (sumOfMultiples(step) > noteShare * all)
            return true;
    return false;
}

/// Hum is strong where it comes from, at the mains frequency and twice that.
bool hasLowHarmonic(const Series<double>& evidence)
{
    return evidence[0] > 0.0 || (evidence.size() > 1 && evidence[1] > 0.0);
}

/// Mean power of the hum of all channels.
double getHumPower(const HumModel& model)
{
    double sum = 0.0;
    for (const Complex amplitude : model.getAmplitudes())
        sum += 0.5 * getPower(amplitude);
    return sum / std::max(1, model.getLines().numFrames);
}

double getSoundPower(const ChannelView& view)
{
    constexpr int lanes = 8; // additions wait for each other
    std::array<double, lanes> sums{};
    for (const float* const samples : view.channels)
    {
        int i = 0;
        for (; i + lanes <= view.numSamples; i += lanes)
            for (int lane = 0; lane < lanes; ++lane)
                sums[static_cast<std::size_t>(lane)] +=
                    static_cast<double>(samples[i + lane]) * samples[i + lane];
        for (; i < view.numSamples; ++i)
            sums[0] += static_cast<double>(samples[i]) * samples[i];
    }
    return std::accumulate(sums.begin(), sums.end(), 0.0) / std::max(1, view.numSamples);
}

/// Whether hum is no nearer to the mains frequencies than notes are.
bool isBesideMains(const HumModel& model)
{
    return getMainsOffset(getMeanFrequency(model)) > mainsOffset;
}

/// Whether hum is there all the time.
bool isNeverOff(const HumModel& model)
{
    const auto& segments = model.getSegments();
    return std::all_of(segments.begin(), segments.end(),
                       [](const Segment& segment) { return segment.isOn; });
}

/// Whether hum is there all the time and hardly ever changes.
bool isLasting(const HumModel& model)
{
    return isNeverOff(model) && static_cast<double>(model.getChanges().size()) <=
                                    1.0 + getSeconds(model) * mostChangesPerSecond;
}

/// Whether nearly all of the hum lies in a small part of its period, and it has no body otherwise.
bool isBursts(const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex> amplitudes = model.getAmplitudes();
    Series<double> power(burstPoints);
    Series<Complex> circle;
    for (int point = 0; point < burstPoints; ++point)
        circle.push_back(std::polar(1.0, 2.0 * std::numbers::pi * point / burstPoints));
    for (int channel = 0; channel < lines.numChannels; ++channel)
        for (int point = 0; point < burstPoints; ++point)
        {
            double value = 0.0;
            for (int h = 1; h <= lines.numHarmonics; ++h)
            {
                const std::size_t at =
                    lines.at(lines.numFrames / 2, channel * lines.numHarmonics + h - 1);
                value += multiply(amplitudes[at], circle[point * h % burstPoints]).real();
            }
            power[point] += value * value;
        }
    const double total = std::accumulate(power.begin(), power.end(), 0.0);
    double densest = 0.0;
    for (int first = 0; first < burstPoints; ++first)
    {
        double sum = 0.0;
        for (int i = 0; i < burstPoints / 10; ++i)
            sum += power[(first + i) % burstPoints];
        densest = std::max(densest, sum);
    }
    return densest > burstShare * total;
}

/// The hum with all harmonics of a view, of which those above the highest are left out.
HumModel extend(const HumModel& model, const ChannelView& view, const FrameGrid& grid,
                double fundamental, int numHarmonics)
{
    HumModel extended =
        model.moveTo(LineReader(view, grid, fundamental).read(model.getTrack(), numHarmonics));
    const int highest = extended.findHighest();
    if (highest < numHarmonics)
        extended = model.moveTo(extended.getReadLines(highest));
    extended.updateAmplitudes();
    extended.takeNoiseFromResidual();
    extended.updateAmplitudes(Caution::DoubtfulLines);
    return extended;
}

} // namespace

StretchRemover::StretchRemover(StretchSettings settingsToUse)
    : settings(std::move(settingsToUse))
{
}

bool StretchRemover::isHum(const HumModel& model, const Series<double>& evidenceOfLines,
                           const ChannelView& view) const
{
    const double share = getHumPower(model) / std::max(getSoundPower(view), 1e-30);
    if (share < leastShare)
        return false;
    const bool isBeside = isBesideMains(model);
    if (settings.distrustsOthers && isBeside &&
        (isShort(model) || (share < mainShare && !isNeverOff(model)) ||
         !isHumOfTape(model, {getMeanFrequency(model), getSpread(model)}, evidenceOfLines)))
        return false;
    const Series<double> evidence = collectEvidence(model, evidenceOfLines);
    const double largest = *std::max_element(evidence.begin(), evidence.end());
    const double rest = std::accumulate(evidence.begin(), evidence.end(), 0.0) - largest;
    if (isNoteOnComb(evidence, isBeside || isShort(model)) ||
        (settings.distrustsOthers && (isShort(model) || isBeside) && !hasLowHarmonic(evidence)))
        return false;
    const double seconds = getSeconds(model);
    return rest > restEvidence * std::max(1.0, sureSeconds / seconds) ||
           (largest > singleEvidence && seconds > singleSeconds && isLasting(model) &&
            getSpread(model) < singleSpread);
}

/// Fits a hum near a fundamental; gives nothing if it is none.
std::optional<HumModel> StretchRemover::find(const Views& views, double fundamental,
                                             StretchResult& result) const
{
    const FrameGrid grid(fundamental, views.low.sampleRate, views.low.numSamples);
    if (grid.getNumFrames() < 2 || fundamental > highestShareOfRate * views.full.sampleRate)
        return {};
    const HumModel model = HumFitter(views.low, grid, fundamental).fit();
    const double found = getMeanFrequency(model);
    if (!model.isAnyPresent())
        return {};
    const int most = std::min(settings.mostHarmonics,
                              static_cast<int>(highestShareOfRate * views.full.sampleRate / found));
    if (most < 1)
        return {};
    const int first = std::min(most, firstHarmonics);
    HumModel extended = extend(model, views.middle, grid, fundamental, first);
    const bool isKnownToReach =
        settings.pattern &&
        static_cast<int>(settings.pattern->amplitudes[0].size()) > firstHarmonics;
    const bool reachesTop = extended.getLines().numHarmonics > first - topHarmonics;
    if (most > first && (isKnownToReach || reachesTop))
        extended = extend(model, views.full, grid, fundamental, most);
    const bool isInDoubt =
        settings.distrustsOthers && (isShort(extended) || isBesideMains(extended));
    // Only hum that is heard makes it likely that there is more beneath the sound.
    const Series<double> evidence = getEvidence(extended.getSmooth());
    addCoveredLines(extended);
    holdLinesStill(extended);
    leaveOutNotes(extended, isInDoubt, !settings.distrustsOthers);
    lowerDoubtfulMoments(extended);
    if (!isHum(extended, evidence, views.full))
        return {};
    result.fundamental = found;
    if (settings.pattern)
        imposePattern(*settings.pattern, extended);
    result.isBursts = isBursts(extended);
    return result.isBursts ? std::nullopt : std::optional(std::move(extended));
}

StretchResult StretchRemover::analyse(const ChannelView& view) const
{
    double highest = 0.0;
    for (const FundamentalRange& range : settings.ranges)
        highest = std::max(highest, range.highest);
    const LowRateCopy copy = makeLowRateCopy(view, highest, firstHarmonics);
    const LowRateCopy lowCopy = makeLowRateCopy(copy.view, highest, HumFitter::numHarmonics);
    const ChannelView clearest = chooseClearest(lowCopy.view, settings.ranges, highest);
    const Series<CombPeak> peaks = findPeaks(clearest, settings.ranges);
    StretchResult result{peaks.front().fundamental, peaks.front().score, false, {}};
    for (const double fundamental : chooseCandidates(peaks, settings.ranges))
    {
        result.model = find({view, copy.view, clearest}, fundamental, result);
        if (result.model || result.isBursts)
            break;
    }
    return result;
}

} // namespace orvo::audio::precise
