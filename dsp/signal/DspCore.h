#pragma once

namespace orvo::audio
{

/// Sets the vector layer up when the program or plug-in is loaded, and gives idle signal memory
/// back when it is unloaded. There is one, globalDspCore.
class DspCore
{
public:
    /// Picks the code paths of the processor at hand and switches flush-to-zero and
    /// denormals-are-zero on for the thread that loads the program.
    DspCore();
    ~DspCore();

    DspCore(const DspCore&) = delete;
    DspCore& operator=(const DspCore&) = delete;

    /// Name of the instruction set that the vector layer runs on, for reports.
    static const char* getInstructionSet();
};

extern DspCore globalDspCore;

} // namespace orvo::audio
