// The port to what the desktop knows of running applications, for the adapters of Linux.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/shareable_content.h"

namespace quorvane::platform {

// What a window says of the application that it belongs to; empty where it says nothing.
struct WindowIdentity {
    std::string applicationID;  // as D-Bus knows it
    std::string instanceName;
    std::string className;
    bool operator==(const WindowIdentity&) const = default;
};

struct ProcessWindows {
    std::int32_t processID = 0;
    std::vector<WindowIdentity> windows;  // those that speak for the application first
};

class ApplicationDirectory {
  public:
    virtual ~ApplicationDirectory() = default;
    // One application a process, in the same order. Any thread.
    virtual std::vector<RunningApplication> describe(std::span<const ProcessWindows> processes) = 0;
};

}  // namespace quorvane::platform
