#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kalim
{

/// A cryptographic checksum of bytes that arrive one after the other.
class Digest
{
public:
    enum class Kind
    {
        md5,
        sha256
    };

    /// Throws std::runtime_error where the system does not offer that kind.
    explicit Digest(Kind kind);

    void add(std::span<const std::byte> bytes);

    /// The checksum of all so far; nothing can be added afterwards.
    std::vector<std::byte> finish();

    /// The same in hexadecimal digits.
    std::string finishAsText();

private:
    struct Closer
    {
        void operator()(void* context) const;
    };

    std::unique_ptr<void, Closer> context;
};

/// The samples of integers of so many bits, 8 to 32, as their bytes, the least significant first;
/// full scale is ±1.
void appendIntegers(std::span<const float> samples, int bits, std::vector<std::byte>& bytes);

} // namespace kalim
