// Captures a content into pictures, whenever it has changed.
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
#include "platform/linux/x11/picture_content.h"
#include "platform/linux/x11/picture_pool.h"
#include "platform/linux/x11/pixel_grabber.h"
#include "platform/linux/x11/wakeup.h"
#include "support/dispatch.h"
#include "support/frame_pacer.h"

namespace quorvane::platform::x11 {

class ScreenCapture {
  public:
    ScreenCapture(const Connection& connection, std::unique_ptr<PictureContent> content,
                  const StreamConfiguration& configuration, const support::Clock& clock,
                  std::shared_ptr<Wakeup> wakeup);
    ScreenCapture(const ScreenCapture&) = delete;
    ScreenCapture& operator=(const ScreenCapture&) = delete;

    // Delivers the whole picture at once, then one for each change, as far as the frame interval
    // and the free pictures allow; the last change is never left out. Returns when `stopping` is
    // true and the wake-up was signalled, throws when the capture cannot go on.
    void run(const std::atomic<bool>& stopping,
             const std::function<void(SampleBufferPtr)>& onPicture);

  private:
    // While a change waits for its time or for a picture, nothing that the server says matters
    // but that it is gone.
    enum class WakeOn { serverEvent, connectionLoss };

    void handleEvents();
    bool somethingNoticed(support::MediaTime now) const;
    std::optional<support::MediaTime> nextQuestion() const;
    // Asks the server what has changed. Whether any of it is in the picture.
    bool look(support::MediaTime now);
    void followCursor(bool newImage);
    // The content's source is another one: everything is drawn anew.
    void adoptSource();
    bool addStale(const PixelRect& rect);  // on the drawable
    // Nothing when the server refused to give the pixels, or they must not be shown.
    SampleBufferPtr capture();
    bool draw(const StaleRegion& stale, const pixels::I420Image& image);
    void drawOne(const PixelRect& rect, const PixelRect& existing, pixels::PackedTarget source,
                 const pixels::I420Image& image);
    void hide(const PixelRect& existing, pixels::PackedTarget source) const;
    void wait(WakeOn wakeOn, std::optional<support::MediaTime> until);

    const Connection& connection_;
    const support::Clock& clock_;
    const std::shared_ptr<Wakeup> wakeup_;
    const std::unique_ptr<PictureContent> content_;
    const int outputWidth_;
    const int outputHeight_;

    std::optional<unsigned> sourceVersion_;  // of the source that the following were made for
    CaptureGeometry geometry_;
    std::int64_t grabberPixels_ = 0;
    std::unique_ptr<PixelGrabber> grabber_;

    std::optional<CursorTracker> cursor_;
    PixelRect cursorPlace_;  // where it is drawn, on the drawable; empty: nowhere
    bool serverReadable_ = true;

    std::shared_ptr<PicturePool> pool_;
    // Where the output is scaled: the source in its own size, from which pictures are scaled.
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
