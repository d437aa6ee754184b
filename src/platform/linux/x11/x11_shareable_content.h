// What an X server offers for recording: its displays, the windows and the applications that own
// them.
// Why a connection and a thread for each query: a server that does not answer blocks nobody but
// that thread, and one that was restarted is found again.
// Threads: any. Errors: PlatformError of the domain "X11".
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/linux/application_directory.h"
#include "platform/shareable_content.h"

namespace quorvane::platform::x11 {

class X11ShareableContent final : public ShareableContentSource {
  public:
    // An empty name means the environment's display. The content is waited for as long as the
    // patience says: a recording that waits for it can be ended by nothing else.
    explicit X11ShareableContent(std::shared_ptr<ApplicationDirectory> directory,
                                 std::string displayName = {},
                                 std::chrono::milliseconds patience = std::chrono::seconds(10));

    // 0 also when the server does not answer within two seconds.
    std::uint32_t mainDisplayID() override;
    // The completion comes on a thread of its own. Windows come topmost first, identified by the
    // client's window; minimised ones are among them.
    void getShareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                             Completion completion) override;

  private:
    std::shared_ptr<ApplicationDirectory> directory_;
    std::string displayName_;
    std::chrono::milliseconds patience_;
};

}  // namespace quorvane::platform::x11
