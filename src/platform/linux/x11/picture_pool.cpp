#include "platform/linux/x11/picture_pool.h"

#include <array>
#include <cassert>
#include <utility>

namespace quorvane::platform::x11 {
namespace {

const std::array<SampleAttachments, 1> completeAttachments{
    {{static_cast<std::int64_t>(FrameStatus::complete)}}};

}  // namespace

class PicturePool::Slot final : public SampleBuffer {
  public:
    Slot(int width, int height, const PixelRect& drawn)
        : image(width, height), stale(drawn), black(drawn != PixelRect{0, 0, width, height}) {
        picture_.width = width;
        picture_.height = height;
        for (std::size_t plane = 0; plane < 3; ++plane) {
            picture_.planes[plane] = image.rows().planes[plane];
            picture_.strides[plane] = static_cast<int>(image.rows().strides[plane]);
        }
    }

    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override { return time; }
    std::int64_t sampleCount() const noexcept override { return 1; }
    std::span<const SampleAttachments> sampleAttachments() const noexcept override {
        return completeAttachments;
    }
    const Picture* picture() const noexcept override { return &picture_; }

    pixels::I420Image image;
    StaleRegion stale;
    support::MediaTime time{};
    bool free = true;
    bool black;  // is to be filled with black before it is drawn for the first time
    // The reference count of the delivered sample lives here.
    alignas(std::max_align_t) std::byte block[96];

  private:
    Picture picture_;
};

// Puts the reference count of a delivered sample into its slot, and takes the slot back when the
// count itself is gone: not when the last reference is, because the memory of the count is in use
// for a moment longer.
template <class T>
class PicturePool::BlockAllocator {
  public:
    using value_type = T;

    BlockAllocator(std::shared_ptr<PicturePool> pool, Slot& slot)
        : pool_(std::move(pool)), slot_(&slot) {}
    template <class U>
    BlockAllocator(const BlockAllocator<U>& other) : pool_(other.pool_), slot_(other.slot_) {}

    T* allocate([[maybe_unused]] std::size_t count) {
        static_assert(sizeof(T) <= sizeof slot_->block && alignof(T) <= alignof(std::max_align_t));
        assert(count == 1);
        return reinterpret_cast<T*>(slot_->block);
    }
    void deallocate(T*, std::size_t) noexcept { pool_->putBack(*slot_); }

    bool operator==(const BlockAllocator& other) const { return slot_ == other.slot_; }

  private:
    template <class U>
    friend class BlockAllocator;

    std::shared_ptr<PicturePool> pool_;
    Slot* slot_;
};

std::shared_ptr<PicturePool> PicturePool::make(int width, int height, const PixelRect& drawn,
                                               std::size_t count, std::shared_ptr<Wakeup> wakeup) {
    return std::shared_ptr<PicturePool>(
        new PicturePool(width, height, drawn, count, std::move(wakeup)));
}

PicturePool::PicturePool(int width, int height, const PixelRect& drawn, std::size_t count,
                         std::shared_ptr<Wakeup> wakeup)
    : wakeup_(std::move(wakeup)) {
    for (std::size_t i = 0; i < count; ++i) {
        slots_.push_back(std::make_unique<Slot>(width, height, drawn));
    }
}

PicturePool::~PicturePool() = default;

bool PicturePool::hasFree() {
    support::MutexLock lock(mutex_);
    for (const auto& slot : slots_) {
        if (slot->free) return true;
    }
    wanted_ = true;
    return false;
}

PicturePool::Slot& PicturePool::take() {
    Slot* best = nullptr;
    {
        support::MutexLock lock(mutex_);
        for (const auto& slot : slots_) {
            if (slot->free && (best == nullptr || slot->stale.area() < best->stale.area())) {
                best = slot.get();
            }
        }
        assert(best != nullptr);
        best->free = false;
    }
    if (std::exchange(best->black, false)) best->image.fillBlack();
    return *best;
}

void PicturePool::putBack(Slot& slot) noexcept {
    bool wanted = false;
    {
        support::MutexLock lock(mutex_);
        slot.free = true;
        wanted = std::exchange(wanted_, false);
    }
    if (wanted) wakeup_->signal();
}

SampleBufferPtr PicturePool::deliver(Slot& slot, support::MediaTime time) {
    slot.time = time;
    return SampleBufferPtr(
        static_cast<const SampleBuffer*>(&slot), [](const SampleBuffer*) {},
        BlockAllocator<std::byte>(shared_from_this(), slot));
}

const pixels::I420Image& PicturePool::imageOf(const Slot& slot) const {
    return slot.image;
}

StaleRegion& PicturePool::staleRegionOf(Slot& slot) const {
    return slot.stale;
}

void PicturePool::redraw(const PixelRect& drawn, const PixelRect& target) {
    for (const auto& slot : slots_) {
        slot->stale = StaleRegion(drawn);
        slot->stale.add(drawn);
        slot->black =
            drawn != target || target != PixelRect{0, 0, slot->image.width(), slot->image.height()};
    }
}

void PicturePool::addStale(const PixelRect& rect) {
    for (const auto& slot : slots_)
        slot->stale.add(rect);
}

}  // namespace quorvane::platform::x11
