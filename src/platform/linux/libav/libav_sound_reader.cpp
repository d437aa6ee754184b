#include "platform/linux/libav/libav_sound_reader.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
#include <libswresample/swresample.h>
}

#include "platform/linux/libav/libav_error.h"
#include "platform/linux/libav/movie_input.h"
#include "platform/linux/libav/track_sound.h"

namespace quorvane::platform::libav {
namespace {

constexpr AVRational mixTime{1, mixSampleRate};
// Frames of the mix.
constexpr std::int64_t fillPiece = mixSampleRate;
// A gap of more than this is filled piece by piece; sound that the decoder still holds is shorter.
constexpr std::int64_t longGap = 2 * fillPiece;
// Sound that claims to lie further back has a clock that began again, as in files joined together.
constexpr std::int64_t longestStepBack = mixSampleRate;
constexpr std::int64_t largestGap = std::int64_t{3600} * mixSampleRate;
// All long gaps of a file together. Damaged times could make them endless.
constexpr std::int64_t gapsAtMost = 4 * largestGap;

int firstSoundStream(const MovieInput& input, const std::string& path) {
    const auto& context = input.context();
    for (unsigned index = 0; index < context.nb_streams; ++index) {
        if (context.streams[index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            return static_cast<int>(index);
    }
    throw libavError(AVERROR_STREAM_NOT_FOUND, "find sound in " + path);
}

// What the stream's clock shows when the media begins. MPEG-4 and Matroska files have a time 0 of
// their own, which sound may follow late; in all others the media begins with its first packet
// (broadcasts begin anywhere, MP3 behind its encoder's delay).
std::int64_t beginOf(const MovieInput& input, int stream) {
    const auto& context = input.context();
    const std::string_view format = context.iformat->name;
    if (format.starts_with("mov,") || format.starts_with("matroska,") ||
        context.start_time == AV_NOPTS_VALUE)
        return 0;
    return av_rescale_q(context.start_time, AV_TIME_BASE_Q, input.stream(stream).time_base);
}

// Stereo in the form of the mix to one channel of whole numbers.
ResamplerPtr makeResampler(int sampleRate) {
    SwrContext* made = nullptr;
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    throwIfError(swr_alloc_set_opts2(&made, &mono, AV_SAMPLE_FMT_S16, sampleRate, &stereo,
                                     AV_SAMPLE_FMT_FLTP, mixSampleRate, 0, nullptr),
                 "convert the sound");
    ResamplerPtr resampler(made);
    // The mean of both, which cannot overflow.
    constexpr std::array<double, 2> halves{0.5, 0.5};
    throwIfError(swr_set_matrix(made, halves.data(), 2), "convert the sound");
    throwIfError(swr_init(made), "convert the sound");
    return resampler;
}

class LibavSoundReader final : public SoundReader {
  public:
    LibavSoundReader(const std::string& path, int sampleRate)
        : input_(path),
          stream_(firstSoundStream(input_, path)),
          begin_(beginOf(input_, stream_)),
          sound_(input_.stream(stream_), [this](const FramePtr& frame) { take(*frame); }),
          resampler_(makeResampler(sampleRate)),
          packet_(makePacket()) {
        input_.select(std::array{stream_});
    }

    std::size_t read(std::span<std::int16_t> samples) override {
        std::size_t filled = 0;
        while (filled < samples.size()) {
            const auto count = std::min(samples.size() - filled, ready_.size() - taken_);
            std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(taken_), count,
                        samples.begin() + static_cast<std::ptrdiff_t>(filled));
            filled += count;
            taken_ += count;
            if (taken_ < ready_.size()) continue;
            ready_.clear();
            taken_ = 0;
            if (finished_) break;
            advance();
        }
        return filled;
    }

  private:
    // Makes some more samples ready, or comes to the end.
    void advance() {
        if (fillTo_) {
            sound_.fillUpTo(std::min(sound_.position() + fillPiece, *fillTo_));
            if (sound_.position() < *fillTo_) return;
            fillTo_.reset();
            decode();
        } else if (input_.read(*packet_, MovieInput::Damaged::taken)) {
            placePacket();
            if (!fillTo_) decode();
        } else {
            finish();
        }
    }

    // Gives the packet in hand its time in the media, and looks for a gap before it.
    void placePacket() {
        if (packet_->pts == AV_NOPTS_VALUE) return;
        packet_->pts = av_sat_sub64(packet_->pts, begin_);
        const auto time = av_rescale_q(packet_->pts, input_.stream(stream_).time_base, mixTime);
        const auto gap = av_sat_sub64(time, sound_.position());
        if (gap <= longGap && gap >= -longestStepBack) return;
        if (gap < 0 || gap > largestGap || gaps_ + gap > gapsAtMost) {
            packet_->pts = packet_->dts = AV_NOPTS_VALUE;  // it follows what was before it
            return;
        }
        gaps_ += gap;
        fillTo_ = sound_.position() + gap - fillPiece;  // the rest when it has been decoded
    }

    void decode() {
        try {
            sound_.decode(*packet_);
        } catch (const PlatformError&) {
            if (!damage_) damage_ = std::current_exception();
        }
        av_packet_unref(packet_.get());
    }

    void finish() {
        finished_ = true;
        try {
            sound_.finish();
        } catch (const PlatformError&) {
            if (!damage_) damage_ = std::current_exception();
        }
        if (damage_ && !heard_) std::rethrow_exception(damage_);
        convert(nullptr, 0);
    }

    void take(const AVFrame& frame) {
        heard_ = heard_ || !fillTo_;
        convert(const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    }

    // Null: what is still inside.
    void convert(const std::uint8_t** planes, int frames) {
        const int room = swr_get_out_samples(resampler_.get(), frames);
        throwIfError(room, "convert the sound");
        const auto before = ready_.size();
        ready_.resize(before + static_cast<std::size_t>(room));
        auto* output = reinterpret_cast<std::uint8_t*>(ready_.data() + before);
        const int made = swr_convert(resampler_.get(), &output, room, planes, frames);
        throwIfError(made, "convert the sound");
        ready_.resize(before + static_cast<std::size_t>(made));
    }

    MovieInput input_;
    const int stream_;
    const std::int64_t begin_;  // in the stream's time
    TrackSound sound_;
    ResamplerPtr resampler_;
    PacketPtr packet_;
    std::optional<std::int64_t> fillTo_;  // silence comes first, up to this frame of the mix
    std::int64_t gaps_ = 0;               // frames of the mix
    std::vector<std::int16_t> ready_;
    std::size_t taken_ = 0;  // of them
    bool heard_ = false;     // something has been decoded
    bool finished_ = false;
    std::exception_ptr damage_;  // the first
};

}  // namespace

std::unique_ptr<SoundReader> LibavSoundReaders::openSound(const std::string& path, int sampleRate) {
    return std::make_unique<LibavSoundReader>(path, sampleRate);
}

}  // namespace quorvane::platform::libav
