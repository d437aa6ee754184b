// Every port of the program, filled by the adapters of Linux.
#pragma once

#include <memory>

#include "platform/platform.h"
#include "support/asio_dispatch.h"

namespace quorvane::app {

class LinuxPlatform {
  public:
    // Made by the main thread, before any other thread exists.
    LinuxPlatform();
    ~LinuxPlatform();
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    platform::Platform& ports();
    support::AsioDispatch& dispatch();

  private:
    struct Adapters;
    std::unique_ptr<Adapters> adapters_;
};

}  // namespace quorvane::app
