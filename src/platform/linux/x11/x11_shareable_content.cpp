#include "platform/linux/x11/x11_shareable_content.h"

#include <chrono>
#include <future>
#include <memory>
#include <utility>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/monitors.h"
#include "support/background_thread.h"

namespace quorvane::platform::x11 {

X11ShareableContent::X11ShareableContent(std::string displayName)
    : displayName_(std::move(displayName)) {}

std::uint32_t X11ShareableContent::mainDisplayID() {
    std::promise<std::uint32_t> promise;
    auto answer = promise.get_future();
    support::startBackgroundThread("x11-query", [name = displayName_,
                                                 promise = std::move(promise)]() mutable {
        try {
            promise.set_value(listMonitors(Connection(name)).mainDisplayID);
        } catch (...) {
            promise.set_value(0);
        }
    }).detach();
    const auto patience = std::chrono::seconds(2);
    return answer.wait_for(patience) == std::future_status::ready ? answer.get() : 0;
}

void X11ShareableContent::getShareableContent(bool /*excludingDesktopWindows*/,
                                              bool /*onScreenWindowsOnly*/, Completion completion) {
    support::startBackgroundThread("x11-query", [name = displayName_,
                                                 completion = std::move(completion)] {
        std::exception_ptr error;
        ShareableContent content;
        try {
            content.displays = listMonitors(Connection(name)).displays;
        } catch (...) {
            error = std::current_exception();
        }
        completion(error, std::move(content));
    }).detach();
}

}  // namespace quorvane::platform::x11
