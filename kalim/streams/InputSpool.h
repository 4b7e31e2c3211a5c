#pragma once

#include "audiofile/FileBytes.h"
#include "kalim/streams/RawFormat.h"

#include <filesystem>
#include <optional>
#include <string>

namespace kalim::program
{

/// The folder for what is kept while the program runs, TMPDIR or /tmp.
std::filesystem::path findScratchFolder();

/// A copy of an input that cannot be read twice, or that has no header, in a file without a name,
/// which the system removes however the program ends.
class InputSpool
{
public:
    /// Reads an open file to its end; with a raw format, whole frames become a WAV file. `name` is
    /// what messages call it. Throws FileError when nothing can be read or kept, and when raw
    /// samples end within a frame, unless the rest `mayBeCut` off.
    InputSpool(int descriptor, const std::string& name, const std::optional<RawFormat>& raw,
               bool mayBeCut);

    /// Leads to the copy while this lives, in this process and its children.
    std::filesystem::path getPath() const;

private:
    void copy(int descriptor, const std::string& name, const std::optional<RawFormat>& raw);
    void write(std::span<const std::byte> bytes) const;
    void completeRaw(const std::string& name, const RawFormat& raw, bool mayBeCut) const;

    FileDescriptor file;
};

} // namespace kalim::program
