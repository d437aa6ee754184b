#include "platform/linux/pipewire/sound_buffer.h"

#include <utility>

namespace quorvane::platform::pipewire {
namespace {

constexpr AudioFormat format{
    .isLinearPcm = true,
    .sampleKind = PcmSampleKind::float32,
    .sampleRate = soundRate,
    .channels = soundChannels,
    .interleaved = true,
};

// Keeps the pool alive for as long as a buffer of it is.
template <class T>
class PoolAllocator {
  public:
    using value_type = T;

    explicit PoolAllocator(std::shared_ptr<std::pmr::memory_resource> memory)
        : memory_(std::move(memory)) {}
    template <class U>
    PoolAllocator(const PoolAllocator<U>& other)  // NOLINT(google-explicit-constructor): rebinding
        : memory_(other.memory_) {}

    T* allocate(std::size_t count) {
        return static_cast<T*>(memory_->allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* place, std::size_t count) noexcept {
        memory_->deallocate(place, count * sizeof(T), alignof(T));
    }
    template <class U>
    bool operator==(const PoolAllocator<U>& other) const noexcept {
        return memory_ == other.memory_;
    }

  private:
    template <class U>
    friend class PoolAllocator;

    std::shared_ptr<std::pmr::memory_resource> memory_;
};

}  // namespace

void SoundBuffer::describe(support::MediaTime start, std::size_t frames) noexcept {
    start_ = start;
    frames_ = frames;
}

std::int64_t SoundBuffer::sampleCount() const noexcept {
    return static_cast<std::int64_t>(frames_);
}

const AudioFormat* SoundBuffer::audioFormat() const noexcept {
    return &format;
}

std::span<const std::byte> SoundBuffer::data() const noexcept {
    return std::as_bytes(std::span(samples_).first(frames_ * soundChannels));
}

SoundBufferPool::SoundBufferPool(std::pmr::memory_resource* upstream) {
    std::pmr::pool_options options;
    options.largest_required_pool_block = 2 * sizeof(SoundBuffer);
    memory_ = std::make_shared<std::pmr::synchronized_pool_resource>(options, upstream);
}

std::shared_ptr<SoundBuffer> SoundBufferPool::make() {
    return std::allocate_shared<SoundBuffer>(PoolAllocator<SoundBuffer>(memory_));
}

}  // namespace quorvane::platform::pipewire
