// A connection to PipeWire with the loop that serves it.
// Why a new one for every attempt: after the server has gone, nothing of the old connection is of
// use, and an object that cannot be half alive needs no rules for it.
// Threads: everything on the thread that made it, but wake(). While the connection is being made
// all signals are blocked in that thread, so that PipeWire's own threads never take one.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct pw_core;
struct pw_loop;

namespace quorvane::platform::pipewire {

// Whether PipeWire's data thread carries sound, and so should run at real-time priority.
enum class ConnectionUse { sound, query };

// Ends a timer when it is dropped.
class Timer {
  public:
    virtual ~Timer() = default;
    // Fires once when the delay has passed; replaces an earlier delay.
    virtual void start(std::chrono::nanoseconds delay) = 0;
};

class Connection {
  public:
    struct Events {
        // The server has answered everything that was asked before the sync() of this number.
        std::function<void(int number)> onDone;
        // wake() was called, at least once since the last time.
        std::function<void()> onWake;
        // The server refused the connection itself something; the error is negative, as errno is.
        std::function<void(int error)> onRefusal = {};
    };

    // Throws PlatformError when there is no server. Does not wait for the server to answer.
    Connection(ConnectionUse use, Events events);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Calls back until quit(), or until the server is gone.
    void run();
    void quit();
    // Whether the server went away, or a callback failed.
    bool isLost() const;
    // Runs what a callback of the library does. An exception (memory is short) must not pass
    // through the library; it ends the connection, and the next one starts afresh.
    template <class Function>
    void guarded(Function&& function) noexcept {
        try {
            function();
        } catch (...) {
            lose();
        }
    }

    int sync();
    std::unique_ptr<Timer> makeTimer(std::function<void()> onTimer);
    // Any thread, the real-time ones too: neither blocks nor allocates.
    void wake() noexcept;

    pw_core* core() const;

  private:
    void lose() noexcept;

    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
