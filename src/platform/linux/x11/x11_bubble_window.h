// The bubble's window on X11: no window manager touches it, the mouse goes through it, and it stays
// in front of everything.
// With a compositing manager its pixels are translucent: smooth edges and a shadow, in a window as
// much larger. Without one the window is cut to the bubble's outline. One window serves both, so
// its number stays what the parent knows it by.
// Threads: the main queue, but for onNews. Errors: PlatformError from the constructor alone.
#pragma once

#include <functional>
#include <memory>

#include "platform/bubble_window.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "support/dispatch.h"

namespace quorvane::platform::x11 {

class X11BubbleWindow final : public BubbleWindow {
  public:
    // The connection and the dispatch outlive the window. onClosed: orderOut() was called.
    static std::shared_ptr<X11BubbleWindow> make(const Connection& connection,
                                                 support::Dispatch& dispatch,
                                                 const BubbleWindowProperties& properties,
                                                 std::function<void()> onClosed);
    ~X11BubbleWindow() override;
    X11BubbleWindow(const X11BubbleWindow&) = delete;
    X11BubbleWindow& operator=(const X11BubbleWindow&) = delete;

    void apply(const BubbleWindowProperties& properties) override;
    std::shared_ptr<CameraPreviewLayer> previewLayer() override;
    void orderFrontRegardless() override;
    void orderOut() override;

    // What the server told. False when the window is gone for good.
    bool handle(const Event& event);

  private:
    struct State;
    explicit X11BubbleWindow(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

}  // namespace quorvane::platform::x11
