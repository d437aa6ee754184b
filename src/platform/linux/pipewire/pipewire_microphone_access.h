// What PipeWire allows this process to do with microphones.
// Why not simply whether there are any: a machine without a microphone denies nothing, and one that
// is plugged in later is recorded.
// Threads: any; blocks for at most a second. Errors: none.
#pragma once

#include "platform/linux/microphone_access.h"

namespace quorvane::platform::pipewire {

MicrophoneAccess microphoneAccess();

}  // namespace quorvane::platform::pipewire
