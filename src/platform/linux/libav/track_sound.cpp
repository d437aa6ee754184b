#include "platform/linux/libav/track_sound.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "platform/linux/libav/libav_error.h"

namespace quorvane::platform::libav {
namespace {

constexpr AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
constexpr std::int64_t silencePiece = 8192;  // frames
constexpr AVRational mixTime{1, mixSampleRate};

CodecPtr openDecoder(const AVStream& stream) {
    const auto* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) throw libavError(AVERROR_DECODER_NOT_FOUND, "decode the sound");
    CodecPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder) throw std::bad_alloc();
    throwIfError(avcodec_parameters_to_context(decoder.get(), stream.codecpar),
                 "set up the sound decoder");
    decoder->pkt_timebase = stream.time_base;  // priming is taken off in it
    throwIfError(avcodec_open2(decoder.get(), codec, nullptr), "open the sound decoder");
    return decoder;
}

bool isInMixForm(const AVFrame& frame) {
    return frame.format == AV_SAMPLE_FMT_FLTP && frame.sample_rate == mixSampleRate &&
           av_channel_layout_compare(&frame.ch_layout, &stereo) == 0;
}

FramePtr makeMixFrame(std::int64_t frames) {
    auto frame = makeFrame();
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->sample_rate = mixSampleRate;
    frame->ch_layout = stereo;
    frame->nb_samples = static_cast<int>(frames);
    if (frames > 0) throwIfError(av_frame_get_buffer(frame.get(), 0), "make room for sound");
    return frame;
}

ResamplerPtr makeResampler(AVFrame& frame) {
    SwrContext* made = nullptr;
    auto layout = stereo;
    throwIfError(swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_FLTP, mixSampleRate,
                                     &frame.ch_layout, static_cast<AVSampleFormat>(frame.format),
                                     frame.sample_rate, 0, nullptr),
                 "convert the sound");
    ResamplerPtr resampler(made);
    if (frame.ch_layout.nb_channels == 1) {
        // One channel sounds from both sides as loud as it is: the library would lower it by 3 dB.
        constexpr double both[] = {1, 1};
        throwIfError(swr_set_matrix(made, both, 1), "convert the sound");
    }
    throwIfError(swr_init(made), "convert the sound");
    return resampler;
}

}  // namespace

TrackSound::TrackSound(const AVStream& stream, Sink sink)
    : sink_(std::move(sink)), decoder_(openDecoder(stream)) {}

void TrackSound::decode(const AVPacket& packet) {
    throwIfError(avcodec_send_packet(decoder_.get(), &packet), "decode the sound");
    receive();
}

void TrackSound::finish() {
    throwIfError(avcodec_send_packet(decoder_.get(), nullptr), "decode the sound");
    receive();
    convert(nullptr);
}

void TrackSound::receive() {
    for (;;) {
        auto frame = makeFrame();
        const int result = avcodec_receive_frame(decoder_.get(), frame.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        throwIfError(result, "decode the sound");
        if (frame->nb_samples > 0 && frame->sample_rate > 0) place(std::move(frame));
    }
}

void TrackSound::place(FramePtr frame) {
    if (frame->sample_rate != rate_) {
        convert(nullptr);
        joined_ = false;
        rate_ = frame->sample_rate;
    }
    const AVRational ownTime{1, rate_};
    if (frame->pts != AV_NOPTS_VALUE) {
        const auto time = decoder_->pkt_timebase;
        const auto due = av_rescale_q(frame->pts, time, ownTime);
        // Times are rounded to the ticks of the track's clock, which may be longer than a frame.
        const auto tick =
            std::max<std::int64_t>(av_rescale_q_rnd(1, time, ownTime, AV_ROUND_UP), 1);
        if (!joined_ || std::abs(due - next_) > tick) {
            convert(nullptr);
            const auto begin = av_rescale_q(frame->pts, time, mixTime);
            fillUpTo(begin);
            leaveOut_ = std::max<std::int64_t>(position_ - begin, 0);
            next_ = due;
        }
    }
    joined_ = true;
    next_ += frame->nb_samples;
    if (isInMixForm(*frame)) {
        convert(nullptr);
        append(std::move(frame));
    } else {
        convert(frame.get());
    }
}

void TrackSound::convert(AVFrame* frame) {
    if (frame == nullptr && !resampler_) return;
    if (frame != nullptr && frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&frame->ch_layout, frame->ch_layout.nb_channels);
    if (!resampler_) resampler_ = makeResampler(*frame);
    auto converted = makeMixFrame(0);
    int result = swr_convert_frame(resampler_.get(), converted.get(), frame);
    if (result == AVERROR_INPUT_CHANGED) {
        convert(nullptr);
        resampler_ = makeResampler(*frame);
        converted = makeMixFrame(0);
        result = swr_convert_frame(resampler_.get(), converted.get(), frame);
    }
    throwIfError(result, "convert the sound");
    if (converted->nb_samples > 0) append(std::move(converted));
    if (frame == nullptr) resampler_ = nullptr;
}

void TrackSound::fillUpTo(std::int64_t position) {
    while (position_ < position) {
        auto silence = makeMixFrame(std::min(position - position_, silencePiece));
        av_samples_set_silence(silence->extended_data, 0, silence->nb_samples, 2,
                               AV_SAMPLE_FMT_FLTP);
        silence->pts = position_;
        position_ += silence->nb_samples;
        sink_(std::move(silence));
        joined_ = false;
    }
}

void TrackSound::append(FramePtr frame) {
    const auto left = std::min<std::int64_t>(leaveOut_, frame->nb_samples);
    leaveOut_ -= left;
    frame->nb_samples -= static_cast<int>(left);
    if (frame->nb_samples == 0) return;
    for (int channel = 0; channel < 2; ++channel)
        frame->data[channel] += left * static_cast<std::int64_t>(sizeof(float));
    frame->extended_data = frame->data;
    frame->pts = position_;
    position_ += frame->nb_samples;
    sink_(std::move(frame));
}

}  // namespace quorvane::platform::libav
