// The text of a window's property in its encoding.
// Threads: pure, any. Errors: none; invalid bytes become U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace quorvane::platform::x11 {

// other: of a type that is not known; UTF-8 where it is valid, else Latin-1.
enum class TextEncoding { latin1, utf8, compound, other };

// The first text of the property, which may hold several with zero bytes between them; as UTF-8.
std::string textFrom(TextEncoding encoding, std::string_view bytes);

}  // namespace quorvane::platform::x11
