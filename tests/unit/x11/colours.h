// Colours of the windows that the tests record, as 0xRRGGBB.
#pragma once

#include <cstdint>

namespace quorvane::platform::x11 {

inline constexpr std::uint32_t red = 0xFF0000;
inline constexpr std::uint32_t green = 0x00FF00;
inline constexpr std::uint32_t blue = 0x0000FF;
inline constexpr std::uint32_t white = 0xFFFFFF;
inline constexpr std::uint32_t grey = 0x808080;
inline constexpr std::uint32_t brown = 0x663300;
inline constexpr std::uint32_t black = 0x000000;

}  // namespace quorvane::platform::x11
