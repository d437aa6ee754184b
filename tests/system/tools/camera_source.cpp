// A camera in PipeWire whose picture is known, until it is ended by a signal.
//   camera_source NAME [--picture quadrants|clock|RRGGBB] [--format FORMAT] [--size WIDTHxHEIGHT]
//                 [--rate N] [--description TEXT] [--priority N] [--property KEY=VALUE]...
// NAME becomes its node.name. It serves any number of consumers, one after the other or at once.
// --picture: quadrants (default) is red, green, blue, yellow from the upper left, in reading order;
// clock is a number code of 32 cells across the middle, black and white, that holds the host
// time in ms (CLOCK_MONOTONIC, modulo 2^20) at which the picture was made; else a colour.
// --format: YUY2 (default), UYVY, NV12, I420, BGRx, RGBx, BGR, RGB or MJPG (which shows a file:
// --jpeg PATH). Prints "ready" once the server has the camera.
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include "number_code.h"

namespace {

struct Options {
    std::string name;
    std::string picture = "quadrants";
    std::string format = "YUY2";
    std::string jpeg;
    int width = 640;
    int height = 480;
    unsigned rate = 30;
    std::map<std::string, std::string> properties;
};

struct Rgb {
    int red = 0;
    int green = 0;
    int blue = 0;
};

Rgb rgbFrom(unsigned color) {
    return {static_cast<int>(color >> 16 & 0xFF), static_cast<int>(color >> 8 & 0xFF),
            static_cast<int>(color & 0xFF)};
}

// BT.601, limited range.
struct Yuv {
    explicit Yuv(Rgb c)
        : y(clamped(16 + (66 * c.red + 129 * c.green + 25 * c.blue + 128) / 256)),
          u(clamped(128 + (-38 * c.red - 74 * c.green + 112 * c.blue + 128) / 256)),
          v(clamped(128 + (112 * c.red - 94 * c.green - 18 * c.blue + 128) / 256)) {}
    static std::uint8_t clamped(int value) {
        return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
    std::uint8_t y;
    std::uint8_t u;
    std::uint8_t v;
};

const std::map<std::string, std::uint32_t> rawFormats{
    {"YUY2", SPA_VIDEO_FORMAT_YUY2}, {"UYVY", SPA_VIDEO_FORMAT_UYVY},
    {"NV12", SPA_VIDEO_FORMAT_NV12}, {"I420", SPA_VIDEO_FORMAT_I420},
    {"BGRx", SPA_VIDEO_FORMAT_BGRx}, {"RGBx", SPA_VIDEO_FORMAT_RGBx},
    {"BGR", SPA_VIDEO_FORMAT_BGR},   {"RGB", SPA_VIDEO_FORMAT_RGB}};

class Camera {
  public:
    explicit Camera(Options options) : options_(std::move(options)) {
        if (options_.format == "MJPG") readJpeg();
    }

    [[noreturn]] void run();

  private:
    using Row = std::vector<Rgb>;

    void readJpeg() {
        std::ifstream file(options_.jpeg, std::ios::binary);
        jpeg_.assign(std::istreambuf_iterator<char>(file), {});
        if (jpeg_.empty()) throw std::runtime_error("No JPEG file.");
    }

    int bytesPerRow() const {
        const auto& format = options_.format;
        if (format == "NV12" || format == "I420") return options_.width;
        if (format == "BGR" || format == "RGB") return options_.width * 3;
        return options_.width * (format.ends_with("x") ? 4 : 2);
    }
    std::size_t bytes() const {
        if (!jpeg_.empty()) return jpeg_.size();
        const auto luma = static_cast<std::size_t>(bytesPerRow()) * options_.height;
        return options_.format == "NV12" || options_.format == "I420" ? luma * 3 / 2 : luma;
    }

    Rgb colorAt(int x, int y, const std::array<bool, quorvane::tools::numberCodeCells>& code) const;
    void draw(std::uint8_t* target);
    void store(std::uint8_t* target, int x, int y, Rgb color) const;

    static void onProcess(void* data);
    static void onParameterChanged(void* data, std::uint32_t id, const spa_pod* parameter);
    static void onStateChanged(void* data, pw_stream_state before, pw_stream_state now,
                               const char* error);
    static void onTimer(void* data, std::uint64_t);

