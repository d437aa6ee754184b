// Tells the parent that an export advances.
#pragma once

#include <memory>

#include "control/recorder_events.h"
#include "platform/export_session.h"
#include "support/dispatch.h"
#include "support/mutex.h"

namespace quorvane::postprocess {

// Looks at the export's progress at once and then every two seconds, on a queue of its own, and
// sends "heartbeat" whenever it has grown. The value itself is never sent.
// Threads: any.
class RecorderExportProgress final : public std::enable_shared_from_this<RecorderExportProgress> {
  public:
    // Dispatch and events outlive what is started. Dropping the watcher ends it, as stop() does.
    static std::shared_ptr<RecorderExportProgress> start(
        std::shared_ptr<const platform::ExportSession> exporter, support::Dispatch& dispatch,
        control::RecorderEvents& events);

    // No look begins after this. Idempotent.
    void stop() QUORVANE_EXCLUDES(lock_);

  private:
    RecorderExportProgress(std::shared_ptr<const platform::ExportSession> exporter,
                           support::Dispatch& dispatch, control::RecorderEvents& events);

    // Schedules the look that is due next.
    void schedule() QUORVANE_EXCLUDES(lock_);
    void tick() QUORVANE_REQUIRES(queue_);

    const std::shared_ptr<const platform::ExportSession> exporter_;
    support::Dispatch& dispatch_;
    control::RecorderEvents& events_;
    const std::shared_ptr<support::Queue> ownedQueue_;
    support::Queue& queue_;

    support::Mutex lock_;
    std::shared_ptr<support::WorkItem> timer_ QUORVANE_GUARDED_BY(lock_);
    bool stopped_ QUORVANE_GUARDED_BY(lock_) = false;
    // Counted from the start, so that late looks do not make later ones later.
    support::MediaTime nextLook_ QUORVANE_GUARDED_BY(lock_);

    // Below every progress, so that the first look always reports.
    float lastProgress_ QUORVANE_ON(queue_) = -1.0F;
};

}  // namespace quorvane::postprocess
