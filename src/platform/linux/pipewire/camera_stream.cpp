#include "platform/linux/pipewire/camera_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include <pipewire/pipewire.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>

#include "pixels/video_fill.h"
#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/pipewire_error.h"

namespace quorvane::platform::pipewire {
namespace {

using support::VideoFormat;
using support::VideoPicture;

constexpr std::array allFormats{VideoFormat::i420, VideoFormat::nv12, VideoFormat::yuy2,
                                VideoFormat::uyvy, VideoFormat::bgrx, VideoFormat::rgbx,
                                VideoFormat::bgr,  VideoFormat::rgb};

constexpr spa_rectangle leastSize{1, 1};
constexpr spa_rectangle usualSize{640, 480};
constexpr spa_rectangle greatestSize{16384, 16384};
constexpr spa_fraction leastRate{0, 1};
constexpr spa_fraction usualRate{30, 1};
constexpr spa_fraction greatestRate{1000, 1};

// Builds parameters one behind the other; a pod builder's memory must not move meanwhile.
class Parameters {
  public:
    Parameters() { spa_pod_builder_init(&builder_, space_.data(), sizeof space_); }

    void addExactly(const CameraFormat& format) {
        const auto size = SPA_RECTANGLE(static_cast<std::uint32_t>(format.size.width),
                                        static_cast<std::uint32_t>(format.size.height));
        const auto rate = SPA_FRACTION(format.rate.numerator, format.rate.denominator);
        const auto raw = spaFormatOf(format.format);
        spa_pod_frame frame{};
        begin(frame, raw ? SPA_MEDIA_SUBTYPE_raw : SPA_MEDIA_SUBTYPE_mjpg);
        if (raw) spa_pod_builder_add(&builder_, SPA_FORMAT_VIDEO_format, SPA_POD_Id(*raw), 0);
        spa_pod_builder_add(&builder_, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), 0);
        // A camera that says nothing of its rate is not asked for one.
        if (format.rate.numerator > 0) {
            spa_pod_builder_add(&builder_, SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate), 0);
        }
        end(frame);
    }

    void addAnyRaw() {
        spa_pod_frame frame{};
        begin(frame, SPA_MEDIA_SUBTYPE_raw);
        spa_pod_builder_prop(&builder_, SPA_FORMAT_VIDEO_format, 0);
        spa_pod_frame choice{};
        spa_pod_builder_push_choice(&builder_, &choice, SPA_CHOICE_Enum, 0);
        spa_pod_builder_id(&builder_, *spaFormatOf(allFormats.front()));
        for (const auto format : allFormats)
            spa_pod_builder_id(&builder_, *spaFormatOf(format));
        for (const auto format : {SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBA})
            spa_pod_builder_id(&builder_, format);
        spa_pod_builder_pop(&builder_, &choice);
        addAnySizeAndRate();
        end(frame);
    }

    void addAnyJpeg() {
        spa_pod_frame frame{};
        begin(frame, SPA_MEDIA_SUBTYPE_mjpg);
        addAnySizeAndRate();
        end(frame);
    }

    // Memory that can be read.
    void addBuffers() {
        constexpr int kinds = 1 << SPA_DATA_MemPtr | 1 << SPA_DATA_MemFd | 1 << SPA_DATA_DmaBuf;
        add(static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder_, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int(kinds))));
    }

    const spa_pod** data() { return parameters_.data(); }
    std::uint32_t count() const { return count_; }

  private:
    void begin(spa_pod_frame& frame, std::uint32_t subtype) {
        spa_pod_builder_push_object(&builder_, &frame, SPA_TYPE_OBJECT_Format,
                                    SPA_PARAM_EnumFormat);
        spa_pod_builder_add(&builder_, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                            SPA_FORMAT_mediaSubtype, SPA_POD_Id(subtype), 0);
    }
    void addAnySizeAndRate() {
        spa_pod_builder_add(&builder_, SPA_FORMAT_VIDEO_size,
                            SPA_POD_CHOICE_RANGE_Rectangle(&usualSize, &leastSize, &greatestSize),
                            SPA_FORMAT_VIDEO_framerate,
                            SPA_POD_CHOICE_RANGE_Fraction(&usualRate, &leastRate, &greatestRate),
                            0);
    }
    void end(spa_pod_frame& frame) {
        add(static_cast<const spa_pod*>(spa_pod_builder_pop(&builder_, &frame)));
    }
    void add(const spa_pod* pod) {
        if (pod != nullptr && count_ < parameters_.size()) parameters_.at(count_++) = pod;
    }

    alignas(8) std::array<std::byte, 4096> space_;
    spa_pod_builder builder_{};
    std::array<const spa_pod*, 4> parameters_{};
    std::uint32_t count_ = 0;
};

