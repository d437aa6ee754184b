// The port to the windowed application: its loop and its windows.
#pragma once

#include <exception>
#include <functional>
#include <memory>

#include "platform/bubble_window.h"

namespace quorvane::platform {

enum class ActivationPolicy {
    regular,
    accessory,  // no place in a dock or task bar, no menu bar
};

class ApplicationDelegate {
  public:
    virtual ~ApplicationDelegate() = default;
    virtual void applicationDidFinishLaunching() = 0;
    virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;
};

// Connects to the window system with its first window. Threads: the main queue.
class ApplicationLoop {
  public:
    using Completion = std::function<void(std::exception_ptr)>;

    virtual ~ApplicationLoop() = default;
    virtual void setDelegate(std::weak_ptr<ApplicationDelegate> delegate) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    // Not on the screen yet. Throws PlatformError when there is no window system. Blocks until that
    // has answered, for ten seconds at most.
    virtual std::shared_ptr<BubbleWindow> makeBubbleWindow(
        const BubbleWindowProperties& properties) = 0;
    // Serves the windows, as tasks of the main queue. The completion is called exactly once, as
    // such a task: without an error after terminate(), with one when the window system went away.
    virtual void run(Completion completion) = 0;
    virtual void terminate() = 0;
};

}  // namespace quorvane::platform
