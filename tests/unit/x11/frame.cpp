#include "unit/x11/frame.h"

#include <algorithm>
#include <cstddef>

namespace quorvane::platform::x11 {

using namespace std::chrono_literals;

Frame::Frame(const SampleBuffer& sample) {
    const Picture& picture = *sample.picture();
    width = picture.width;
    height = picture.height;
    time = sample.presentationTime().value();
    complete = sample.isValid() && sample.sampleCount() == 1 &&
               sample.sampleAttachments().size() == 1 &&
               sample.sampleAttachments()[0].status ==
                   std::variant<std::monostate, std::int64_t, std::string>(std::int64_t{0});
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? height : height / 2;
        const int columns = plane == 0 ? width : width / 2;
        for (int row = 0; row < rows; ++row) {
            const std::uint8_t* begin = picture.planes[plane] + row * picture.strides[plane];
            planes[plane].insert(planes[plane].end(), begin, begin + columns);
        }
    }
}

int Frame::luma(int x, int y) const {
    return planes[0][static_cast<std::size_t>(y * width + x)];
}

int Frame::chroma(int plane, int x, int y) const {
    return planes[plane][static_cast<std::size_t>(y * (width / 2) + x)];
}

Rgb Frame::at(int x, int y) const {
    const double luminance = (luma(x, y) - 16) / 219.0;
    const double blueness = (chroma(1, x / 2, y / 2) - 128) / 224.0 * 1.8556;
    const double redness = (chroma(2, x / 2, y / 2) - 128) / 224.0 * 1.5748;
    const double red = luminance + redness;
    const double blue = luminance + blueness;
    const double green = (luminance - 0.2126 * red - 0.0722 * blue) / 0.7152;
    const auto byte = [](double value) { return std::clamp(value, 0.0, 1.0) * 255; };
    return {byte(red), byte(green), byte(blue)};
}

ScreenSource::Events FrameLog::events() {
    return {[this](SampleBufferPtr sample) { add(std::move(sample)); },
            [this](std::exception_ptr error) {
                {
                    support::MutexLock lock(mutex_);
                    ended_ = error;
                    ++endings_;
                }
                changed_.notify_all();
            }};
}

void FrameLog::add(SampleBufferPtr sample) {
    {
        Frame frame(*sample);
        support::MutexLock lock(mutex_);
        frames_.push_back(std::move(frame));
        if (keeping_) kept_.push_back(std::move(sample));
    }
    changed_.notify_all();
}

std::size_t FrameLog::count() const {
    support::MutexLock lock(mutex_);
    return frames_.size();
}

Frame FrameLog::frame(std::size_t index) const {
    support::MutexLock lock(mutex_);
    return frames_.at(index);
}

std::exception_ptr FrameLog::ended() const {
    support::MutexLock lock(mutex_);
    return ended_;
}

std::size_t FrameLog::endings() const {
    support::MutexLock lock(mutex_);
    return endings_;
}

bool FrameLog::waitForCount(std::size_t count) const {
    support::MutexLock lock(mutex_);
    return changed_.wait_for(mutex_, 10s,
                             [&]() QUORVANE_REQUIRES(mutex_) { return frames_.size() >= count; });
}

bool FrameLog::waitForEnd() const {
    support::MutexLock lock(mutex_);
    return changed_.wait_for(mutex_, 10s, [&]() QUORVANE_REQUIRES(mutex_) { return endings_ > 0; });
}

std::size_t FrameLog::waitForQuiet() const {
    support::MutexLock lock(mutex_);
    for (;;) {
        const std::size_t before = frames_.size();
        const bool more = changed_.wait_for(
            mutex_, 250ms, [&]() QUORVANE_REQUIRES(mutex_) { return frames_.size() > before; });
        if (!more) return before;
    }
}

void FrameLog::keepSamples() {
    support::MutexLock lock(mutex_);
    keeping_ = true;
}

void FrameLog::releaseSamples() {
    std::vector<SampleBufferPtr> released;
    support::MutexLock lock(mutex_);
    keeping_ = false;
    released.swap(kept_);
}

}  // namespace quorvane::platform::x11
