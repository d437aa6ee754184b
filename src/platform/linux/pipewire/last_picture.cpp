#include "platform/linux/pipewire/last_picture.h"

namespace quorvane::platform::pipewire {
namespace {

constexpr std::chrono::nanoseconds patience = std::chrono::seconds(2);

}  // namespace

void LastPicture::show(const support::VideoPicture& picture) {
    if (!layer_) return;
    layer_->show(picture);
    isShowing_ = true;
    leftAt_.reset();
}

void LastPicture::cameraLeft() {
    if (isShowing_ && !leftAt_) leftAt_ = clock_.hostTime();
}

std::optional<std::chrono::nanoseconds> LastPicture::expire() {
    if (!leftAt_) return std::nullopt;
    const auto left = *leftAt_ + patience - clock_.hostTime();
    if (left > std::chrono::nanoseconds(0)) return left;
    layer_->clear();
    isShowing_ = false;
    leftAt_.reset();
    return std::nullopt;
}

CameraPreviewLayer::Size LastPicture::drawnSize() const {
    return layer_ ? layer_->drawnSize() : CameraPreviewLayer::Size();
}

}  // namespace quorvane::platform::pipewire
