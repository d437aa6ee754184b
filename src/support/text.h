// Text as UTF-8.
// Threads: any. Errors: none; bytes that are not valid UTF-8 count as U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::support {

// The text with every byte that is not part of a valid UTF-8 sequence replaced by U+FFFD.
std::string validUtf8(std::string_view text);

// The text in canonical composition (NFC). Two texts that read the same have the same form, and
// the byte order of these forms is the order of their scalar values: upper case before lower case,
// no language's rules.
std::string canonicalText(std::string_view text);

}  // namespace quorvane::support
