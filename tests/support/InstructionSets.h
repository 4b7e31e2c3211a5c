#pragma once

#include "dsp/signal/VectorKernels.h"

#include <hwy/targets.h>

#include <cstdint>

namespace testing_support
{

/// Calls `test(name)` once for every instruction set that is built in and that this processor has,
/// with the vector layer set to it, and then goes back to the best one.
template <typename Test>
void forEachInstructionSet(const Test& test)
{
    hwy::SetSupportedTargetsForTest(0);
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1)
    {
        hwy::SetSupportedTargetsForTest(rest & -rest);
        test(orvo::vo::chooseInstructionSet());
    }
    hwy::SetSupportedTargetsForTest(0);
    orvo::vo::chooseInstructionSet();
}

} // namespace testing_support
