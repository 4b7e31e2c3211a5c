#pragma once

#include "ui/plot/BaseValueMapping.h"

/// Leaves values as they are: a linear display.
class IdentityValueMapping final : public BaseValueMapping
{
public:
    double forward(double value) const override { return value; }

    double back(double mapped) const override { return mapped; }
};
