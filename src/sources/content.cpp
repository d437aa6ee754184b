#include "sources/content.h"

#include <memory>

namespace quorvane::sources {

support::Async<platform::ShareableContent> currentShareableContent(platform::Platform& platform) {
    using platform::ShareableContent;
    co_return co_await support::suspend<ShareableContent>(
        platform.dispatch.mainQueue(), [&](support::Continuation<ShareableContent> waiting) {
            auto waiter =
                std::make_shared<support::Continuation<ShareableContent>>(std::move(waiting));
            platform.shareableContent.getShareableContent(
                false, true, [waiter](const std::exception_ptr& error, ShareableContent content) {
                    if (error) return waiter->resumeThrowing(error);
                    waiter->resume(std::move(content));
                });
        });
}

}  // namespace quorvane::sources
