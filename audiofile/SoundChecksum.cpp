#include "audiofile/SoundChecksum.h"

#include "audiofile/Digest.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <span>
#include <system_error>
#include <vector>

namespace kalim
{
namespace
{

constexpr std::int64_t framesAtOnce = 16384;

class SoundDigest
{
public:
    template <typename Sample>
    void add(std::span<const Sample> samples)
    {
        // The processors that this runs on store the least significant byte first.
        add(std::as_bytes(samples));
    }

    void add(std::span<const std::byte> bytes)
    {
        md5.add(bytes);
        sha256.add(bytes);
    }

    SoundChecksums finish(std::string samples)
    {
        return {std::move(samples), md5.finishAsText(), sha256.finishAsText()};
    }

private:
    Digest md5{Digest::Kind::md5};
    Digest sha256{Digest::Kind::sha256};
};

/// Samples that a float does not hold, read by the sound library itself.
template <typename Sample>
SoundChecksums checksumsOfWide(const std::filesystem::path& path, const char* name,
                               sf_count_t (*read)(SNDFILE*, Sample*, sf_count_t))
{
    SF_INFO info{};
    const SoundFileHandle sound(sf_open(path.c_str(), SFM_READ, &info));
    if (!sound)
        throw FileError(path, "cannot be read as audio");
    SoundDigest digest;
    std::vector<Sample> samples(static_cast<std::size_t>(framesAtOnce * info.channels));
    while (const auto frames = read(sound.get(), samples.data(), framesAtOnce))
        digest.add(std::span<const Sample>(samples).first(
            static_cast<std::size_t>(frames * info.channels)));
    return digest.finish(name);
}

} // namespace

SoundChecksums checksumsOf(const std::filesystem::path& path, Damaged whatToDo)
{
    AudioFileReader reader(path, whatToDo);
    const auto format = reader.getFormat();
    if (reader.getHandle() != nullptr && format.getSampleFormat() == SampleFormat::pcm32)
        return checksumsOfWide<int>(path, "s32le", sf_readf_int);
    if (reader.getHandle() != nullptr && format.getSampleFormat() == SampleFormat::float64)
        return checksumsOfWide<double>(path, "f64le", sf_readf_double);
    const int bits = integerBitsOf(format.getSubtype()).value_or(0);
    SoundDigest digest;
    std::vector<float> samples(static_cast<std::size_t>(framesAtOnce * reader.getNumChannels()));
    std::vector<std::byte> bytes;
    while (const auto frames = reader.read(samples))
    {
        const auto piece =
            std::span(samples).first(static_cast<std::size_t>(frames * reader.getNumChannels()));
        for (float& sample : piece)
            sample *= static_cast<float>(reader.getFullScale());
        if (bits == 0)
        {
            digest.add(std::span<const float>(piece));
            continue;
        }
        bytes.clear();
        appendIntegers(piece, bits, bytes);
        digest.add(std::span<const std::byte>(bytes));
    }
    return digest.finish(bits == 0   ? "f32le"
                         : bits <= 8 ? "s8"
                                     : fmt::format("s{}le", (bits + 7) / 8 * 8));
}

std::string fileChecksumOf(const std::filesystem::path& path)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen())
        throw FileError(path, errno);
    constexpr std::int64_t pieceSize = 1 << 20;
    Digest digest(Digest::Kind::sha256);
    try
    {
        std::int64_t offset = 0;
        for (auto piece = readBytesAt(file.get(), offset, pieceSize); !piece.empty();
             piece = readBytesAt(file.get(), offset, pieceSize))
        {
            digest.add(piece);
            offset += std::ssize(piece);
        }
    }
    catch (const std::system_error& error)
    {
        throw FileError(path, error.code().value());
    }
    return digest.finishAsText();
}

} // namespace kalim
