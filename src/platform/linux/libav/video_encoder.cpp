#include "platform/linux/libav/video_encoder.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "isobmff/avc_configuration.h"
#include "isobmff/sequence_parameter_set.h"
#include "platform/linux/libav/encoder_preset.h"
#include "platform/linux/libav/libav_error.h"
#include "support/signals_blocked.h"

namespace quorvane::platform::libav {
namespace {

using isobmff::Bytes;

constexpr std::int64_t keyframeInterval = 2 * std::int64_t{VideoEncoder::timescale};

// One picture may use the bits of so many frame intervals that passed without a picture.
constexpr double mostIntervalsSpent = 4;

struct OptionsDeleter {
    void operator()(AVDictionary* options) const noexcept { av_dict_free(&options); }
};

// Every picture comes out at once: no look-ahead, no reordering, threads that share one picture.
// force-cfr, because with its own idea of variable rates x264 holds each picture back until it has
// seen the next one's time; spendBitsFor() makes up for it. The 8x8 transform is what makes the
// fastest preset High profile, at no measurable cost (CABAC would cost it a quarter more time).
// The first picture, which may stand for minutes, is given a fine quantiser; the rate control would
// start at 24 whatever the bit rate, and go on from there (pages of text changing once a second: 44
// instead of 34 dB PSNR).
constexpr const char* x264Options =
    "force-cfr=1:rc-lookahead=0:sync-lookahead=0:mbtree=0:sliced-threads=1:bframes=0:8x8dct=1:"
    "annexb=0:zones=0,0,q=12";

void setOption(AVDictionary*& options, const char* key, const std::string& value) {
    if (av_dict_set(&options, key, value.c_str(), 0) < 0) throw std::bad_alloc();
}

// The parameter sets as they stand in front of the movie. The encoder believes in a fixed frame
// rate and says so, but the pictures come when the screen changes.
Bytes avcConfiguration(std::span<const std::byte> encoderHeader) {
    auto units = isobmff::splitAtLengths(encoderHeader);
    constexpr std::byte sequenceParameterSet{7};
    std::vector<Bytes> rewritten(units.size());
    for (std::size_t index = 0; index < units.size(); ++index) {
        if (units[index].empty() ||
            (units[index].front() & std::byte{0x1F}) != sequenceParameterSet)
            continue;
        rewritten[index] = isobmff::withVariableFrameRate(units[index], VideoEncoder::timescale);
        units[index] = rewritten[index];
    }
    return isobmff::avcConfiguration(units);
}

}  // namespace

VideoEncoder::VideoEncoder(const VideoInputSettings& settings, int cores)
    : frameRate_(settings.expectedSourceFrameRate > 0 ? settings.expectedSourceFrameRate : 60),
      bitRate_(settings.averageBitRate),
      codec_(makeEncoder("libx264")),
      frame_(makeFrame()),
      packet_(makePacket()) {
    if (settings.width <= 0 || settings.height <= 0 || settings.width % 2 != 0 ||
        settings.height % 2 != 0 || settings.averageBitRate <= 0)
        throw libavError(AVERROR(EINVAL), "encode video of this size and bit rate");
    const auto preset =
        encoderPreset(static_cast<double>(settings.width) * settings.height * frameRate_, cores);

    codec_->width = settings.width;
    codec_->height = settings.height;
    codec_->pix_fmt = AV_PIX_FMT_YUV420P;
    codec_->sample_aspect_ratio = {1, 1};
    codec_->time_base = {1, static_cast<int>(timescale)};
    codec_->framerate = {frameRate_, 1};
    // The rate is the buffer's rate, too, and the buffer holds a second: a sudden change may take
    // what a second has, and only then the quality suffers, until the average is held again.
    codec_->bit_rate = bitRate_;
    codec_->rc_max_rate = bitRate_;
    codec_->rc_buffer_size = settings.averageBitRate;
    codec_->gop_size = 2 * frameRate_;
    codec_->max_b_frames = 0;
    codec_->thread_count = preset.threads;
    codec_->color_primaries = AVCOL_PRI_BT709;
    codec_->color_trc = AVCOL_TRC_BT709;
    codec_->colorspace = AVCOL_SPC_BT709;
    codec_->color_range = AVCOL_RANGE_MPEG;
    codec_->chroma_sample_location = AVCHROMA_LOC_CENTER;
    codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

    AVDictionary* dictionary = nullptr;
    setOption(dictionary, "preset", preset.name);
    setOption(dictionary, "forced-idr", "1");
    setOption(dictionary, "x264-params", x264Options);
    int result = 0;
    {
        // The threads of the encoder never take one.
        const support::SignalsBlocked blocked;
        result = avcodec_open2(codec_.get(), codec_->codec, &dictionary);
    }
    const std::unique_ptr<AVDictionary, OptionsDeleter> options(dictionary);
    throwIfError(result, "open the video encoder");
    if (options != nullptr) throw libavError(AVERROR_OPTION_NOT_FOUND, "set up the video encoder");

    frame_->format = codec_->pix_fmt;
    frame_->width = codec_->width;
    frame_->height = codec_->height;
    // Stands for the memory of every picture: it only tells whether the encoder holds on to one.
    frame_->buf[0] = av_buffer_alloc(1);
    if (frame_->buf[0] == nullptr) throw std::bad_alloc();

    const auto header = std::as_bytes(
        std::span(codec_->extradata, static_cast<std::size_t>(codec_->extradata_size)));
    description_.timescale = timescale;
    description_.format =
        isobmff::PictureFormat{settings.width, settings.height, avcConfiguration(header)};
    if (std::get<isobmff::PictureFormat>(description_.format).avcConfiguration.empty())
        throw libavError(AVERROR_INVALIDDATA, "read the video encoder's parameter sets");
}

// Every two seconds, counted in time, for a screen that changes now and then has few frames: when
// the next picture, coming after as long a pause as this one, would be too late.
bool VideoEncoder::needsKeyframe(std::int64_t time) const {
    if (!lastKeyframe_ || !lastTime_) return true;
    return time - *lastKeyframe_ + time - *lastTime_ > keyframeInterval;
}

// The encoder counts frames, and gives each the bits of one frame interval. What the intervals
// without a picture have saved goes to the next picture instead.
void VideoEncoder::spendBitsFor(std::int64_t time) {
    double intervals = 1;
    if (lastTime_) {
        const auto passed = static_cast<double>(time - *lastTime_) * frameRate_ / timescale;
        // In halves, so that jitter changes nothing.
        intervals = std::clamp(std::round(passed * 2) / 2, 1.0, mostIntervalsSpent);
    }
    codec_->bit_rate = std::llround(static_cast<double>(bitRate_) * intervals);
    codec_->rc_max_rate = codec_->bit_rate;
}

void VideoEncoder::encode(const SampleBufferPtr& sample, std::int64_t time,
                          const EncodedSampleSink& sink) {
    const auto* picture = sample->picture();
    if (picture->width != codec_->width || picture->height != codec_->height)
        throw libavError(AVERROR(EINVAL), "encode a picture of another size than the movie's");
    spendBitsFor(time);
    for (std::size_t plane = 0; plane < picture->planes.size(); ++plane) {
        // The encoder only reads; libavutil's types do not say so.
        frame_->data[plane] = const_cast<std::uint8_t*>(picture->planes[plane]);
        frame_->linesize[plane] = picture->strides[plane];
    }
    frame_->pts = time;
    frame_->pict_type = needsKeyframe(time) ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    throwIfError(avcodec_send_frame(codec_.get(), frame_.get()), "encode a picture");
    lastTime_ = time;
    drain(sink);
    // The picture may go now only because nothing refers to it any more.
    if (av_buffer_get_ref_count(frame_->buf[0]) != 1)
        throw libavError(AVERROR_BUG, "encode a picture at once");
}

void VideoEncoder::flush(const EncodedSampleSink& sink) {
    throwIfError(avcodec_send_frame(codec_.get(), nullptr), "end the video encoder");
    drain(sink);
}

void VideoEncoder::drain(const EncodedSampleSink& sink) {
    for (;;) {
        const int result = avcodec_receive_packet(codec_.get(), packet_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        throwIfError(result, "encode a picture");
        const bool isKeyframe = (packet_->flags & AV_PKT_FLAG_KEY) != 0;
        if (isKeyframe) lastKeyframe_ = packet_->pts;
        sink({std::as_bytes(std::span(packet_->data, static_cast<std::size_t>(packet_->size))),
              packet_->pts, isKeyframe});
        av_packet_unref(packet_.get());
    }
}

}  // namespace quorvane::platform::libav
