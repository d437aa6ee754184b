// Watches the windows that are not mapped, so that nothing that is painted when they come goes
// unnoticed, and knows which of the others have come since the last time.
// Units, threads and errors as those of PaintingWatch.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/painting_watch.h"
#include "platform/linux/x11/window_stack.h"
#include "support/dispatch.h"
#include "support/media_time.h"

namespace quorvane::platform::x11 {

class MappingWatches {
  public:
    // The clock outlives it.
    MappingWatches(const Connection& connection, const support::Clock& clock)
        : connection_(connection), clock_(clock) {}

    // Takes note of the root window's events, but they are not its own. True for a report of one of
    // its watches.
    bool handle(const Event& event);
    // Nothing of the window is seen when it is mapped, which was told just now.
    void noteCovered(std::uint32_t window);
    // As the windows are now. What is left out is not watched: it may be a frame, and still show
    // what was in it when it is none any more.
    void update(std::span<const TopLevel> windows, std::span<const std::uint32_t> leftOut);
    // The watch of a window that comes to be shown; null when it has been mapped for long.
    std::unique_ptr<PaintingWatch> take(const TopLevel& window);
    // A window that is not shown for some time after it was mapped is not watched any longer: when
    // that is to be ended, by calling end().
    std::optional<support::MediaTime> nextEnd() const;
    void end();
    // Forgets all windows.
    void clear();

  private:
    void watch(std::uint32_t window);
    void forget(std::uint32_t window);

    struct Entry {
        std::unique_ptr<PaintingWatch> watch;
        std::optional<support::MediaTime> until;  // it is mapped
    };

    const Connection& connection_;
    const support::Clock& clock_;
    std::vector<Entry> entries_;
    std::map<unsigned, unsigned> mappings_;  // of the lives of those that were mapped
};

}  // namespace quorvane::platform::x11
