// The forms of pixels that the RENDER extension knows.
// Threads: the connection's. Errors: PlatformError.
#pragma once

#include <cstdint>
#include <map>

#include "platform/linux/x11/connection.h"

namespace quorvane::platform::x11 {

struct RenderFormat {
    std::uint32_t id = 0;  // 0: none
    bool hasAlpha = false;
};

class RenderFormats {
  public:
    // Readies the extension, too. Waits for the server twice.
    explicit RenderFormats(const Connection& connection);

    // Of windows of that visual; none for one that RENDER does not know.
    RenderFormat ofVisual(std::uint32_t visual) const;

  private:
    std::map<std::uint32_t, RenderFormat> byVisual_;
};

}  // namespace quorvane::platform::x11
