// The application's loop on X11: a thread waits for the server's events and hands each to the main
// queue.
// Threads: the main queue. Errors: PlatformError of the domain "X11" (or "POSIX").
#pragma once

#include <memory>
#include <string>

#include "platform/application_loop.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

class X11Application final : public ApplicationLoop {
  public:
    // Connects to nothing yet. An empty name means the environment's display. The dispatch outlives
    // the application.
    explicit X11Application(support::Dispatch& dispatch, std::string displayName = {});
    ~X11Application() override;
    X11Application(const X11Application&) = delete;
    X11Application& operator=(const X11Application&) = delete;

    void setDelegate(std::weak_ptr<ApplicationDelegate> delegate) override;
    // Its windows never are in a task bar, whatever the policy.
    void setActivationPolicy(ActivationPolicy policy) override;
    // One window an application.
    std::shared_ptr<BubbleWindow> makeBubbleWindow(
        const BubbleWindowProperties& properties) override;
    void run(Completion completion) override;
    void terminate() override;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace quorvane::platform::x11