support::VideoMatrix matrixOf(spa_video_color_matrix matrix) {
    return matrix == SPA_VIDEO_COLOR_MATRIX_BT709 ? support::VideoMatrix::bt709
                                                  : support::VideoMatrix::bt601;
}

support::VideoRange rangeOf(spa_video_color_range range) {
    return range == SPA_VIDEO_COLOR_RANGE_0_255 ? support::VideoRange::full
                                                : support::VideoRange::limited;
}

// The form of the pictures that a Format parameter announces; nothing when it is none of ours.
std::optional<VideoPicture> formFrom(const spa_pod& parameter) {
    spa_video_info info{};
    if (spa_format_parse(&parameter, &info.media_type, &info.media_subtype) < 0 ||
        info.media_type != SPA_MEDIA_TYPE_video) {
        return std::nullopt;
    }
    VideoPicture form;
    spa_rectangle size{};
    if (info.media_subtype == SPA_MEDIA_SUBTYPE_mjpg) {
        if (spa_format_video_mjpg_parse(&parameter, &info.info.mjpg) < 0) return std::nullopt;
        form.format = VideoFormat::jpeg;
        size = info.info.mjpg.size;
    } else if (info.media_subtype == SPA_MEDIA_SUBTYPE_raw) {
        if (spa_format_video_raw_parse(&parameter, &info.info.raw) < 0) return std::nullopt;
        const auto format = formatOfSpa(info.info.raw.format);
        if (!format) return std::nullopt;
        form.format = *format;
        form.matrix = matrixOf(info.info.raw.color_matrix);
        form.range = rangeOf(info.info.raw.color_range);
        size = info.info.raw.size;
    } else {
        return std::nullopt;
    }
    constexpr std::uint32_t most = greatestSize.width;
    form.width = static_cast<int>(std::min(size.width, most));
    form.height = static_cast<int>(std::min(size.height, most));
    return form;
}

// The bytes of one block of a buffer. The chunk is written by another process: it is read once and
// believed only within the buffer.
support::VideoPlane planeOf(const spa_data& block) {
    support::VideoPlane plane;
    if (block.data == nullptr || block.chunk == nullptr) return plane;
    const std::uint32_t offset = std::min<std::uint32_t>(block.chunk->offset, block.maxsize);
    plane.size = std::min<std::uint32_t>(block.chunk->size, block.maxsize - offset);
    plane.stride = block.chunk->stride;
    plane.bytes = static_cast<const std::uint8_t*>(block.data) + offset;
    return plane;
}

// The picture in a buffer, of the form announced; its planes may be incomplete.
VideoPicture pictureIn(const spa_buffer& buffer, const VideoPicture& form) {
    VideoPicture picture = form;
    if (buffer.n_datas == 0) return picture;
    const auto planes = static_cast<std::uint32_t>(pixels::planeCount(form.format));
    auto& first = picture.planes[0];
    first = planeOf(buffer.datas[0]);
    if (form.format == VideoFormat::jpeg) return picture;
    if (first.stride <= 0) first.stride = pixels::planeRowBytes(form.format, 0, form.width);
    for (std::uint32_t index = 1; index < planes; ++index) {
        auto& plane = picture.planes[index];
        const auto stride =
            form.format == VideoFormat::i420 ? (first.stride + 1) / 2 : first.stride;
        if (buffer.n_datas >= planes) {
            plane = planeOf(buffer.datas[index]);
            if (plane.stride <= 0) plane.stride = stride;
            continue;
        }
        // All planes in one block, one behind the other.
        const auto& before = picture.planes[index - 1];
        const auto rows = pixels::planeRows(form.format, static_cast<int>(index) - 1, form.height);
        const auto length =
            static_cast<std::size_t>(before.stride) * static_cast<std::size_t>(rows);
        if (before.size < length) return picture;
        plane.bytes = before.bytes + length;
        plane.size = before.size - length;
        plane.stride = stride;
    }
    return picture;
}

}  // namespace

