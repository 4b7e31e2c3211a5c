#pragma once

#include "ui/plot/BaseValueMapping.h"

/// Decades are equally wide. Values that have no logarithm are taken for the smallest that has one.
class LogarithmicValueMapping final : public BaseValueMapping
{
public:
    double forward(double value) const override;
    double back(double mapped) const override;

    bool isByDecades() const override { return true; }
};
