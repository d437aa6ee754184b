// What a source delivered, copied out of its pool, and a recorder of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <vector>

#include "platform/linux/screen_source.h"
#include "support/media_time.h"
#include "support/mutex.h"

namespace quorvane::platform::x11 {

struct Rgb {
    double red = 0;
    double green = 0;
    double blue = 0;
};

struct Frame {
    explicit Frame(const SampleBuffer& sample);

    Rgb at(int x, int y) const;
    int luma(int x, int y) const;
    int chroma(int plane, int x, int y) const;  // plane 1 or 2, in chroma samples

    int width = 0;
    int height = 0;
    support::MediaTime time{};
    bool complete = false;  // says so in its attachments
    std::vector<std::uint8_t> planes[3];
};

// Threads: all.
class FrameLog {
  public:
    ScreenSource::Events events();

    std::size_t count() const;
    Frame frame(std::size_t index) const;
    Frame last() const { return frame(count() - 1); }
    std::exception_ptr ended() const;
    std::size_t endings() const;

    // Each waits at most ten seconds.
    bool waitForCount(std::size_t count) const;
    bool waitForEnd() const;
    // Until nothing has come for a quarter of a second. Returns the count.
    std::size_t waitForQuiet() const;

    // Samples are kept from now on, so that their pictures do not go back.
    void keepSamples();
    void releaseSamples();

  private:
    void add(SampleBufferPtr sample);

    mutable support::Mutex mutex_;
    mutable support::Condition changed_;
    std::vector<Frame> frames_ QUORVANE_GUARDED_BY(mutex_);
    std::vector<SampleBufferPtr> kept_ QUORVANE_GUARDED_BY(mutex_);
    bool keeping_ QUORVANE_GUARDED_BY(mutex_) = false;
    std::exception_ptr ended_ QUORVANE_GUARDED_BY(mutex_);
    std::size_t endings_ QUORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace quorvane::platform::x11
