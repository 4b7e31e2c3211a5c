#pragma once

#include <string>
#include <vector>

namespace benchmarks
{

/// A picture of how much of the deadline callbacks take at several block sizes.
class CallbackPlot
{
public:
    /// Shares of the deadline, 1 being all of it.
    struct Bar
    {
        int numFrames;
        bool isAggressive;
        double median;

        /// The longest that a callback's own work took.
        double work;

        /// The longest that a callback took, interruptions by the machine included.
        double maximum;
    };

    void add(const Bar& bar) { bars.push_back(bar); }

    /// Throws std::runtime_error when the file cannot be written.
    void write(const std::string& file) const;

private:
    std::vector<Bar> bars;
};

} // namespace benchmarks
