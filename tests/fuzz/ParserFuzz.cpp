#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "audiofile/Mp3Frames.h"
#include "audiofile/OggPages.h"
#include "tests/fuzz/Input.h"

#ifdef KALIM_HAS_FFMPEG
#include "audiofile/media/MediaExtent.h"
#endif

/// Our own parsers alone, without decoders that take most of the time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kalim;
    const fuzz::Input input(data, size);
    const FileRange whole{input.get(), 0, fileSizeOf(input.get())};
    if (const auto file = ChunkedFile::open(input.get()))
    {
        file->findRest();
        file->findUnclaimedAudioBytes();
        file->readDescriptions();
    }
    surveyMp3(whole);
    isMp3(whole, 65536);
    std::int64_t linked = 0;
    for (const auto& link : surveyOgg(input.get()).links)
        linked += link.range.length;
    if (linked > whole.length)
        std::abort();
    oggPacket(input.get(), 1);
#ifdef KALIM_HAS_FFMPEG
    media::missingIn(input.get());
#endif
    return 0;
}
