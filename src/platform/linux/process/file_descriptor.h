// The name by which this folder knows the adapters' common file descriptor.
#pragma once

#include "platform/linux/file_descriptor.h"

namespace quorvane::platform::process {

using platform::FileDescriptor;

}  // namespace quorvane::platform::process