    Options options_;
    std::vector<char> jpeg_;
    std::vector<std::uint8_t> drawn_;  // a picture that never changes
    pw_main_loop* loop_ = nullptr;
    pw_stream* stream_ = nullptr;
    spa_source* timer_ = nullptr;
    bool said_ = false;
};

Rgb Camera::colorAt(int x, int y,
                    const std::array<bool, quorvane::tools::numberCodeCells>& code) const {
    if (options_.picture == "quadrants") {
        constexpr unsigned colors[] = {0xE02020, 0x20C020, 0x2040E0, 0xE0D020};
        return rgbFrom(colors[(y >= options_.height / 2 ? 2 : 0) + (x >= options_.width / 2)]);
    }
    if (options_.picture == "clock") {
        // The middle square survives every crop.
        const int side = options_.height * 2 / 3;
        const int cell = side / quorvane::tools::numberCodeCells;
        const int left = (options_.width - cell * quorvane::tools::numberCodeCells) / 2;
        const int index = (x - left) / cell;
        const bool inside = x >= left && index < quorvane::tools::numberCodeCells &&
                            std::abs(y - options_.height / 2) < options_.height / 8;
        return inside && code.at(static_cast<std::size_t>(index)) ? rgbFrom(0xFFFFFF) : rgbFrom(0);
    }
    return rgbFrom(static_cast<unsigned>(std::stoul(options_.picture, nullptr, 16)));
}

void Camera::store(std::uint8_t* target, int x, int y, Rgb color) const {
    const auto& format = options_.format;
    const int width = options_.width;
    const Yuv yuv(color);
    auto* row = target + static_cast<std::ptrdiff_t>(bytesPerRow()) * y;
    const bool first = x % 2 == 0;
    if (format == "YUY2" || format == "UYVY") {
        const int shift = format == "UYVY" ? 1 : 0;
        row[2 * x + shift] = yuv.y;
        row[2 * x + 1 - shift] = first ? yuv.u : yuv.v;
    } else if (format == "NV12" || format == "I420") {
        row[x] = yuv.y;
        if (!first || y % 2 != 0) return;
        auto* chroma = target + static_cast<std::ptrdiff_t>(width) * options_.height;
        if (format == "NV12") {
            chroma += static_cast<std::ptrdiff_t>(width) * (y / 2) + x;
            chroma[0] = yuv.u;
            chroma[1] = yuv.v;
        } else {
            chroma += static_cast<std::ptrdiff_t>(width / 2) * (y / 2) + x / 2;
            chroma[0] = yuv.u;
            chroma[static_cast<std::ptrdiff_t>(width / 2) * (options_.height / 2)] = yuv.v;
        }
    } else {
        const int size = format.ends_with("x") ? 4 : 3;
        const int red = format.starts_with("R") ? 0 : 2;
        auto* pixel = row + static_cast<std::ptrdiff_t>(size) * x;
        pixel[red] = static_cast<std::uint8_t>(color.red);
        pixel[1] = static_cast<std::uint8_t>(color.green);
        pixel[2 - red] = static_cast<std::uint8_t>(color.blue);
        if (size == 4) pixel[3] = 0x5A;  // means nothing
    }
}

void Camera::draw(std::uint8_t* target) {
    if (!jpeg_.empty()) {
        std::memcpy(target, jpeg_.data(), jpeg_.size());
        return;
    }
    if (drawn_.empty() || options_.picture == "clock") {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
        const auto code = quorvane::tools::numberCode(static_cast<std::uint32_t>(ms));
        drawn_.resize(bytes());
        for (int y = 0; y < options_.height; ++y) {
            for (int x = 0; x < options_.width; ++x)
                store(drawn_.data(), x, y, colorAt(x, y, code));
        }
    }
    std::memcpy(target, drawn_.data(), drawn_.size());
}

void Camera::onProcess(void* data) {
    auto& self = *static_cast<Camera*>(data);
    pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream_);
    if (buffer == nullptr) return;
    spa_data& plane = buffer->buffer->datas[0];
    if (plane.data != nullptr && plane.maxsize >= self.bytes()) {
        self.draw(static_cast<std::uint8_t*>(plane.data));
        plane.chunk->offset = 0;
        plane.chunk->size = static_cast<std::uint32_t>(self.bytes());
        plane.chunk->stride = self.jpeg_.empty() ? self.bytesPerRow() : 0;
        plane.chunk->flags = 0;
    }
    pw_stream_queue_buffer(self.stream_, buffer);
}

void Camera::onTimer(void* data, std::uint64_t) {
    pw_stream_trigger_process(static_cast<Camera*>(data)->stream_);
}

void Camera::onParameterChanged(void* data, std::uint32_t id, const spa_pod* parameter) {
    auto& self = *static_cast<Camera*>(data);
    if (id != SPA_PARAM_Format || parameter == nullptr) return;
    std::array<std::byte, 1024> space;
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, space.data(), space.size());
    const auto size = static_cast<std::int32_t>(self.bytes());
    const auto* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
        SPA_PARAM_BUFFERS_size, SPA_POD_Int(size), SPA_PARAM_BUFFERS_stride,
        SPA_POD_Int(self.bytesPerRow()), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd)));
    pw_stream_update_params(self.stream_, &buffers, 1);
}

