#pragma once

#include "audiofile/media/MediaFile.h"

extern "C"
{
#include <libswresample/swresample.h>
}

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace kalim::media
{

/// One stream of sound of a film or recording that the sound library cannot read. Where its times
/// leave a gap there is silence, so that it stays in step with the picture.
class MediaSource : public SampleSource
{
public:
    /// Takes the stream of that number, or that which players choose. Throws FileError.
    MediaSource(std::filesystem::path path, int descriptor, std::optional<int> streamNumber = {});
    ~MediaSource() override;

    SampleShape getShape() const override { return shape; }

    std::int64_t decode(std::span<float> interleaved, std::int64_t frames) override;

    std::string getError() const override { return error; }

    bool seek(std::int64_t) override { return false; }

    bool isSeekable() const override { return false; }

    void restart() override;
    std::vector<FileNote> getNotes() const override;

    double getStartTime() const override;

private:
    void openDecoder();
    bool receive();
    bool sendNext();
    void take(AVFrame& taken);
    void convert(AVFrame& taken);
    void placeInTime(const AVFrame& taken);
    void noteDamage(const std::string& text);
    void compareWithStatedLength();
    bool isBare() const;

    std::filesystem::path filePath;
    int descriptor;
    std::optional<int> wanted;
    std::unique_ptr<MediaFile> file;
    int number = 0;
    Codec codec;
    SwrContext* converter = nullptr;
    Packet packet{av_packet_alloc()};
    Frame frame{av_frame_alloc()};
    SampleShape shape;
    std::vector<float> ready;
    std::size_t readyStart = 0;
    std::int64_t position = 0; // of the end of what is ready, in frames
    std::optional<std::int64_t> firstTime;
    double startTime = 0.0;
    std::int64_t silence = 0; // in front of what is ready, in frames
    std::int64_t silentFrames = 0;
    std::int64_t mostSilentFrames = 0;
    std::int64_t endOfPackets = 0; // in bytes of the file
    bool isAtEnd = false;
    std::string error;
    std::string damage;
};

} // namespace kalim::media
