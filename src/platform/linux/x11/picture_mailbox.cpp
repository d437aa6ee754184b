#include "platform/linux/x11/picture_mailbox.h"

#include <new>
#include <utility>

#include "pixels/video_fill.h"

namespace quorvane::platform::x11 {

void PictureMailbox::show(const support::VideoPicture& picture) {
    if (!pixels::isComplete(picture)) return;
    try {
        store(slots_[writing_], picture);
    } catch (const std::bad_alloc&) {
        return;
    }
    publish();
}

void PictureMailbox::clear() {
    slots_[writing_].filled = false;
    publish();
}

void PictureMailbox::store(Slot& slot, const support::VideoPicture& picture) {
    slot.filled = false;
    slot.picture = picture;
    for (int index = 0; index < pixels::planeCount(picture.format); ++index) {
        auto& plane = slot.picture.planes[static_cast<std::size_t>(index)];
        auto& memory = slot.memory[static_cast<std::size_t>(index)];
        const auto rows = pixels::planeRows(picture.format, index, picture.height);
        if (picture.format != support::VideoFormat::jpeg) {
            // No further than the last row's pixels: a plane may end there.
            plane.size = static_cast<std::size_t>(plane.stride) * (rows - 1) +
                         pixels::planeRowBytes(picture.format, index, picture.width);
        }
        memory.assign(plane.bytes, plane.bytes + plane.size);
        plane.bytes = memory.data();
    }
    slot.filled = true;
}

void PictureMailbox::publish() {
    bool announce = false;
    {
        support::MutexLock lock(mutex_);
        std::swap(writing_, newest_);
        announce = !std::exchange(isNews_, true);
    }
    if (announce) onNews_();
}

bool PictureMailbox::take() {
    support::MutexLock lock(mutex_);
    if (!isNews_) return false;
    isNews_ = false;
    std::swap(reading_, newest_);
    return true;
}

const support::VideoPicture* PictureMailbox::picture() const {
    const auto& slot = slots_[reading_];
    return slot.filled ? &slot.picture : nullptr;
}

CameraPreviewLayer::Size PictureMailbox::drawnSize() const {
    support::MutexLock lock(mutex_);
    return drawnSize_;
}

void PictureMailbox::setDrawnSize(Size size) {
    support::MutexLock lock(mutex_);
    drawnSize_ = size;
}

}  // namespace quorvane::platform::x11