void Camera::onStateChanged(void* data, pw_stream_state, pw_stream_state now, const char* error) {
    auto& self = *static_cast<Camera*>(data);
    if (now == PW_STREAM_STATE_ERROR || now == PW_STREAM_STATE_UNCONNECTED) {
        std::fprintf(stderr, "camera_source: %s\n", error != nullptr ? error : "disconnected");
        std::_Exit(1);
    }
    if (now == PW_STREAM_STATE_PAUSED && !std::exchange(self.said_, true)) {
        std::puts("ready");
        std::fflush(stdout);
    }
    timespec first{};
    timespec interval{};
    if (now == PW_STREAM_STATE_STREAMING) {
        first.tv_nsec = 1;
        interval.tv_nsec = static_cast<long>(1'000'000'000 / self.options_.rate);
    }
    pw_loop_update_timer(pw_main_loop_get_loop(self.loop_), self.timer_, &first, &interval, false);
}

void Camera::run() {
    static const pw_stream_events events = [] {
        pw_stream_events handlers{};
        handlers.version = PW_VERSION_STREAM_EVENTS;
        handlers.state_changed = onStateChanged;
        handlers.param_changed = onParameterChanged;
        handlers.process = onProcess;
        return handlers;
    }();
    pw_init(nullptr, nullptr);
    loop_ = pw_main_loop_new(nullptr);
    if (loop_ == nullptr) throw std::runtime_error("No loop.");
    timer_ = pw_loop_add_timer(pw_main_loop_get_loop(loop_), onTimer, this);
    auto* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CLASS,
                                         "Video/Source", PW_KEY_MEDIA_ROLE, "Camera",
                                         PW_KEY_NODE_NAME, options_.name.c_str(), nullptr);
    for (const auto& [key, value] : options_.properties)
        pw_properties_set(properties, key.c_str(), value.c_str());
    stream_ = pw_stream_new_simple(pw_main_loop_get_loop(loop_), options_.name.c_str(), properties,
                                   &events, this);
    if (stream_ == nullptr) throw std::runtime_error("PipeWire could not be reached.");

    std::array<std::byte, 1024> space;
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, space.data(), space.size());
    const auto size = SPA_RECTANGLE(static_cast<std::uint32_t>(options_.width),
                                    static_cast<std::uint32_t>(options_.height));
    const auto rate = SPA_FRACTION(options_.rate, 1);
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    const bool isJpeg = !jpeg_.empty();
    spa_pod_builder_add(
        &builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(isJpeg ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_size,
        SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate), 0);
    if (!isJpeg) {
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format,
                            SPA_POD_Id(rawFormats.at(options_.format)), 0);
    }
    const auto* parameter = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
    const int flags = PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS;
    if (pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                          static_cast<pw_stream_flags>(flags), &parameter, 1) < 0) {
        throw std::runtime_error("PipeWire could not connect the camera.");
    }
    pw_main_loop_run(loop_);
    std::_Exit(0);
}

Options parse(const std::vector<std::string>& words) {
    Options options;
    if (words.empty()) throw std::runtime_error("By which name?");
    options.name = words.front();
    for (std::size_t index = 1; index < words.size(); index += 2) {
        const std::string& name = words[index];
        if (index + 1 == words.size()) throw std::runtime_error(name + " needs a value.");
        const std::string& value = words[index + 1];
        if (name == "--picture") {
            options.picture = value;
        } else if (name == "--format") {
            options.format = value;
        } else if (name == "--jpeg") {
            options.jpeg = value;
        } else if (name == "--size") {
            if (std::sscanf(value.c_str(), "%dx%d", &options.width, &options.height) != 2) {
                throw std::runtime_error("A size is WIDTHxHEIGHT.");
            }
        } else if (name == "--rate") {
            options.rate = static_cast<unsigned>(std::stoul(value));
        } else if (name == "--description") {
            options.properties[PW_KEY_NODE_DESCRIPTION] = value;
        } else if (name == "--priority") {
            options.properties[PW_KEY_PRIORITY_SESSION] = value;
        } else if (name == "--property") {
            const auto equals = value.find('=');
            options.properties[value.substr(0, equals)] = value.substr(equals + 1);
        } else {
            throw std::runtime_error("Unknown option " + name + ".");
        }
    }
    if (options.format != "MJPG" && !rawFormats.contains(options.format)) {
        throw std::runtime_error("Unknown format.");
    }
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Camera(parse({argv + 1, argv + argc})).run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "camera_source: %s\n", error.what());
        return 1;
    }
}