struct CameraStream::State {
    State(Connection& owner, Events handlers) : connection(owner), events(std::move(handlers)) {}
    ~State() {
        usable = false;
        if (stream != nullptr) pw_stream_destroy(stream);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    static void onStateChanged(void* data, pw_stream_state, pw_stream_state now, const char*) {
        auto& self = *static_cast<State*>(data);
        if (now == PW_STREAM_STATE_ERROR || now == PW_STREAM_STATE_UNCONNECTED) self.failed = true;
        if (self.usable) self.connection.guarded(self.events.onChange);
    }

    static void onParameterChanged(void* data, std::uint32_t id, const spa_pod* parameter) {
        auto& self = *static_cast<State*>(data);
        if (id != SPA_PARAM_Format) return;
        self.form.reset();
        if (parameter == nullptr) return;
        self.form = formFrom(*parameter);
        if (!self.form) {
            pw_stream_set_error(self.stream, -EINVAL, "unknown format");
            return;
        }
        Parameters parameters;
        parameters.addBuffers();
        pw_stream_update_params(self.stream, parameters.data(), parameters.count());
    }

    // On the connection's thread: the stream was not asked to be real-time.
    static void onProcess(void* data) {
        auto& self = *static_cast<State*>(data);
        pw_buffer* newest = nullptr;
        while (pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream)) {
            if (newest != nullptr) pw_stream_queue_buffer(self.stream, newest);
            newest = buffer;
        }
        if (newest == nullptr) return;
        if (self.usable && self.form && isWhole(*newest->buffer)) {
            self.connection.guarded(
                [&] { self.events.onPicture(pictureIn(*newest->buffer, *self.form)); });
        }
        pw_stream_queue_buffer(self.stream, newest);
    }

    static bool isWhole(const spa_buffer& buffer) {
        for (std::uint32_t index = 0; index < buffer.n_datas; ++index) {
            const spa_chunk* chunk = buffer.datas[index].chunk;
            if (chunk == nullptr || (chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) != 0) return false;
        }
        return true;
    }

    Connection& connection;
    Events events;
    pw_stream* stream = nullptr;
    spa_hook listener{};
    std::optional<VideoPicture> form;  // what pictures come; its planes are empty
    bool failed = false;
    bool usable = false;  // constructed, and not being destroyed
};

CameraStream::CameraStream(Connection& connection, const std::string& camera,
                           const std::optional<CameraFormat>& preferred, Events events)
    : state_(std::make_unique<State>(connection, std::move(events))) {
    static const pw_stream_events streamEvents = [] {
        pw_stream_events handlers{};
        handlers.version = PW_VERSION_STREAM_EVENTS;
        handlers.state_changed = State::onStateChanged;
        handlers.param_changed = State::onParameterChanged;
        handlers.process = State::onProcess;
        return handlers;
    }();
    state_->stream = pw_stream_new(
        connection.core(), "Webcam",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                          PW_KEY_MEDIA_ROLE, "Camera", PW_KEY_NODE_NAME, "quorvane-recorder-webcam",
                          PW_KEY_NODE_DESCRIPTION, "Quorvane Recorder", PW_KEY_APP_ID,
                          "quorvane-recorder.webcam", "state.restore-target", "false",
                          PW_KEY_TARGET_OBJECT, camera.c_str(), nullptr));
    if (state_->stream == nullptr) throw pipeWireError(errno, "PipeWire could not make a stream.");
    pw_stream_add_listener(state_->stream, &state_->listener, &streamEvents, state_.get());

    Parameters parameters;
    if (preferred) parameters.addExactly(*preferred);
    parameters.addAnyRaw();
    parameters.addAnyJpeg();
    // Another camera never takes the place of the one that was meant.
    const int flags =
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DONT_RECONNECT;
    const int result = pw_stream_connect(state_->stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                                         static_cast<pw_stream_flags>(flags), parameters.data(),
                                         parameters.count());
    if (result < 0) throw pipeWireError(result, "PipeWire could not connect a stream.");
    state_->usable = true;
}

CameraStream::~CameraStream() = default;

std::optional<std::uint32_t> CameraStream::nodeID() const {
    const std::uint32_t id = pw_stream_get_node_id(state_->stream);
    if (id == SPA_ID_INVALID) return std::nullopt;
    return id;
}

bool CameraStream::hasFailed() const {
    return state_->failed;
}

}  // namespace quorvane::platform::pipewire
