#pragma once

#include "dsp/precise/LiveTracker.h"
#include "dsp/signal/FourierTransform.h"

#include <cstdint>
#include <vector>

namespace orvo::audio::precise
{

/// What is going to be subtracted during one hop: for up to four frames one period of the hum as
/// a table and the motion of its phase, between which the sound is interpolated.
class LivePlan
{
public:
    static constexpr int mostKnots = 4;

    /// Not for the audio thread.
    void prepare(const LiveLayout& newLayout);

    /// The plan subtracts nothing.
    void clear() { numKnots = 0; }

    /// Chooses frames for the samples from `begin` on to `end` and smooths them by all that came
    /// later. Leaves the tables to makeTable().
    void make(const LiveTracker& tracker, std::int64_t begin, std::int64_t end);

    /// Table `part` of getNumTables().
    void makeTable(int part);

    int getNumTables() const { return mostKnots * layout.numChannels; }

    bool isEmpty() const { return numKnots == 0; }

    /// Adds `weight` times the hum at sample `time` of every channel to `sums`.
    void addTo(std::int64_t time, float weight, float* sums) const;

private:
    struct Knot
    {
        std::int64_t centre = 0;
        int segment = 0;
        LiveVector<3> phase{};
        double gainAtBegin = 1.0;
        double gainAtEnd = 1.0;
        std::vector<Complex> amplitudes;
        std::vector<float> tables;
    };

    /// The last record of a segment is as good as it gets; those before it are smoothed by what
    /// came later.
    void believe(const LiveRecord& record);
    void smooth(const LiveRecord& record);
    void setKnot(Knot& knot, const LiveTracker& tracker, const LiveRecord& record);
    void addKnot(const Knot& knot, std::int64_t time, float weight, float* sums) const;

    LiveLayout layout;
    int numKnots = 0;
    std::int64_t first = 0;
    std::int64_t last = 1;
    std::vector<Knot> knots;
    std::size_t phaseModel = 0;
    std::size_t gainModel = 0;
    std::size_t walk = 0;
    LiveVector<3> phase{};
    LiveVector<2> gain{};
    std::vector<Complex> smoothed;
    std::vector<double> variances;
    FourierTransform transform;
    Signal32 input;
    ComplexSignal32 spectrum;
};

} // namespace orvo::audio::precise
