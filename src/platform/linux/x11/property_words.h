// The words of a window's property.
// Threads: pure, any. Errors: none; a value in another form has no words.
#pragma once

#include <cstdint>
#include <span>

struct xcb_get_property_reply_t;

namespace quorvane::platform::x11 {

// They lie in the reply.
std::span<const std::uint32_t> wordsOf(const xcb_get_property_reply_t& reply);

// As many words of _NET_WM_STATE as are read: the Extended Window Manager Hints know a dozen.
inline constexpr std::uint32_t mostStates = 64;

}  // namespace quorvane::platform::x11
