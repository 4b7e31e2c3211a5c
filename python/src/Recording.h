#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kalim::python
{

/// How a channel becomes one that looks like sound: the offset is subtracted, the rest multiplied.
struct Normal
{
    double offset = 0.0;
    double scale = 1.0; ///< a power of two
};

/// A recording in an array of the caller's, one row per channel; samples of a row lie side by side.
/// No lock: the caller does not change the array meanwhile.
template <typename Sample>
struct Recording
{
    const Sample* data;
    std::ptrdiff_t rowStride; ///< in samples
    int channels;
    std::int64_t length;

    /// One per channel, or none where samples are taken as they are.
    std::vector<Normal> normals{};

    const Sample* row(int channel) const { return data + channel * rowStride; }

    Normal normalOf(int channel) const
    {
        return normals.empty() ? Normal{} : normals[static_cast<std::size_t>(channel)];
    }
};

/// Finds what makes every channel look like sound: its mean is taken away, and its loudest sample
/// comes to lie between a half and one. Nothing where the recording looks like that already, unless
/// it is to be done `always`. Samples that are no finite numbers do not count.
template <typename Sample>
std::vector<Normal> findNormals(const Recording<Sample>& recording, bool always);

/// Gives stretches of a recording as single-precision samples: where they are such already, without
/// a copy.
template <typename Sample>
class Pieces
{
public:
    explicit Pieces(const Recording<Sample>& recording);

    /// Samples from `start` on, one pointer per channel, valid until the next call.
    const float* const* read(std::int64_t start, int count);

private:
    const Recording<Sample>& recording;
    std::vector<std::vector<float>> copies;
    std::vector<const float*> pointers;
};

} // namespace kalim::python
