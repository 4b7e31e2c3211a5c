// How long the live form of precise removal takes for a callback of 64 frames, as a share of the
// time that a host has for it: kalim_live_callback [SECONDS]

#include "benchmarks/CallbackRuns.h"
#include "dsp/precise/LiveRemover.h"

#include <cstdio>
#include <cstdlib>

namespace
{

using benchmarks::CallbackCosts;
using orvo::audio::precise::LiveRemover;

constexpr int numFrames = 64;

CallbackCosts measure(const benchmarks::Sound& sound, double sampleRate, double lookAhead,
                      double seconds)
{
    LiveRemover remover;
    remover.prepare(sampleRate, static_cast<int>(sound.size()), {.lookAhead = lookAhead});
    return benchmarks::measureCallbacks(sound, sampleRate, numFrames, seconds,
                                        [&](float* const* block)
                                        { remover.process(block, numFrames); });
}

} // namespace

int main(int numArguments, char** arguments)
{
    const double seconds = numArguments > 1 ? std::atof(arguments[1]) : 20.0;
    if (numArguments > 2 || !(seconds > 0.0))
    {
        std::fputs("usage: kalim_live_callback [SECONDS]\n", stderr);
        return 2;
    }
    const bool isAhead = benchmarks::runAheadOfOthers();
    std::printf(
        "%g s per line, 96 harmonics, %d frames, %d times the same, %s real-time priority; "
        "shares of the deadline in %%\n\n"
        "| rate | channels | look-ahead | deadline | mean | 99.9 %% | maximum of the work | "
        "maximum with interruptions | heap calls |\n"
        "|---|---|---|---|---|---|---|---|---|\n",
        seconds, numFrames, benchmarks::numRuns, isAhead ? "with" : "without");
    for (const double sampleRate : {44100.0, 48000.0, 96000.0, 192000.0, 384000.0})
        for (const int numChannels : {1, 2, 8})
        {
            const benchmarks::Sound sound = benchmarks::makeHum(numChannels, sampleRate);
            for (const double lookAhead : {0.0, 0.05, 0.2})
            {
                const auto [work, longest] = benchmarks::measureRepeatedly(
                    [&, late = lookAhead] { return measure(sound, sampleRate, late, seconds); });
                std::printf("| %g kHz | %d | %g ms | %.2f ms | %.1f | %.1f | %.1f | %.1f | %d |\n",
                            0.001 * sampleRate, numChannels, 1000.0 * lookAhead,
                            1000.0 * work.getDeadline(), 100.0 * work.getMean(),
                            100.0 * work.getShare(0.999), 100.0 * work.getShare(1.0),
                            100.0 * longest, static_cast<int>(work.getNumHeapCalls()));
                std::fflush(stdout);
            }
        }
    std::printf("\nThe machine alone, with a loop that only reads the clock for %g s: interrupted "
                "for up to %.2f ms.\n",
                seconds, 1000.0 * benchmarks::findLongestInterruption(seconds));
    return 0;
}
