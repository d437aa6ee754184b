// What this recorder supports, for the parent to read.
#pragma once

#include "support/json.h"

namespace quorvane::sources {

struct RecorderCapabilities {
    bool supportsScreenCaptureKitRecorder = false;  // the name that parents look for
    bool supportsSystemAudio = false;
    bool supportsMicrophoneSelection = false;
};

inline void encode(const RecorderCapabilities& capabilities, support::JsonObject& object) {
    object.member("supportsScreenCaptureKitRecorder",
                  capabilities.supportsScreenCaptureKitRecorder);
    object.member("supportsSystemAudio", capabilities.supportsSystemAudio);
    object.member("supportsMicrophoneSelection", capabilities.supportsMicrophoneSelection);
}

}  // namespace quorvane::sources
