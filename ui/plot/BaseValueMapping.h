#pragma once

/// How values are spread over a display: equal distances on the screen are equal distances of
/// mapped values. Both directions give finite results for every finite value.
class BaseValueMapping
{
public:
    virtual ~BaseValueMapping() = default;

    /// From a value to the scale on which distances are measured.
    virtual double forward(double value) const = 0;

    /// From the scale back to the value.
    virtual double back(double mapped) const = 0;

    /// Whether decades are equally wide, so that round numbers repeat in each of them.
    virtual bool isByDecades() const { return false; }
};
