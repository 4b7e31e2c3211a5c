#pragma once

#include "python/src/Recording.h"

#include <pybind11/numpy.h>

namespace kalim::python
{

/// An array of shape (channels, samples) whose rows lie side by side in memory, as the Python side
/// hands over; otherwise pybind11::value_error. It must outlive what is returned.
template <typename Sample>
Recording<Sample> viewRecording(const pybind11::array_t<Sample>& array)
{
    constexpr auto size = static_cast<pybind11::ssize_t>(sizeof(Sample));
    if (array.ndim() != 2 || array.shape(0) < 1 ||
        (array.shape(1) > 1 && array.strides(1) != size) || array.strides(0) % size != 0)
        throw pybind11::value_error("not an array of rows that lie side by side");
    return {array.data(), array.strides(0) / size, static_cast<int>(array.shape(0)),
            static_cast<std::int64_t>(array.shape(1))};
}

/// A new array of that shape, whose values are not yet set.
template <typename Sample>
pybind11::array_t<Sample> makeOutput(int channels, std::int64_t length)
{
    return pybind11::array_t<Sample>(
        {static_cast<pybind11::ssize_t>(channels), static_cast<pybind11::ssize_t>(length)});
}

} // namespace kalim::python
