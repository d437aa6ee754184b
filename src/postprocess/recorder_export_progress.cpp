#include "postprocess/recorder_export_progress.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace quorvane::postprocess {
namespace {

using support::MutexLock;
using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds period = 2s;

}  // namespace

std::shared_ptr<RecorderExportProgress> RecorderExportProgress::start(
    std::shared_ptr<const platform::ExportSession> exporter, support::Dispatch& dispatch,
    control::RecorderEvents& events) {
    std::shared_ptr<RecorderExportProgress> progress(
        new RecorderExportProgress(std::move(exporter), dispatch, events));
    progress->schedule();
    return progress;
}

RecorderExportProgress::RecorderExportProgress(
    std::shared_ptr<const platform::ExportSession> exporter, support::Dispatch& dispatch,
    control::RecorderEvents& events)
    : exporter_(std::move(exporter)),
      dispatch_(dispatch),
      events_(events),
      ownedQueue_(dispatch.makeSerialQueue("quorvane.export-progress")),
      queue_(*ownedQueue_),
      nextLook_(dispatch.clock().hostTime()) {}

void RecorderExportProgress::stop() {
    std::shared_ptr<support::WorkItem> timer;
    {
        MutexLock lock(lock_);
        stopped_ = true;
        timer = std::exchange(timer_, nullptr);
    }
    if (timer) timer->cancel();
}

void RecorderExportProgress::schedule() {
    const auto now = dispatch_.clock().hostTime();
    support::MediaTime due;
    {
        MutexLock lock(lock_);
        if (stopped_) return;
        due = nextLook_;
        // Looks that were missed, while the machine slept, are not made up for.
        do {
            nextLook_ += period;
        } while (nextLook_ <= now);
    }
    auto timer = dispatch_.schedule(queue_, std::max(due - now, 0ns),
                                    [weak = weak_from_this(), queue = ownedQueue_] {
                                        const auto self = weak.lock();
                                        if (!self) return;
                                        self->queue_.assertCurrent();
                                        self->tick();
                                    });
    bool alreadyStopped = false;
    {
        MutexLock lock(lock_);
        alreadyStopped = stopped_;
        if (!alreadyStopped) timer_ = timer;
    }
    if (alreadyStopped) timer->cancel();
}

void RecorderExportProgress::tick() {
    {
        MutexLock lock(lock_);
        if (stopped_) return;
    }
    schedule();
    const auto progress = exporter_->progress();
    if (!(progress > lastProgress_)) return;
    lastProgress_ = progress;
    control::RecorderMessage heartbeat;
    heartbeat.kind = control::RecorderMessage::Kind::heartbeat;
    events_.send(heartbeat);
}

}  // namespace quorvane::postprocess
