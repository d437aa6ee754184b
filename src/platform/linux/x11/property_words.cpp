#include "platform/linux/x11/property_words.h"

#include <cstddef>

#include <xcb/xcb.h>

namespace quorvane::platform::x11 {

std::span<const std::uint32_t> wordsOf(const xcb_get_property_reply_t& reply) {
    if (reply.format != 32) return {};
    const auto* words = static_cast<const std::uint32_t*>(xcb_get_property_value(&reply));
    const int bytes = xcb_get_property_value_length(&reply);
    return {words, static_cast<std::size_t>(bytes) / sizeof *words};
}

}  // namespace quorvane::platform::x11
