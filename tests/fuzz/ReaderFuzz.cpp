#include "audiofile/AudioFileReader.h"
#include "audiofile/FileDamage.h"
#include "audiofile/FileMetadata.h"
#include "tests/fuzz/Input.h"

#include <system_error>
#include <vector>

/// Whatever the bytes are, they are read whole and more than once with the same result, salvaged or
/// refused by an error.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kalim;
    const fuzz::Input input(data, size);
    for (const Damaged whatToDo : {Damaged::refuse, Damaged::salvage})
        try
        {
            AudioFileReader reader(input.getPath(), whatToDo);
            const FileMetadata metadata(reader);
            std::vector<float> samples(static_cast<std::size_t>(4096 * reader.getNumChannels()));
            // What claims hours in a few bytes, as silence in FLAC does, is not worth the time.
            constexpr std::int64_t mostFrames = 1 << 20;
            std::int64_t frames = 0;
            while (const auto count = reader.read(samples))
                if ((frames += count) > mostFrames)
                    break;
            if (frames <= mostFrames && frames != reader.getNumFrames())
                std::abort();
            reader.seek(frames / 2);
            reader.read(samples);
            damagesOf(reader);
        }
        catch (const FileError&)
        {
            // The usual end.
        }
    return 0;
}
