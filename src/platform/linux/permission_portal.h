// The port to the permissions that a sandbox's users gave, for the adapters of Linux.
#pragma once

#include <functional>
#include <string>

namespace quorvane::platform {

enum class StoredPermission {
    yes,
    no,
    ask,
    none,     // nobody has decided yet
    unknown,  // the store cannot be read, or says something else
};

class PermissionPortal {
  public:
    virtual ~PermissionPortal() = default;
    // What the user decided for that application. Blocks for at most a second.
    virtual StoredPermission microphonePermission(const std::string& application) = 0;
    // Has the user asked, for this process. The answer comes exactly once, on a thread of its own:
    // when the user has decided, or at once when nobody can be asked.
    virtual void requestMicrophone(std::function<void(bool granted)> answer) = 0;
};

}  // namespace quorvane::platform
