#include "platform/linux/x11/x11_application.h"

#include <cassert>
#include <chrono>
#include <exception>
#include <future>
#include <thread>
#include <utility>

#include <sys/socket.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_bubble_window.h"
#include "platform/linux/x11/x11_error.h"
#include "support/background_thread.h"

namespace quorvane::platform::x11 {
namespace {

constexpr auto connectPatience = std::chrono::seconds(10);

// On a thread that is left behind when the server never answers.
std::shared_ptr<Connection> connect(const std::string& displayName) {
    auto promise = std::make_shared<std::promise<std::shared_ptr<Connection>>>();
    auto answer = promise->get_future();
    support::startBackgroundThread("x11-connect", [displayName, promise] {
        try {
            promise->set_value(std::make_shared<Connection>(displayName));
        } catch (...) {
            promise->set_exception(std::current_exception());
        }
    }).detach();
    if (answer.wait_for(connectPatience) != std::future_status::ready) {
        throw x11Error(Failure::serverSilent, "The X server does not answer.");
    }
    return answer.get();
}

}  // namespace

struct X11Application::State : std::enable_shared_from_this<State> {
    State(support::Dispatch& owner, std::string name)
        : dispatch(owner), displayName(std::move(name)) {}
    ~State() {
        if (!thread.joinable()) return;
        // What the thread waits for it gets at once.
        shutdown(connection->descriptor(), SHUT_RDWR);
        thread.join();
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void startEvents() {
        thread = support::startBackgroundThread(
            "x11-events",
            [xcb = connection->xcb(), weak = weak_from_this(), &mainQueue = dispatch.mainQueue()] {
                for (;;) {
                    Reply<xcb_generic_event_t> event(xcb_wait_for_event(xcb));
                    const bool isLast = event == nullptr;
                    mainQueue.post([weak, event = std::move(event)] {
                        if (const auto self = weak.lock()) self->deliver(event.get());
                    });
                    if (isLast) return;
                }
            });
    }

    // Null: the server has gone.
    void deliver(const xcb_generic_event_t* event) {
        if (event == nullptr) {
            end(std::make_exception_ptr(
                x11Error(Failure::connectionLost, "The connection to the X server was lost.")));
            return;
        }
        // 0 is the refusal of a request that nobody waits for.
        constexpr std::uint8_t sentMark = 0x80;
        const auto type = static_cast<std::uint8_t>(event->response_type & ~sentMark);
        const auto target = window.lock();
        if (type == 0 || !target) return;
        if (!target->handle({type, event})) {
            end(std::make_exception_ptr(
                x11Error(Failure::windowDestroyed, "The bubble's window was taken away.")));
        }
    }

    void windowClosed() {
        const auto asked = delegate.lock();
        if (asked && asked->applicationShouldTerminateAfterLastWindowClosed()) end(nullptr);
    }

    void end(std::exception_ptr error) {
        if (ended) return;
        ended = true;
        failure = std::move(error);
        if (completion) std::exchange(completion, nullptr)(failure);
    }

    support::Dispatch& dispatch;
    const std::string displayName;
    std::weak_ptr<ApplicationDelegate> delegate;
    std::shared_ptr<Connection> connection;
    std::weak_ptr<X11BubbleWindow> window;
    Completion completion;
    bool ended = false;
    std::exception_ptr failure;
    std::thread thread;
};

X11Application::X11Application(support::Dispatch& dispatch, std::string displayName)
    : state_(std::make_shared<State>(dispatch, std::move(displayName))) {}
X11Application::~X11Application() = default;

void X11Application::setDelegate(std::weak_ptr<ApplicationDelegate> delegate) {
    state_->delegate = std::move(delegate);
}

void X11Application::setActivationPolicy(ActivationPolicy /*policy*/) {}

std::shared_ptr<BubbleWindow> X11Application::makeBubbleWindow(
    const BubbleWindowProperties& properties) {
    State& state = *state_;
    assert(state.window.expired() && "an application has one bubble");
    if (!state.connection) {
        state.connection = connect(state.displayName);
    }
    auto window = X11BubbleWindow::make(*state.connection, state.dispatch, properties,
                                        [weak = std::weak_ptr(state_)] {
                                            if (const auto self = weak.lock()) self->windowClosed();
                                        });
    state.window = window;
    if (!state.thread.joinable()) state.startEvents();
    return window;
}

void X11Application::run(Completion completion) {
    State& state = *state_;
    if (const auto delegate = state.delegate.lock()) delegate->applicationDidFinishLaunching();
    if (state.ended) {
        completion(state.failure);
    } else {
        state.completion = std::move(completion);
    }
}

void X11Application::terminate() {
    state_->end(nullptr);
}

}  // namespace quorvane::platform::x11
