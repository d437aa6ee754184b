// What the sound server allows this process to do with microphones.
#pragma once

namespace quorvane::platform {

enum class MicrophoneAccess {
    allowed,   // it shows what there is, and what it shows may be used
    refused,   // it turns us away, hides everything, or lets none of its microphones be used
    noServer,  // there is no sound server
    unknown,   // there is one that does not answer
};

}  // namespace quorvane::platform
