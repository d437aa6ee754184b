// What an X server offers for recording: its displays.
// Why a connection and a thread for each query: a server that does not answer blocks nobody but
// that thread, and one that was restarted is found again.
// Threads: any. Errors: PlatformError of the domain "X11".
#pragma once

#include <string>

#include "platform/shareable_content.h"

namespace quorvane::platform::x11 {

class X11ShareableContent final : public ShareableContentSource {
  public:
    // An empty name means the environment's display.
    explicit X11ShareableContent(std::string displayName = {});

    // 0 also when the server does not answer within two seconds.
    std::uint32_t mainDisplayID() override;
    // The completion comes on a thread of its own.
    void getShareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                             Completion completion) override;

  private:
    std::string displayName_;
};

}  // namespace quorvane::platform::x11
