#include "platform/linux/x11/pixel_grabber.h"

#include <vector>

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/shared_memory.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

constexpr std::uint32_t allPlanes = ~0u;

// The error of a refused request is freed; a lost connection throws.
void throwIfNotRefusal(xcb_generic_error_t* error) {
    if (error == nullptr) throwMissingReply(nullptr, "fetch pixels");
    const Reply<xcb_generic_error_t> refusal(error);
}

class SharedMemoryGrabber final : public PixelGrabber {
  public:
    SharedMemoryGrabber(const Connection& connection, std::unique_ptr<SharedMemory> memory,
                        std::size_t maximumRects)
        : xcb_(connection.xcb()), memory_(std::move(memory)) {
        requested_.reserve(maximumRects);
    }

    static std::size_t bytesFor(std::size_t pixels, std::size_t maximumRects) {
        return 4 * pixels + maximumRects * alignment;
    }

    void request(std::uint32_t drawable, std::span<const PixelRect> rects) override {
        requested_.clear();
        nextIndex_ = 0;
        std::size_t offset = 0;
        for (const PixelRect& rect : rects) {
            const auto cookie = requestImage(drawable, rect, offset);
            requested_.push_back({cookie.sequence, offset, rect.width});
            const std::size_t bytes = 4 * static_cast<std::size_t>(rect.area());
            offset += (bytes + alignment - 1) / alignment * alignment;
        }
        xcb_flush(xcb_);
    }

    bool next(pixels::PackedTarget& result) override {
        const Requested& requested = requested_[nextIndex_++];
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_shm_get_image_reply_t> reply(
            xcb_shm_get_image_reply(xcb_, {requested.sequence}, &error));
        if (!reply) {
            throwIfNotRefusal(error);
            return false;
        }
        result = {memory_->at(requested.offset), requested.width};
        return true;
    }

  private:
    static constexpr std::size_t alignment = 64;  // bytes, for the vectors that read there

    struct Requested {
        unsigned sequence;
        std::size_t offset;  // bytes
        int width;
    };

    xcb_shm_get_image_cookie_t requestImage(std::uint32_t drawable, const PixelRect& rect,
                                            std::size_t offset) {
        return xcb_shm_get_image(
            xcb_, drawable, static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height),
            allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP, memory_->segment(),
            static_cast<std::uint32_t>(offset));
    }

    xcb_connection_t* xcb_;
    std::unique_ptr<SharedMemory> memory_;
    std::vector<Requested> requested_;
    std::size_t nextIndex_ = 0;
};

class CopyingGrabber final : public PixelGrabber {
  public:
    CopyingGrabber(const Connection& connection, std::size_t maximumRects)
        : xcb_(connection.xcb()) {
        requested_.reserve(maximumRects);
    }

    void request(std::uint32_t drawable, std::span<const PixelRect> rects) override {
        requested_.clear();
        nextIndex_ = 0;
        for (const PixelRect& rect : rects) {
            const auto cookie = xcb_get_image(
                xcb_, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, static_cast<std::int16_t>(rect.x),
                static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                static_cast<std::uint16_t>(rect.height), allPlanes);
            requested_.push_back({cookie.sequence, rect.width});
        }
        xcb_flush(xcb_);
    }

    bool next(pixels::PackedTarget& result) override {
        const Requested& requested = requested_[nextIndex_++];
        xcb_generic_error_t* error = nullptr;
        reply_.reset(xcb_get_image_reply(xcb_, {requested.sequence}, &error));
        if (!reply_) {
            throwIfNotRefusal(error);
            return false;
        }
        // The reply's memory is ours; its pixels begin at a multiple of 4 bytes.
        result = {reinterpret_cast<std::uint32_t*>(xcb_get_image_data(reply_.get())),
                  requested.width};
        return true;
    }

  private:
    struct Requested {
        unsigned sequence;
        int width;
    };

    xcb_connection_t* xcb_;
    std::vector<Requested> requested_;
    std::size_t nextIndex_ = 0;
    Reply<xcb_get_image_reply_t> reply_;
};

}  // namespace

std::unique_ptr<PixelGrabber> makePixelGrabber(const Connection& connection, std::size_t pixels,
                                               std::size_t maximumRects) {
    auto memory =
        SharedMemory::make(connection, SharedMemoryGrabber::bytesFor(pixels, maximumRects));
    if (!memory) return std::make_unique<CopyingGrabber>(connection, maximumRects);
    return std::make_unique<SharedMemoryGrabber>(connection, std::move(memory), maximumRects);
}

}  // namespace quorvane::platform::x11
