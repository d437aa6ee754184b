#include "platform/linux/linux_permissions.h"

namespace quorvane::platform {
namespace {

MicrophoneAuthorization authorization(StoredPermission permission) {
    switch (permission) {
        case StoredPermission::yes:
            return MicrophoneAuthorization::authorized;
        case StoredPermission::no:
            return MicrophoneAuthorization::denied;
        case StoredPermission::ask:
        case StoredPermission::none:
            return MicrophoneAuthorization::notDetermined;
        case StoredPermission::unknown:
            break;
    }
    return MicrophoneAuthorization::other;
}

MicrophoneAuthorization authorization(MicrophoneAccess access) {
    switch (access) {
        case MicrophoneAccess::allowed:
            return MicrophoneAuthorization::authorized;
        case MicrophoneAccess::refused:
            return MicrophoneAuthorization::denied;
        case MicrophoneAccess::noServer:
            // Nobody could grant it.
            return MicrophoneAuthorization::restricted;
        case MicrophoneAccess::unknown:
            break;
    }
    return MicrophoneAuthorization::other;
}

}  // namespace

bool LinuxPermissions::preflightScreenCaptureAccess() {
    return sources_.canReadScreen();
}

MicrophoneAuthorization LinuxPermissions::microphoneAuthorizationStatus() {
    if (const auto application = sources_.sandboxedApplication())
        return authorization(portal_.microphonePermission(*application));
    return authorization(sources_.microphoneAccess());
}

void LinuxPermissions::requestScreenCaptureAccess() {
    // An X server has nobody who could be asked.
}

void LinuxPermissions::requestMicrophoneAccess(Answer answer) {
    if (sources_.sandboxedApplication()) return portal_.requestMicrophone(std::move(answer));
    answer(microphoneAuthorizationStatus() == MicrophoneAuthorization::authorized);
}

}  // namespace quorvane::platform
