// The desktop portal's permission store and its questions, over the session's D-Bus.
// Why a connection for each call: it may be the only one in the process's life, and a bus that was
// restarted is found again.
// Threads: any. Errors: none; without a bus or a portal nothing is known and nobody is asked.
#pragma once

#include "platform/linux/permission_portal.h"

namespace quorvane::platform::portal {

class PortalPermissions final : public PermissionPortal {
  public:
    StoredPermission microphonePermission(const std::string& application) override;
    void requestMicrophone(std::function<void(bool granted)> answer) override;
};

}  // namespace quorvane::platform::portal
