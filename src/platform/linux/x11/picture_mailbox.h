// The newest picture of a camera, from the camera's thread to the one that draws.
// Why a copy: the camera's buffer goes back at once, and the last picture is there to be drawn
// again at another size long after the camera has gone.
// Threads: show() and clear() on one, take() and picture() on another, drawnSize() on any.
// Errors: none; memory that is short loses a picture.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/camera_session.h"
#include "support/mutex.h"

namespace quorvane::platform::x11 {

class PictureMailbox final : public CameraPreviewLayer {
  public:
    // onNews is called on the camera's thread, once until the next take().
    explicit PictureMailbox(std::function<void()> onNews) : onNews_(std::move(onNews)) {}

    void show(const support::VideoPicture& picture) override;
    void clear() override;
    Size drawnSize() const override;

    void setDrawnSize(Size size);
    // Fetches the newest news. False when there is none.
    bool take();
    // What take() fetched last, unchanged until the next one; null when there is no picture.
    const support::VideoPicture* picture() const;

  private:
    struct Slot {
        bool filled = false;
        support::VideoPicture picture;
        std::array<std::vector<std::uint8_t>, 3> memory;
    };

    static void store(Slot& slot, const support::VideoPicture& picture);
    void publish();

    const std::function<void()> onNews_;
    std::array<Slot, 3> slots_;
    std::size_t writing_ = 0;  // the camera's thread's
    std::size_t reading_ = 1;  // the drawing one's
    mutable support::Mutex mutex_;
    std::size_t newest_ QUORVANE_GUARDED_BY(mutex_) = 2;
    bool isNews_ QUORVANE_GUARDED_BY(mutex_) = false;
    Size drawnSize_ QUORVANE_GUARDED_BY(mutex_);
};

}  // namespace quorvane::platform::x11
