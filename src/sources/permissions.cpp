#include "sources/permissions.h"

#include <memory>

namespace quorvane::sources {

std::string microphonePermissionStatus(platform::Permissions& permissions) {
    using platform::MicrophoneAuthorization;
    switch (permissions.microphoneAuthorizationStatus()) {
        case MicrophoneAuthorization::notDetermined:
            return "not-determined";
        case MicrophoneAuthorization::restricted:
            return "restricted";
        case MicrophoneAuthorization::denied:
            return "denied";
        case MicrophoneAuthorization::authorized:
            return "granted";
        case MicrophoneAuthorization::other:
            break;
    }
    return "unknown";
}

RecorderPermissions permissionStatus(platform::Permissions& permissions) {
    return {.screen = permissions.preflightScreenCaptureAccess() ? "granted" : "denied",
            .microphone = microphonePermissionStatus(permissions)};
}

support::Async<bool> requestMicrophoneAccess(platform::Platform& platform) {
    co_return co_await support::suspend<bool>(
        platform.dispatch.mainQueue(), [&](support::Continuation<bool> waiting) {
            auto waiter = std::make_shared<support::Continuation<bool>>(std::move(waiting));
            platform.permissions.requestMicrophoneAccess(
                [waiter](bool granted) { waiter->resume(granted); });
        });
}

support::Async<RecorderPermissions> requestPermissions(cli::Arguments arguments,
                                                       platform::Platform& platform) {
    auto& permissions = platform.permissions;
    const auto screen = cli::argumentValue("--screen", arguments);
    if ((!screen || cli::isTruthy(*screen)) && !permissions.preflightScreenCaptureAccess())
        permissions.requestScreenCaptureAccess();
    if (cli::boolArgument("--microphone", arguments) &&
        permissions.microphoneAuthorizationStatus() ==
            platform::MicrophoneAuthorization::notDetermined)
        co_await requestMicrophoneAccess(platform);
    co_return permissionStatus(permissions);
}

}  // namespace quorvane::sources
