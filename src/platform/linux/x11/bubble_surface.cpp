#include "platform/linux/x11/bubble_surface.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/shared_memory.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

constexpr std::string_view copyMark = "_QUORVANE_COPIED";
constexpr std::size_t putHeader = 32;  // bytes, at least what a request takes beside its pixels

}  // namespace

struct BubbleSurface::State {
    struct Buffer {
        std::unique_ptr<SharedMemory> shared;
        std::vector<std::uint32_t> own;  // where nothing can be shared
        bool busy = false;
        bool isNew = true;

        std::uint32_t* pixels() { return shared ? shared->at(0) : own.data(); }
    };

    State(const Connection& owner, std::uint32_t target, std::uint8_t targetDepth)
        : connection(owner), xcb(owner.xcb()), window(target), depth(targetDepth) {}

    // Copies do as well where nothing can be shared.
    void share(std::size_t pixels) {
        for (auto& buffer : buffers) {
            try {
                buffer.shared = SharedMemory::make(connection, 4 * pixels);
            } catch (const PlatformError&) {
                buffer.shared = nullptr;
            }
            if (buffer.shared) continue;
            buffers[0].shared = nullptr;
            return;
        }
    }

    void makeRoom(Buffer& buffer) {
        const std::size_t needed = static_cast<std::size_t>(width) * height;
        if (buffer.shared || buffer.own.size() >= needed) return;
        buffer.own.resize(needed);
        buffer.isNew = true;
    }

    void putShared(const Buffer& buffer) {
        xcb_shm_put_image(xcb, window, gc, static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height), 0, 0,
                          static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                          0, depth, XCB_IMAGE_FORMAT_Z_PIXMAP, true, buffer.shared->segment(), 0);
    }

    // In strips, because a request has a largest size; then a change of a property, whose notice
    // says that they have arrived.
    void putCopy(Buffer& buffer) {
        const std::size_t most = std::size_t{xcb_get_maximum_request_length(xcb)} * 4 - putHeader;
        const std::size_t rowBytes = 4 * static_cast<std::size_t>(width);
        const int strip = static_cast<int>(std::max<std::size_t>(1, most / rowBytes));
        for (int y = 0; y < height; y += strip) {
            const int rows = std::min(strip, height - y);
            xcb_put_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, window, gc,
                          static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(rows), 0,
                          static_cast<std::int16_t>(y), 0, depth,
                          static_cast<std::uint32_t>(rowBytes * static_cast<std::size_t>(rows)),
                          reinterpret_cast<const std::uint8_t*>(
                              buffer.pixels() + static_cast<std::ptrdiff_t>(y) * width));
        }
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, mark, XCB_ATOM_INTEGER, 32, 0,
                            nullptr);
    }

    const Connection& connection;
    xcb_connection_t* xcb;
    const std::uint32_t window;
    const std::uint8_t depth;
    xcb_gcontext_t gc = 0;
    xcb_atom_t mark = 0;
    std::uint8_t completionType = 0;  // of the event; 0 when there is no such thing
    int width = 0;
    int height = 0;
    std::array<Buffer, 2> buffers;
    std::size_t current = 0;
};

BubbleSurface::BubbleSurface(const Connection& connection, std::uint32_t window, std::uint8_t depth,
                             std::size_t largestArea)
    : state_(std::make_unique<State>(connection, window, depth)) {
    State& state = *state_;
    if (connection.has(xcb_shm_id)) {
        state.completionType = static_cast<std::uint8_t>(
            connection.extension(xcb_shm_id, "MIT-SHM").first_event + XCB_SHM_COMPLETION);
    }
    const auto markCookie = xcb_intern_atom(state.xcb, false, copyMark.size(), copyMark.data());
    state.gc = xcb_generate_id(state.xcb);
    const auto gcCookie = xcb_create_gc_checked(state.xcb, state.gc, window, 0, nullptr);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(state.xcb, markCookie, &error));
    if (!reply) throwMissingReply(error, "name a property");
    state.mark = reply->atom;
    throwIfRefused(state.xcb, gcCookie.sequence, "draw in a window");
    state.share(largestArea);
}

BubbleSurface::~BubbleSurface() = default;

void BubbleSurface::setSize(int width, int height) {
    State& state = *state_;
    if (width == state.width && height == state.height) return;
    state.width = width;
    state.height = height;
    for (auto& buffer : state.buffers)
        buffer.isNew = true;
}

bool BubbleSurface::isFree() const {
    const auto& buffers = state_->buffers;
    return !buffers[0].busy || !buffers[1].busy;
}

pixels::PackedTarget BubbleSurface::begin(bool& isNew) {
    State& state = *state_;
    state.current = state.buffers[0].busy ? 1 : 0;
    auto& buffer = state.buffers[state.current];
    state.makeRoom(buffer);
    isNew = std::exchange(buffer.isNew, false);
    return {buffer.pixels(), state.width};
}

void BubbleSurface::put() {
    auto& buffer = state_->buffers[state_->current];
    buffer.busy = true;
    if (buffer.shared) {
        state_->putShared(buffer);
    } else {
        state_->putCopy(buffer);
    }
    xcb_flush(state_->xcb);
}

bool BubbleSurface::handle(const Event& event) {
    State& state = *state_;
    if (event.type == state.completionType && state.completionType != 0) {
        const auto& done = *static_cast<const xcb_shm_completion_event_t*>(event.record);
        for (auto& buffer : state.buffers) {
            if (buffer.shared && buffer.shared->segment() == done.shmseg) buffer.busy = false;
        }
        return true;
    }
    if (event.type == XCB_PROPERTY_NOTIFY) {
        const auto& change = *static_cast<const xcb_property_notify_event_t*>(event.record);
        if (change.window != state.window || change.atom != state.mark) return false;
        // Copies arrive in their order, and only one kind of buffer is in use.
        for (auto& buffer : state.buffers) {
            if (!buffer.shared) buffer.busy = false;
        }
        return true;
    }
    return false;
}

}  // namespace quorvane::platform::x11
