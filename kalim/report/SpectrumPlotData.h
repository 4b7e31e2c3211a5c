#pragma once

#include <string>
#include <vector>

namespace kalim::program
{

/// One harmonic of the hum, for a mark in the picture.
struct PlotHarmonic
{
    /// 1 for the fundamental.
    int number = 1;

    /// In Hz.
    double frequency = 0;

    /// In dBFS.
    double levelBefore = 0;
    double levelAfter = 0;
};

/// What a picture of two spectra shows; levels are in dBFS, minus infinity stands for silence.
struct SpectrumPlotData
{
    std::string title;
    std::string subtitle;

    /// In Hz.
    double sampleRate = 0;

    /// Hz between neighbouring levels, of which the first belongs to 0 Hz.
    double binSpacing = 0;

    std::string beforeLabel;
    std::string afterLabel;
    std::vector<double> before;
    std::vector<double> after;
    std::vector<PlotHarmonic> harmonics;
};

} // namespace kalim::program
