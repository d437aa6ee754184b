// Learns from the server what a program has painted of its redirected window since the server made
// a new pixmap for it. The rest of the pixmap shows what the screen showed there at that moment,
// which may be what must not be shown.
// Why it counts what it owes: the server reports what comes to be visible of a window that is
// redirected automatically as damage, too, before anything is painted (compSetRedirectBorderClip in
// its sources). One report of each such pixel says nothing.
// Why every single report: "not empty" damage does not tell two reports from one. So that this
// costs little, a watch lives only until all is painted, or until it has waited long enough.
// Units: pixels from inside the window's border. Threads: the connection's. Errors: what the
// server refuses is ignored, because the window may vanish any time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/event.h"
#include "platform/linux/x11/pixel_rect.h"
#include "platform/linux/x11/server_region.h"
#include "support/dispatch.h"
#include "support/media_time.h"

namespace quorvane::platform::x11 {

class PaintingWatch {
  public:
    // Watches from now on. What is visible already is reported at once. The clock outlives it.
    PaintingWatch(const Connection& connection, const support::Clock& clock, std::uint32_t window);
    ~PaintingWatch();
    PaintingWatch(const PaintingWatch&) = delete;
    PaintingWatch& operator=(const PaintingWatch&) = delete;

    std::uint32_t window() const { return window_; }
    // Whether the event was one of its own. Takes note of the window's structure, too, which is
    // told in the order of the reports; of the others' where the root window's events are selected.
    bool handle(const Event& event);
    // update() has something to do.
    bool noticed() const { return !entries_.empty() || mayBeSeenAnew_ || expectsResized_; }

    // Nothing of the window is seen when it is mapped, which was told just now.
    void noteCovered();

    // One of these says what must not be shown until it is painted.
    // The watch has begun when the window's content did.
    void expect(const ServerRegion& region);
    // The window has been mapped, before or after the watch began. Waits for the server the first
    // time.
    void expectFromMapping(const ServerRegion& region);
    // The window has got a new size, before the watch began, or after.
    void expectAnew(const ServerRegion& region);
    void expectFromResizing(const ServerRegion& region);

    // Takes the reports, and gives what has been painted. Waits for the server the first time.
    void update(ServerRegion& painted);
    const ServerRegion& unpainted() const { return unpainted_; }
    // When what is unpainted by then is to be shown as it is: soon where it cannot be told whether
    // it is painted. None: never, which is so for what has only to be painted once more.
    std::optional<support::MediaTime> end() const { return end_; }

  private:
    enum class Kind { part, reportsEnd, moved, resized };
    struct Entry {
        Kind kind;  // the first two are reports
        PixelRect rect;
    };

    void owe(const ServerRegion& region);
    void note(const Entry& entry);
    void noteConfigure(const void* record);
    void learnTheBeginning();
    void doubt();
    bool settle();
    void follow();
    std::vector<PixelRect> firstReport() const;
    void skipFirstReport();
    void count(std::span<const Entry> reports, ServerRegion& painted);

    const std::uint32_t window_;
    const Connection& connection_;
    const support::Clock& clock_;
    std::uint8_t noticeType_;
    std::uint32_t damage_;
    unsigned attributesRequest_;
    unsigned geometryRequest_;
    std::optional<bool> sawTheBeginning_;
    PixelRect place_;
    std::vector<Entry> entries_;
    bool firstReportIsOwed_ = false;
    bool wasCovered_ = false;   // when the window was mapped
    bool othersMoved_ = false;  // since then
    bool doubtful_ = false;
    std::optional<support::MediaTime> end_;
    ServerRegion unpainted_;
    ServerRegion owed_;
    ServerRegion owedAgain_;  // once more
    ServerRegion seen_;       // of the window, on the screen
    bool isSeen_ = false;     // when it was asked for
    bool asked_ = false;
    bool settled_ = false;
    bool mayBeSeenAnew_ = true;
    ServerRegion expected_;  // to be painted from the last change of size on
    bool expectsResized_ = false;
    ServerRegion appeared_;
    ServerRegion again_;
    ServerRegion part_;
};

}  // namespace quorvane::platform::x11
