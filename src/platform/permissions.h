// The port to the user's permissions for screen and microphone.
#pragma once

#include <functional>

namespace quorvane::platform {

enum class MicrophoneAuthorization {
    notDetermined,  // nobody has decided yet; asking may help
    restricted,     // not to be had here, whatever the user decides
    denied,
    authorized,
    other,  // the platform does not say, or something that is not known here
};

class Permissions {
  public:
    // Called exactly once, on any thread: whether the user granted it.
    using Answer = std::function<void(bool granted)>;

    virtual ~Permissions() = default;
    // The present states. None of them asks the user; each blocks for at most two seconds.
    virtual bool preflightScreenCaptureAccess() = 0;
    virtual MicrophoneAuthorization microphoneAuthorizationStatus() = 0;
    // Returns at once; the user may be asked meanwhile.
    virtual void requestScreenCaptureAccess() = 0;
    // Asks the user where there is somebody to ask, and answers at once elsewhere.
    virtual void requestMicrophoneAccess(Answer answer) = 0;
};

}  // namespace quorvane::platform
