#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace benchmarks
{

/// How long callbacks took, as shares of the time that there is for each, and how often they called
/// the heap.
class CallbackCosts
{
public:
    /// `deadlineSeconds` is what a block lasts.
    explicit CallbackCosts(double deadlineSeconds)
        : deadline(deadlineSeconds)
    {
    }

    void add(double seconds, std::int64_t heapCalls)
    {
        shares.push_back(seconds / deadline);
        numHeapCalls += heapCalls;
    }

    /// Of all callbacks together.
    std::int64_t getNumHeapCalls() const { return numHeapCalls; }

    double getDeadline() const { return deadline; }

    /// The share that this part of the callbacks, from 0 to 1, does not exceed.
    double getShare(double part) const
    {
        std::vector<double> sorted = shares;
        const auto position =
            static_cast<std::ptrdiff_t>(part * static_cast<double>(sorted.size() - 1));
        std::nth_element(sorted.begin(), sorted.begin() + position, sorted.end());
        return sorted[static_cast<std::size_t>(position)];
    }

    double getMean() const
    {
        return std::accumulate(shares.begin(), shares.end(), 0.0) /
               static_cast<double>(shares.size());
    }

    /// Keeps the lesser time of each callback of two runs of the very same callbacks: what the
    /// machine put into one of them goes, what the work takes stays. Heap calls add up.
    void keepLesser(const CallbackCosts& other)
    {
        for (std::size_t call = 0; call < shares.size(); ++call)
            shares[call] = std::min(shares[call], other.shares[call]);
        numHeapCalls += other.numHeapCalls;
    }

private:
    double deadline;
    std::vector<double> shares;
    std::int64_t numHeapCalls = 0;
};

} // namespace benchmarks
