// The permissions that a recording needs, as the parent is told, and asking the user for them.
// Threads: the main queue. Errors: none.
#pragma once

#include <string>

#include "cli/arguments.h"
#include "platform/platform.h"
#include "support/async.h"
#include "support/json.h"

namespace quorvane::sources {

struct RecorderPermissions {
    // "granted" or "denied"; one that was never asked for is denied.
    std::string screen;
    // "granted", "denied", "not-determined", "restricted" or "unknown".
    std::string microphone;
};

std::string microphonePermissionStatus(platform::Permissions& permissions);

// Asks nobody.
RecorderPermissions permissionStatus(platform::Permissions& permissions);

// Whether the user granted it; resumes on the main queue when the user has answered.
support::Async<bool> requestMicrophoneAccess(platform::Platform& platform);

// The screen unless "--screen" is given and not true; the microphone only when "--microphone" is
// true, and only while nobody has decided. Gives the states after that.
support::Async<RecorderPermissions> requestPermissions(cli::Arguments arguments,
                                                       platform::Platform& platform);

inline void encode(const RecorderPermissions& permissions, support::JsonObject& object) {
    object.member("screen", permissions.screen);
    object.member("microphone", permissions.microphone);
}

}  // namespace quorvane::sources
