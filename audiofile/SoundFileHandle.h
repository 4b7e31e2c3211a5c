#pragma once

#include <sndfile.h>

#include <memory>

namespace kalim
{

/// Closes a file of the audio file library; any error of that must be asked for beforehand.
struct SoundFileCloser
{
    void operator()(SNDFILE* file) const { sf_close(file); }
};

/// Owner of an open file of the audio file library.
using SoundFileHandle = std::unique_ptr<SNDFILE, SoundFileCloser>;

} // namespace kalim
