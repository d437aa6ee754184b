// Standard error, away for a while.
// Why: the decoders of images print warnings of their own there, where a failed command has exactly
// one line; not all of them can be told not to.
#pragma once

#include "platform/linux/file_descriptor.h"

namespace quorvane::platform::tesseract {

// While it lives, what this process writes to standard error is lost. Threads: one at a time.
// Errors: none; where it cannot be done, the warnings show.
class SilentStandardError {
  public:
    SilentStandardError();
    ~SilentStandardError();
    SilentStandardError(const SilentStandardError&) = delete;
    SilentStandardError& operator=(const SilentStandardError&) = delete;

  private:
    FileDescriptor before_;
};

}  // namespace quorvane::platform::tesseract
