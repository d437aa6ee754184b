// Names that nobody else has.
#pragma once

#include <string>

#include "platform/random_source.h"

namespace quorvane::postprocess {

// A random UUID (version 4) in upper-case letters: "1B4E28BA-2FA1-41D2-883F-0016D3CCA427".
// Threads: any. Errors: the source's.
std::string makeUuid(platform::RandomSource& random);

}  // namespace quorvane::postprocess
