// Learns from the server what a program has painted of its redirected window since the server made
// a new pixmap for it. The rest of the pixmap shows what the screen showed there at that moment,
// which may be what must not be shown.
// Why it counts what it owes: the server reports what comes to be visible of a window that is
// redirected automatically as damage, too, before anything is painted (compSetRedirectBorderClip in
// its sources). One report of each such pixel says nothing.
// Why every single report: "not empty" damage does not tell two reports from one. So that this
// costs little, a watch lives only until all is painted.
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

namespace quorvane::platform::x11 {

class PaintingWatch {
  public:
    // Watches from now on. What is visible already is reported at once.
    PaintingWatch(const Connection& connection, std::uint32_t window);
    ~PaintingWatch();
    PaintingWatch(const PaintingWatch&) = delete;
    PaintingWatch& operator=(const PaintingWatch&) = delete;

    std::uint32_t window() const { return window_; }
    // Whether the event was one of its own. Takes note of the window's structure, too, which is
    // told in the order of the reports.
    bool handle(const Event& event);
    // There are reports since the last update().
    bool noticed() const { return !entries_.empty(); }
    // The window was not viewable yet, so that nothing has been painted unnoticed. Waits for the
    // server the first time.
    bool sawTheBeginning();

    // That part is to be painted, and nothing has been but what has been reported.
    void expect(const ServerRegion& region);
    // The first report is the server's own, as it is when a window is mapped that is redirected
    // automatically. Not when all of it is covered: then the first follow() tells, if no window has
    // moved since, or what is painted first counts the next time that it is painted.
    void expectAfterFirstReport(const ServerRegion& region);
    // The window was viewable when the watch began, and all of it was reported then.
    void expectAnew(const ServerRegion& region);
    // The window was resized after the watch had begun.
    void expectFromResizing(const ServerRegion& region);
    // It cannot be told from the reports since the window was resized whether all of it is painted.
    bool isDoubtful() const { return doubtful_; }
    // This is visible on the screen now; the server reports by itself what has not been before.
    // Waits for the server the first time.
    void follow(const ServerRegion& visible);
    // Takes the reports, and gives what has been painted.
    void update(ServerRegion& painted);
    const ServerRegion& unpainted() const { return unpainted_; }

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
    void skipFirstReport();
    void takeChange(Kind kind);
    void oweBeyondFirstReport(const ServerRegion& visible);
    void count(std::span<const Entry> reports, ServerRegion& painted);

    const std::uint32_t window_;
    const Connection& connection_;
    std::uint8_t noticeType_;
    std::uint32_t damage_;
    unsigned attributesRequest_;
    unsigned geometryRequest_;
    std::optional<bool> sawTheBeginning_;
    PixelRect place_;
    std::vector<Entry> entries_;
    bool firstReportIsOwed_ = false;
    bool othersMoved_ = false;  // since the window was mapped
    bool doubtful_ = false;
    ServerRegion unpainted_;
    ServerRegion owed_;
    ServerRegion owedAgain_;  // once more
    ServerRegion visible_;
    bool visibleIsReported_ = true;  // what of it is visible at the next follow()
    ServerRegion resized_;           // is to be painted from the last change of size on
    bool expectsResized_ = false;
    ServerRegion appeared_;
    ServerRegion again_;
    ServerRegion part_;
};

}  // namespace quorvane::platform::x11
