// PipeWire's failures as PlatformError: domain "PipeWire", the code is the errno that it gives.
#pragma once

#include "platform/platform_error.h"

namespace quorvane::platform::pipewire {

// errorNumber may be negative, as PipeWire's results are. The description is a whole sentence.
PlatformError pipeWireError(int errorNumber, const char* description);

}  // namespace quorvane::platform::pipewire
