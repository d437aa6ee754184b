// The pictures of one capture, which go around between the capture and the holders of its samples.
// Why they remember what is stale: a picture that comes back still shows what it showed, so only
// what has changed on the screen since then needs to be fetched and converted again.
// Units: pixels. Threads: take(), stale regions and hasFree() belong to the capture's thread; a
// picture comes back on any thread. Errors: std::bad_alloc when it is made.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "pixels/i420_image.h"
#include "platform/linux/x11/stale_region.h"
#include "platform/linux/x11/wakeup.h"
#include "platform/sample_buffer.h"
#include "support/mutex.h"

namespace quorvane::platform::x11 {

class PicturePool : public std::enable_shared_from_this<PicturePool> {
  public:
    // One of the pool's pictures, taken out to be drawn and delivered.
    class Slot;

    // `drawn` is the part of a picture that can become stale; none is yet. The rest is black.
    // The wake-up is signalled when a picture comes back after hasFree() had said no.
    static std::shared_ptr<PicturePool> make(int width, int height, const PixelRect& drawn,
                                             std::size_t count, std::shared_ptr<Wakeup> wakeup);
    ~PicturePool();
    PicturePool(const PicturePool&) = delete;
    PicturePool& operator=(const PicturePool&) = delete;

    bool hasFree();
    // The free picture with the least to draw; there must be one.
    Slot& take();
    // Takes back what was not delivered.
    void putBack(Slot& slot) noexcept;
    // The sample that is the picture, complete, from that time. When its last reference is gone,
    // the picture is free again. Allocates nothing.
    SampleBufferPtr deliver(Slot& slot, support::MediaTime time);

    const pixels::I420Image& imageOf(const Slot& slot) const;
    StaleRegion& staleRegionOf(Slot& slot) const;
    // From now on every picture is drawn anew: that part of it can become stale, all of which is,
    // and what lies outside of `target` is black.
    void redraw(const PixelRect& drawn, const PixelRect& target);
    // The rectangle has changed on the screen.
    void addStale(const PixelRect& rect);

  private:
    template <class T>
    class BlockAllocator;

    PicturePool(int width, int height, const PixelRect& drawn, std::size_t count,
                std::shared_ptr<Wakeup> wakeup);

    const std::shared_ptr<Wakeup> wakeup_;
    std::vector<std::unique_ptr<Slot>> slots_;
    support::Mutex mutex_;  // guards each slot's `free`, too
    bool wanted_ QUORVANE_GUARDED_BY(mutex_) = false;
};

}  // namespace quorvane::platform::x11
