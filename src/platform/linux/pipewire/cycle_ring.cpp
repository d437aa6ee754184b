#include "platform/linux/pipewire/cycle_ring.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

namespace quorvane::platform::pipewire {

CycleRing::CycleRing(std::size_t cycles, std::size_t frames)
    : cycles_(cycles), samples_(frames * channels) {
    assert(std::has_single_bit(cycles) && std::has_single_bit(frames));
}

bool CycleRing::push(const CapturedCycle& cycle, const float* samples) noexcept {
    const std::size_t capacity = samples_.size() / channels;
    const std::size_t written = cyclesWritten_.load(std::memory_order_relaxed);
    if (written - cyclesRead_.load(std::memory_order_acquire) == cycles_.size()) return false;
    const std::size_t used = framesWritten_ - framesRead_.load(std::memory_order_acquire);
    if (cycle.frames > capacity - used) return false;

    const std::size_t at = framesWritten_ & (capacity - 1);
    const std::size_t first = std::min<std::size_t>(cycle.frames, capacity - at);
    std::memcpy(&samples_[at * channels], samples, first * channels * sizeof(float));
    std::memcpy(samples_.data(), samples + first * channels,
                (cycle.frames - first) * channels * sizeof(float));
    framesWritten_ += cycle.frames;
    cycles_[written & (cycles_.size() - 1)] = cycle;
    cyclesWritten_.store(written + 1, std::memory_order_release);
    return true;
}

const CapturedCycle* CycleRing::front() const noexcept {
    const std::size_t read = cyclesRead_.load(std::memory_order_relaxed);
    if (read == cyclesWritten_.load(std::memory_order_acquire)) return nullptr;
    return &cycles_[read & (cycles_.size() - 1)];
}

void CycleRing::read(float* samples, std::size_t frames) noexcept {
    assert(front() != nullptr && framesTaken_ + frames <= front()->frames);
    const std::size_t capacity = samples_.size() / channels;
    const std::size_t at =
        (framesRead_.load(std::memory_order_relaxed) + framesTaken_) & (capacity - 1);
    const std::size_t first = std::min(frames, capacity - at);
    std::memcpy(samples, &samples_[at * channels], first * channels * sizeof(float));
    std::memcpy(samples + first * channels, samples_.data(),
                (frames - first) * channels * sizeof(float));
    framesTaken_ += frames;
}

void CycleRing::skip(std::size_t frames) noexcept {
    assert(front() != nullptr && framesTaken_ + frames <= front()->frames);
    framesTaken_ += frames;
}

void CycleRing::pop() noexcept {
    const CapturedCycle* cycle = front();
    assert(cycle != nullptr);
    framesTaken_ = 0;
    framesRead_.store(framesRead_.load(std::memory_order_relaxed) + cycle->frames,
                      std::memory_order_release);
    cyclesRead_.store(cyclesRead_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

}  // namespace quorvane::platform::pipewire
