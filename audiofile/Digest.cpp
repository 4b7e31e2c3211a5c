#include "audiofile/Digest.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <openssl/evp.h>
#include <stdexcept>

namespace kalim
{
namespace
{

EVP_MD_CTX* inLibrary(void* context)
{
    return static_cast<EVP_MD_CTX*>(context);
}

void require(int result)
{
    if (result != 1)
        throw std::runtime_error("checksums are not available on this system");
}

} // namespace

void Digest::Closer::operator()(void* closing) const
{
    EVP_MD_CTX_free(static_cast<EVP_MD_CTX*>(closing));
}

Digest::Digest(Kind kind)
    : context(EVP_MD_CTX_new())
{
    require(EVP_DigestInit_ex(inLibrary(context.get()),
                              kind == Kind::md5 ? EVP_md5() : EVP_sha256(), nullptr));
}

void Digest::add(std::span<const std::byte> bytes)
{
    require(EVP_DigestUpdate(inLibrary(context.get()), bytes.data(), bytes.size()));
}

std::vector<std::byte> Digest::finish()
{
    std::vector<std::byte> result(EVP_MAX_MD_SIZE);
    unsigned int size = 0;
    require(EVP_DigestFinal_ex(inLibrary(context.get()),
                               reinterpret_cast<unsigned char*>(result.data()), &size));
    result.resize(size);
    return result;
}

std::string Digest::finishAsText()
{
    std::string text;
    for (const std::byte byte : finish())
        fmt::format_to(std::back_inserter(text), "{:02x}", static_cast<unsigned int>(byte));
    return text;
}

void appendIntegers(std::span<const float> samples, int bits, std::vector<std::byte>& bytes)
{
    const double scale = std::ldexp(1.0, bits - 1);
    const int numBytes = (bits + 7) / 8;
    for (const float sample : samples)
    {
        const auto number =
            static_cast<std::uint64_t>(std::llround(static_cast<double>(sample) * scale));
        for (int i = 0; i < numBytes; ++i)
            bytes.push_back(static_cast<std::byte>(number >> (8 * i) & 0xffU));
    }
}

} // namespace kalim
