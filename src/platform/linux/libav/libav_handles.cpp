#include "platform/linux/libav/libav_handles.h"

#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

#include "platform/linux/libav/libav_error.h"

namespace quorvane::platform::libav {

void LibavDeleter::operator()(AVCodecContext* codec) const noexcept {
    avcodec_free_context(&codec);
}
void LibavDeleter::operator()(AVFrame* frame) const noexcept {
    av_frame_free(&frame);
}
void LibavDeleter::operator()(AVPacket* packet) const noexcept {
    av_packet_free(&packet);
}
void LibavDeleter::operator()(SwrContext* resampler) const noexcept {
    swr_free(&resampler);
}

CodecPtr makeEncoder(const char* name) {
    const auto* encoder = avcodec_find_encoder_by_name(name);
    if (encoder == nullptr)
        throw libavError(AVERROR_ENCODER_NOT_FOUND, std::string("use the encoder ") + name);
    CodecPtr codec(avcodec_alloc_context3(encoder));
    if (!codec) throw std::bad_alloc();
    // Failures come back as codes. The messages beside them belong to nobody: standard error is
    // the parent's to read.
    constexpr int quieterThanEverything = AV_LOG_TRACE - AV_LOG_PANIC + 1;
    codec->log_level_offset = quieterThanEverything;
    return codec;
}

FramePtr makeFrame() {
    FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

PacketPtr makePacket() {
    PacketPtr packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

}  // namespace quorvane::platform::libav
