// Owners of what FFmpeg's libraries allocate.
#pragma once

#include <memory>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct SwrContext;

namespace quorvane::platform::libav {

struct LibavDeleter {
    void operator()(AVCodecContext* codec) const noexcept;
    void operator()(AVFrame* frame) const noexcept;
    void operator()(AVPacket* packet) const noexcept;
    void operator()(SwrContext* resampler) const noexcept;
};

using CodecPtr = std::unique_ptr<AVCodecContext, LibavDeleter>;
using FramePtr = std::unique_ptr<AVFrame, LibavDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, LibavDeleter>;
using ResamplerPtr = std::unique_ptr<SwrContext, LibavDeleter>;

// The encoder of that name, ready to be set up, with its messages kept off standard error.
// Throws PlatformError when the installed libraries lack it.
CodecPtr makeEncoder(const char* name);
// Throw std::bad_alloc.
FramePtr makeFrame();
PacketPtr makePacket();

}  // namespace quorvane::platform::libav
