#pragma once

namespace orvo::audio
{

/// Detection status of one active harmonic.
struct HarmonicStatus
{
    /// In Hz.
    float frequency = 0.0F;

    bool present = false;
};

} // namespace orvo::audio
