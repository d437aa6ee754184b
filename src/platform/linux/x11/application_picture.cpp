#include "platform/linux/x11/application_picture.h"

#include <utility>

#include "platform/linux/x11/display_picture.h"

namespace quorvane::platform::x11 {

PictureSource composedSource(const PictureSource& source, const ComposedPicture& composed) {
    PictureSource result = source;
    result.drawable = composed.pixmap();
    result.rootX = source.existing.x;
    result.rootY = source.existing.y;
    result.rect = source.rect.movedBy(-result.rootX, -result.rootY);
    result.existing = source.existing.movedBy(-result.rootX, -result.rootY);
    return result;
}

ApplicationPicture::ApplicationPicture(const Connection& connection, const Display& display,
                                       const support::Rect& sourceRect,
                                       std::vector<std::int32_t> processes,
                                       const support::Clock& clock)
    : source_(displaySource(connection, display, sourceRect)),
      watch_(connection, display, source_.existing, ComposedPicture::rootEvents) {
    source_.keepsAspect = true;
    if (source_.existing.isEmpty()) {
        source_.drawable = 0;
        return;
    }
    composed_.emplace(connection, source_.existing, std::move(processes), clock);
    source_ = composedSource(source_, *composed_);
}

bool ApplicationPicture::handle(const Event& event) {
    const bool ofLayout = watch_.handle(event);
    return (composed_ && composed_->handle(event)) || ofLayout;
}

std::optional<support::MediaTime> ApplicationPicture::nextQuestion() const {
    return composed_ ? composed_->nextQuestion() : std::nullopt;
}

}  // namespace quorvane::platform::x11
