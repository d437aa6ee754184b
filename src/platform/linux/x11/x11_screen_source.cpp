#include "platform/linux/x11/x11_screen_source.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <new>
#include <thread>
#include <utility>

#include <sys/socket.h>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/content_factory.h"
#include "platform/linux/x11/screen_capture.h"
#include "platform/linux/x11/wakeup.h"
#include "platform/linux/x11/x11_error.h"
#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform::x11 {
namespace {

// How long a server may take to accept the connection and to set up the capture.
constexpr std::chrono::seconds startPatience{10};

// What the source shares with its thread. The thread holds it, too: one that hangs in the
// connection to a silent server cannot be woken and is left behind.
class CaptureThread {
  public:
    CaptureThread(CapturedContent content, StreamConfiguration configuration,
                  const support::Clock& clock, std::string displayName)
        : content_(std::move(content)),
          configuration_(std::move(configuration)),
          clock_(clock),
          displayName_(std::move(displayName)) {}

    // The thread's function.
    void run(const ScreenSource::Events& events) noexcept {
        try {
            const Connection connection(displayName_);
            const SocketInUse socket(*this, connection.descriptor());
            if (!socket.accepted) return;
            ScreenCapture capture(
                connection,
                makePictureContent(connection, content_, configuration_.sourceRect, clock_),
                configuration_, clock_, wakeup_);
            if (!enter(Phase::capturing)) return;
            capture.run(stopping_, events.onPicture);
            enter(Phase::ended);
        } catch (...) {
            end(std::current_exception(), events);
        }
    }

    // Waits for the capture to run. Throws what went wrong.
    void awaitStart() {
        std::exception_ptr error;
        {
            support::MutexLock lock(mutex_);
            changed_.wait_for(mutex_, startPatience, [this]() QUORVANE_REQUIRES(mutex_) {
                return phase_ == Phase::capturing || phase_ == Phase::ended || stopping_;
            });
            if (phase_ == Phase::capturing && !stopping_) return;
            error = startError_;
            if (!error) {
                error = stopping_ ? std::make_exception_ptr(
                                        x11Error(Failure::stoppedWhileStarting,
                                                 "The capture was stopped while it started."))
                                  : std::make_exception_ptr(x11Error(
                                        Failure::serverSilent, "The X server does not answer."));
            }
        }
        std::rethrow_exception(error);
    }

    // Makes the thread end. Whether it can be joined: not when it hangs in the connecting.
    bool requestStop() noexcept {
        bool joinable = true;
        {
            support::MutexLock lock(mutex_);
            stopping_ = true;
            // Whatever the thread waits for, of a server that may never answer, it gets at once.
            if (socket_ >= 0) shutdown(socket_, SHUT_RDWR);
            joinable = phase_ != Phase::connecting;
        }
        changed_.notify_all();
        wakeup_->signal();
        return joinable;
    }

  private:
    enum class Phase { connecting, settingUp, capturing, ended };

    // The descriptor may be shut down from outside only while the connection exists.
    class SocketInUse {
      public:
        SocketInUse(CaptureThread& owner, int descriptor) : owner_(owner) {
            support::MutexLock lock(owner_.mutex_);
            accepted = !owner_.stopping_;
            if (!accepted) return;
            owner_.phase_ = Phase::settingUp;
            owner_.socket_ = descriptor;
        }
        ~SocketInUse() {
            support::MutexLock lock(owner_.mutex_);
            owner_.socket_ = -1;
        }
        SocketInUse(const SocketInUse&) = delete;
        SocketInUse& operator=(const SocketInUse&) = delete;

        // False when the source has gone on without this thread, or is about to.
        bool accepted = false;

      private:
        CaptureThread& owner_;
    };

    bool enter(Phase phase) {
        {
            support::MutexLock lock(mutex_);
            if (phase == Phase::capturing && stopping_) return false;
            phase_ = phase;
        }
        changed_.notify_all();
        return true;
    }

    void end(const std::exception_ptr& error, const ScreenSource::Events& events) {
        bool report = false;
        {
            support::MutexLock lock(mutex_);
            report = phase_ == Phase::capturing && !stopping_;
            if (!report && !stopping_) startError_ = translated(error);
            phase_ = Phase::ended;
        }
        changed_.notify_all();
        if (report && events.onEnded) events.onEnded(translated(error));
    }

    static std::exception_ptr translated(std::exception_ptr error) {
        try {
            std::rethrow_exception(error);
        } catch (const std::bad_alloc&) {
            return std::make_exception_ptr(posixError(ENOMEM, "Could not capture the screen"));
        } catch (...) {
            return error;
        }
    }

    const CapturedContent content_;
    const StreamConfiguration configuration_;
    const support::Clock& clock_;
    const std::string displayName_;
    const std::shared_ptr<Wakeup> wakeup_ = std::make_shared<Wakeup>();
    std::atomic<bool> stopping_ = false;  // false to true once, under the lock

    support::Mutex mutex_;
    support::Condition changed_;
    Phase phase_ QUORVANE_GUARDED_BY(mutex_) = Phase::connecting;
    int socket_ QUORVANE_GUARDED_BY(mutex_) = -1;
    std::exception_ptr startError_ QUORVANE_GUARDED_BY(mutex_);
};

class X11ScreenSource final : public ScreenSource {
  public:
    X11ScreenSource(CapturedContent content, StreamConfiguration configuration,
                    const support::Clock& clock, const std::string& displayName)
        : capture_(std::make_shared<CaptureThread>(std::move(content), std::move(configuration),
                                                   clock, displayName)) {}
    ~X11ScreenSource() override { stop(); }

    void start(Events events) override {
        {
            support::MutexLock lock(mutex_);
            thread_ = support::startBackgroundThread(
                "x11-capture",
                [capture = capture_, events = std::move(events)] { capture->run(events); });
        }
        try {
            capture_->awaitStart();
        } catch (...) {
            stop();
            throw;
        }
    }

    void stop() noexcept override {
        const bool joinable = capture_->requestStop();
        std::thread thread;
        {
            support::MutexLock lock(mutex_);
            thread.swap(thread_);
        }
        if (!thread.joinable()) return;
        if (joinable) {
            thread.join();
        } else {
            thread.detach();
        }
    }

  private:
    const std::shared_ptr<CaptureThread> capture_;
    support::Mutex mutex_;
    std::thread thread_ QUORVANE_GUARDED_BY(mutex_);
};

}  // namespace

std::unique_ptr<ScreenSource> makeX11ScreenSource(const ContentFilter& filter,
                                                  const StreamConfiguration& configuration,
                                                  const support::Clock& clock,
                                                  const std::string& displayName) {
    return std::make_unique<X11ScreenSource>(filter.content, configuration, clock, displayName);
}

}  // namespace quorvane::platform::x11
