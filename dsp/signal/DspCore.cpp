#include "dsp/signal/DspCore.h"

#include "dsp/signal/AlignedMemory.h"
#include "dsp/signal/FlushToZero.h"
#include "dsp/signal/Signals.h"
#include "dsp/signal/VectorKernels.h"

namespace orvo::audio
{

const Signal32 Signal32::empty;
const Signal64 Signal64::empty;
const ComplexSignal32 ComplexSignal32::empty;
const ComplexSignal64 ComplexSignal64::empty;

DspCore::DspCore()
{
    vo::chooseInstructionSet();
    enableFlushToZero();
    // Nothing to do for threads: every operation of the layer runs on its caller's thread alone.
}

DspCore::~DspCore()
{
    releaseIdleMemory();
}

const char* DspCore::getInstructionSet()
{
    return vo::chooseInstructionSet();
}

DspCore globalDspCore;

} // namespace orvo::audio
