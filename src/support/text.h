// Text as UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::support {

// The text with every byte that is not part of a valid UTF-8 sequence replaced by U+FFFD.
// Threads: any. Errors: none.
std::string validUtf8(std::string_view text);

}  // namespace quorvane::support
