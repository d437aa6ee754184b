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
    // Whether the event was one of its own.
    bool handle(const Event& event);
    // There are reports since the last update().
    bool noticed() const { return !reports_.empty(); }
    // The window was not viewable yet, so that nothing has been painted unnoticed. Waits for the
    // server the first time.
    bool sawTheBeginning();

    // That part is to be painted. Either the window was not viewable when the watch began, or it
    // was, and what of it was visible then is painted.
    void expect(const ServerRegion& region, bool visibleIsPainted);
    // The same, but the server has reported, or will once, all of it unpainted.
    void expectAnew(const ServerRegion& region);
    // The same for a window that was not viewable when the watch began, for those who do not
    // follow() it: the first report is the server's own. Right unless all of it is covered when it
    // is mapped; then what is painted first counts the next time that it is painted.
    void expectAfterFirstReport(const ServerRegion& region);
    // This is visible on the screen now; the server reports by itself what has not been before.
    void follow(const ServerRegion& visible);
    // The window was moved: its pixels are copied, painted or not.
    void moved() { owe(unpainted_); }
    // Takes the reports, and gives what has been painted.
    void update(ServerRegion& painted);
    const ServerRegion& unpainted() const { return unpainted_; }

  private:
    struct Rect {
        PixelRect rect;
        bool endsReport;
    };

    void owe(const ServerRegion& region);
    void skipFirstReport();
    void count(std::span<const Rect> report, ServerRegion& painted);

    const std::uint32_t window_;
    const Connection& connection_;
    std::uint8_t noticeType_;
    std::uint32_t damage_;
    unsigned attributesRequest_;
    std::optional<bool> sawTheBeginning_;
    std::vector<Rect> reports_;
    bool firstReportIsOwed_ = false;
    ServerRegion unpainted_;
    ServerRegion owed_;
    ServerRegion owedAgain_;  // once more
    ServerRegion visible_;
    bool visibleIsReported_ = false;  // what of it is visible at the next follow()
    ServerRegion appeared_;
    ServerRegion again_;
    ServerRegion part_;
};

}  // namespace quorvane::platform::x11
