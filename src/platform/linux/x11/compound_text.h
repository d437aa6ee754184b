// Compound text, the X Consortium's encoding of titles from before UTF-8: ISO 2022 with the
// character sets that its standard lists.
// Threads: pure, any. Errors: none; what is not understood becomes U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::platform::x11 {

std::string utf8FromCompoundText(std::string_view text);

}  // namespace quorvane::platform::x11
