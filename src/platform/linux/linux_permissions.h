// The user's permissions on Linux. A sandbox keeps them in its permission store; outside of one
// nobody is asked, and what the screen's and the sound's servers let us do is what is permitted.
// Threads: any. Errors: none.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/linux/microphone_access.h"
#include "platform/linux/permission_portal.h"
#include "platform/permissions.h"

namespace quorvane::platform {

// How the state of things is learned, each by its adapter.
struct LinuxPermissionSources {
    std::function<bool()> canReadScreen;
    std::function<MicrophoneAccess()> microphoneAccess;
    // The application of the sandbox that this process runs in; nothing outside of one.
    std::function<std::optional<std::string>()> sandboxedApplication;
};

class LinuxPermissions final : public Permissions {
  public:
    // The portal outlives the permissions.
    LinuxPermissions(LinuxPermissionSources sources, PermissionPortal& portal)
        : sources_(std::move(sources)), portal_(portal) {}

    bool preflightScreenCaptureAccess() override;
    MicrophoneAuthorization microphoneAuthorizationStatus() override;
    void requestScreenCaptureAccess() override;
    void requestMicrophoneAccess(Answer answer) override;

  private:
    LinuxPermissionSources sources_;
    PermissionPortal& portal_;
};

}  // namespace quorvane::platform
