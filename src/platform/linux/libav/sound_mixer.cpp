#include "platform/linux/libav/sound_mixer.h"

#include <new>
#include <string>
#include <utility>

#include <fmt/format.h>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}

#include "platform/linux/libav/libav_error.h"
#include "platform/linux/libav/track_sound.h"

namespace quorvane::platform::libav {
namespace {

AVFilterContext* addFilter(AVFilterGraph& graph, const char* filter, const std::string& options) {
    AVFilterContext* added = nullptr;
    throwIfError(avfilter_graph_create_filter(&added, avfilter_get_by_name(filter), nullptr,
                                              options.c_str(), nullptr, &graph),
                 std::string("use the filter ") + filter);
    return added;
}

void connect(AVFilterContext* from, AVFilterContext* to, unsigned input) {
    throwIfError(avfilter_link(from, 0, to, input), "connect the sound filters");
}

}  // namespace

void SoundMixer::Free::operator()(AVFilterGraph* graph) const noexcept {
    avfilter_graph_free(&graph);
}

SoundMixer::SoundMixer(std::span<const float> volumes, Sink sink)
    : sink_(std::move(sink)), graph_(avfilter_graph_alloc()), mixed_(makeFrame()) {
    if (!graph_) throw std::bad_alloc();
    graph_->nb_threads = 1;  // sums are cheaper than handing them to threads
    std::string weights;
    for (const float volume : volumes)
        weights += fmt::format("{}{}", weights.empty() ? "" : " ", volume);
    auto* const mix = addFilter(
        *graph_, "amix",
        fmt::format("inputs={}:normalize=0:duration=longest:weights={}", volumes.size(), weights));
    for (unsigned track = 0; track < volumes.size(); ++track) {
        inputs_.push_back(addFilter(
            *graph_, "abuffer",
            fmt::format("time_base=1/{0}:sample_rate={0}:sample_fmt=fltp:channel_layout=stereo",
                        mixSampleRate)));
        connect(inputs_.back(), mix, track);
    }
    auto* const limit = addFilter(*graph_, "asoftclip", "type=hard");
    connect(mix, limit, 0);
    output_ = addFilter(*graph_, "abuffersink", "");
    connect(limit, output_, 0);
    throwIfError(avfilter_graph_config(graph_.get(), nullptr), "connect the sound filters");
}

SoundMixer::~SoundMixer() = default;

void SoundMixer::append(std::size_t track, FramePtr frame) {
    throwIfError(av_buffersrc_add_frame_flags(inputs_[track], frame.get(), AV_BUFFERSRC_FLAG_PUSH),
                 "mix the sound");
    drain();
}

void SoundMixer::finish() {
    for (auto* const input : inputs_)
        throwIfError(av_buffersrc_add_frame_flags(input, nullptr, AV_BUFFERSRC_FLAG_PUSH),
                     "mix the sound");
    drain();
}

void SoundMixer::drain() {
    for (;;) {
        const int result = av_buffersink_get_frame(output_, mixed_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        throwIfError(result, "mix the sound");
        sink_(*mixed_);
        av_frame_unref(mixed_.get());
    }
}

}  // namespace quorvane::platform::libav
