#pragma once

#include "dsp/signal/VectorKernels.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>
#include <string>

namespace testing_support
{

/// Calls `test()` once for every instruction set that is built in and that this processor has,
/// with the vector layer set to it, and then goes back to the best one.
template <typename Test>
void forEachInstructionSet(const Test& test)
{
    int numTested = 0;
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1)
    {
        const std::int64_t set = rest & -rest;
        hwy::SetSupportedTargetsForTest(set);
        const std::string name = orvo::vo::chooseInstructionSet();
        if (name != hwy::TargetName(set))
            continue;
        const testing::ScopedTrace trace(__FILE__, __LINE__, name);
        test();
        ++numTested;
    }
    hwy::SetSupportedTargetsForTest(0);
    orvo::vo::chooseInstructionSet();
    EXPECT_GT(numTested, 0);
}

} // namespace testing_support
