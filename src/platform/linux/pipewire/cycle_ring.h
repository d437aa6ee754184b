// Takes captured sound from PipeWire's real-time thread to the source's own thread.
// Why: the real-time thread may neither lock nor allocate, and whatever it delays delays the sound
// of the whole desktop.
// Threads: one thread pushes, one other pops; both without waiting. Errors: a push that finds no
// room drops the whole stretch, which is then a gap like any other.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace quorvane::platform::pipewire {

// One stretch of sound with the graph's time for it, as the real-time thread saw it.
struct CapturedCycle {
    std::int64_t graphTime = 0;      // CLOCK_MONOTONIC ns, of the first sample in the graph
    std::int64_t upstreamDelay = 0;  // ns from the device to the graph
    std::int32_t graphRate = 0;      // samples a second of the graph, not of the stretch
    std::uint32_t frames = 0;
    std::optional<std::uint32_t> driver;  // the node whose clock the graph ran by
};

class CycleRing {
  public:
    static constexpr std::size_t channels = 2;

    // Both capacities are powers of two.
    CycleRing(std::size_t cycles, std::size_t frames);

    // Returns whether the stretch was taken. The samples are interleaved.
    bool push(const CapturedCycle& cycle, const float* samples) noexcept;

    // The oldest stretch, or null; its samples must be read before the next call.
    const CapturedCycle* front() const noexcept;
    // Copies out the next frames of the oldest stretch: at most those left of it.
    void read(float* samples, std::size_t frames) noexcept;
    // Forgets the next frames of the oldest stretch.
    void skip(std::size_t frames) noexcept;
    // Ends with the oldest stretch; whatever was not read of it is forgotten.
    void pop() noexcept;

  private:
    std::vector<CapturedCycle> cycles_;
    std::vector<float> samples_;
    // Counters only grow; the place is the counter modulo the capacity. The writer alone advances
    // the written ones, the reader alone the read ones.
    std::atomic<std::size_t> cyclesWritten_{0};
    std::atomic<std::size_t> cyclesRead_{0};
    std::atomic<std::size_t> framesRead_{0};
    std::size_t framesWritten_ = 0;  // the writer's own
    std::size_t framesTaken_ = 0;    // the reader's own: read or skipped of the oldest stretch
};

}  // namespace quorvane::platform::pipewire
