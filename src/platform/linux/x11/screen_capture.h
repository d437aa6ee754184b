// Captures a region of a display into pictures, whenever it has changed.
// Units: host time. Threads: all of it runs on the thread that calls run(). Errors: PlatformError.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "pixels/i420_image.h"
#include "platform/capture_stream.h"
#include "platform/linux/x11/capture_geometry.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/cursor_tracker.h"
#include "platform/linux/x11/damage_tracker.h"
#include "platform/linux/x11/picture_pool.h"
#include "platform/linux/x11/pixel_grabber.h"
#include "platform/linux/x11/wakeup.h"
#include "support/dispatch.h"
#include "support/frame_pacer.h"

namespace quorvane::platform::x11 {

class ScreenCapture {
  public:
    ScreenCapture(const Connection& connection, const Display& display,
                  const StreamConfiguration& configuration, const support::Clock& clock,
                  std::shared_ptr<Wakeup> wakeup);
    ScreenCapture(const ScreenCapture&) = delete;
    ScreenCapture& operator=(const ScreenCapture&) = delete;

    // Delivers the whole region at once, then a picture for each change, as far as the frame
    // interval and the free pictures allow; the last change is never left out. Returns when
    // `stopping` is true and the wake-up was signalled, throws when the capture cannot go on.
    void run(const std::atomic<bool>& stopping,
             const std::function<void(SampleBufferPtr)>& onPicture);

  private:
    // While a change waits for its time or for a picture, nothing that the server says matters
    // but that it is gone.
    enum class WakeOn { serverEvent, connectionLoss };

    void handleEvents();
    void throwIfLayoutChanged();
    bool somethingNoticed(support::MediaTime now) const;
    // Asks the server what has changed. Whether any of it is in the region.
    bool look(support::MediaTime now);
    bool addStale(const PixelRect& rootRect);
    // Nothing when the server refused to give the pixels.
    SampleBufferPtr capture();
    bool draw(const StaleRegion& stale, const pixels::I420Image& image);
    void drawOne(const PixelRect& rect, const PixelRect& existing, pixels::PackedTarget source,
                 const pixels::I420Image& image);
    void wait(WakeOn wakeOn, std::optional<support::MediaTime> until);

    const Connection& connection_;
    const Display display_;
    const support::Clock& clock_;
    const std::shared_ptr<Wakeup> wakeup_;
    const CaptureGeometry geometry_;
    const pixels::PackedFormat format_;

    DamageTracker damage_;
    std::optional<CursorTracker> cursor_;
    std::unique_ptr<PixelGrabber> grabber_;
    std::uint8_t layoutNoticeType_ = 0;  // RandR's first event
    bool layoutNoticed_ = false;
    bool serverReadable_ = true;

    std::shared_ptr<PicturePool> pool_;
    // Where the output is scaled: the region in its own size, from which pictures are scaled.
    struct Staging {
        pixels::I420Image image;
        StaleRegion stale;
    };
    std::optional<Staging> staging_;
    // Where pixels meet the black outside within one chroma sample, they are put together here.
    std::vector<std::uint32_t> edge_;
    std::vector<PixelRect> requests_;

    support::FramePacer pacer_;
    support::MediaTime lastTime_{};
    bool changePending_ = true;
};

}  // namespace quorvane::platform::x11
