#include "platform/linux/pipewire/pipewire_error.h"

#include <cstdlib>

namespace quorvane::platform::pipewire {

PlatformError pipeWireError(int errorNumber, const char* description) {
    return {"PipeWire", std::abs(errorNumber), description};
}

}  // namespace quorvane::platform::pipewire
