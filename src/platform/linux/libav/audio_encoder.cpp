#include "platform/linux/libav/audio_encoder.h"

#include <algorithm>
#include <cmath>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "platform/linux/libav/libav_error.h"

namespace quorvane::platform::libav {

AudioEncoder::AudioEncoder(const AudioInputSettings& settings, EncodedSampleSink sink)
    : sink_(std::move(sink)),
      codec_(makeEncoder("aac")),
      frame_(makeFrame()),
      packet_(makePacket()),
      converter_(settings.sampleRate, settings.channels),
      consumeConverted_(
          [this](const float* const* planes, int frames) { consume(planes, frames); }) {
    if (settings.sampleRate <= 0 || settings.channels <= 0 || settings.bitRate <= 0)
        throw libavError(AVERROR(EINVAL), "encode sound of this rate");
    codec_->sample_rate = settings.sampleRate;
    av_channel_layout_default(&codec_->ch_layout, settings.channels);
    codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec_->bit_rate = settings.bitRate;
    codec_->time_base = {1, settings.sampleRate};
    codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    throwIfError(avcodec_open2(codec_.get(), codec_->codec, nullptr), "open the audio encoder");

    const auto config = std::as_bytes(
        std::span(codec_->extradata, static_cast<std::size_t>(codec_->extradata_size)));
    description_.format = isobmff::SoundFormat{
        settings.sampleRate, settings.channels, settings.bitRate, {config.begin(), config.end()}};
    description_.timescale = static_cast<std::uint32_t>(settings.sampleRate);
    description_.sampleDuration = static_cast<std::uint32_t>(codec_->frame_size);
    description_.priming = codec_->initial_padding;

    frame_->format = codec_->sample_fmt;
    frame_->nb_samples = codec_->frame_size;
    frame_->sample_rate = codec_->sample_rate;
    throwIfError(av_channel_layout_copy(&frame_->ch_layout, &codec_->ch_layout),
                 "set up the audio encoder");
    throwIfError(av_frame_get_buffer(frame_.get(), 0), "set up the audio encoder");
}

void AudioEncoder::start(support::MediaTime begin) {
    timeline_.emplace(codec_->sample_rate, begin);
}

void AudioEncoder::append(const SampleBuffer& buffer) {
    const auto* format = buffer.audioFormat();
    const auto time = buffer.presentationTime();
    if (format == nullptr || !time || !SoundConverter::understands(*format)) return;
    const auto frames = SoundConverter::frames(buffer);
    if (frames == 0) return;
    const auto place = timeline_->place(*time, frames, format->sampleRate, position());
    if (place.silence > 0 || place.trim > 0) converter_.drain(consumeConverted_);
    silence(place.silence);
    converter_.convert(buffer, place.trim, place.stretch, consumeConverted_);
}

void AudioEncoder::fillUpTo(support::MediaTime time) {
    fillUpTo(timeline_->positionAt(time));
}

void AudioEncoder::fillUpTo(std::int64_t end) {
    if (position() >= static_cast<double>(end)) return;
    converter_.drain(consumeConverted_);
    silence(end - consumed_);
    timeline_->interrupt();
}

std::int64_t AudioEncoder::finish(support::MediaTime end) {
    const auto length = timeline_->positionAt(end);
    converter_.drain(consumeConverted_);
    fillUpTo(length);
    if (filled_ > 0) silence(frame_->nb_samples - filled_);
    throwIfError(avcodec_send_frame(codec_.get(), nullptr), "end the audio encoder");
    drain();
    return description_.priming + length;
}

double AudioEncoder::position() const {
    return static_cast<double>(consumed_) + converter_.delay();
}

void AudioEncoder::silence(std::int64_t frames) {
    if (frames > 0) consume(nullptr, frames);
}

void AudioEncoder::consume(const float* const* planes, std::int64_t frames) {
    for (std::int64_t done = 0; done < frames;) {
        if (filled_ == 0) {
            // Writable unless the encoder has kept the last frame's memory.
            throwIfError(av_frame_make_writable(frame_.get()), "encode sound");
        }
        const auto count = std::min<std::int64_t>(frames - done, frame_->nb_samples - filled_);
        for (int channel = 0; channel < codec_->ch_layout.nb_channels; ++channel) {
            auto* to = reinterpret_cast<float*>(frame_->extended_data[channel]) + filled_;
            if (planes != nullptr) {
                std::copy_n(planes[channel] + done, count, to);
            } else {
                std::fill_n(to, count, 0.0F);
            }
        }
        filled_ += static_cast<int>(count);
        done += count;
        consumed_ += count;
        if (filled_ == frame_->nb_samples) encodeFrame();
    }
}

void AudioEncoder::encodeFrame() {
    frame_->pts = consumed_ - filled_;
    filled_ = 0;
    throwIfError(avcodec_send_frame(codec_.get(), frame_.get()), "encode sound");
    drain();
}

void AudioEncoder::drain() {
    for (;;) {
        const int result = avcodec_receive_packet(codec_.get(), packet_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        throwIfError(result, "encode sound");
        // The encoder's first packet, of priming, comes before its time 0.
        sink_({std::as_bytes(std::span(packet_->data, static_cast<std::size_t>(packet_->size))),
               packet_->pts + description_.priming, true});
        av_packet_unref(packet_.get());
    }
}

}  // namespace quorvane::platform::libav
