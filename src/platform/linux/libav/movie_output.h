// A new MPEG-4 file, written packet by packet, with its index in front.
// Where the number of packets is known beforehand, room for the index is left in front of the media
// and no byte is written twice; else the media is moved at the end.
// Units: stated at each function. Threads: one at a time; waits for the disk. Errors:
// PlatformError, "POSIX" where the file cannot be written, else "libav".
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/file_descriptor.h"
#include "platform/media_asset.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVIOContext;
struct AVPacket;
struct AVRational;
struct AVStream;

namespace quorvane::platform::libav {

class MovieInput;

class MovieOutput {
  public:
    // Creates the file, which must not exist yet.
    explicit MovieOutput(const std::string& path);
    // Closes the file as it is.
    ~MovieOutput();
    MovieOutput(const MovieOutput&) = delete;
    MovieOutput& operator=(const MovieOutput&) = delete;

    // A track with the packets of the input's stream, which is displayed as the transform says.
    void addCopy(const MovieInput& input, int stream, const AffineTransform& transform);
    // A track with the packets of the encoder, which has been opened.
    void addSound(const AVCodecContext& encoder);

    // The most packets that the tracks will have together, if that is known, and the bytes of their
    // media, roughly.
    struct Expectation {
        std::int64_t copiedPackets = 0;
        std::int64_t soundPackets = 0;
        std::int64_t bytes = 0;
        std::int64_t duration = 0;  // seconds
    };
    void begin(const std::optional<Expectation>& expectation);
    // Takes the packet's content. Its times are in these units; its track by the order of adding.
    void write(AVPacket& packet, int track, AVRational units);
    // Writes the index; everything is on the disk when this returns.
    void finish();

  private:
    struct FreeContext {
        void operator()(AVFormatContext* context) const noexcept;
    };
    struct FreeStream {
        void operator()(AVIOContext* stream) const noexcept;
    };

    static int writeBytes(void* self, std::uint8_t* data, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);
    void check(int code) const;
    AVStream& addStream();

    const std::string path_;
    FileDescriptor file_;
    std::unique_ptr<AVIOContext, FreeStream> bytes_;
    std::unique_ptr<AVFormatContext, FreeContext> context_;
    int writeError_ = 0;        // errno of the write that failed
    std::int64_t written_ = 0;  // bytes, to know when to send some to the disk
    std::int64_t sentToDisk_ = 0;
};

}  // namespace quorvane::platform::libav
