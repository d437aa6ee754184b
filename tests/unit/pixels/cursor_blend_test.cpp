#include "pixels/cursor_blend.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::pixels {
namespace {

TEST(CursorBlend, BlendsPremultipliedColoursOverThePicture) {
    struct BlendCase {
        std::string name;
        PackedFormat format;
        std::uint32_t cursor, behind, expected;
    };
    constexpr auto eight = PackedFormat::xrgb8888;
    constexpr auto ten = PackedFormat::xrgb2101010;
    const BlendCase rows[] = {
        {"opaque replaces", eight, 0xFF102030, 0x00FFFFFF, 0x00102030},
        {"clear changes nothing", eight, 0x00000000, 0xAB123456, 0xAB123456},
        {"half black halves", eight, 0x80000000, 0x00C86432, 0x00643219},
        {"half white over black", eight, 0x80808080, 0x00000000, 0x00808080},
        {"a tenth of red over white", eight, 0x1A1A0000, 0x00FFFFFF, 0x00FFE5E5},
        {"colour above its alpha saturates", eight, 0x01FFFFFF, 0x00FFFFFF, 0x00FFFFFF},
        {"opaque white in 10 bits", ten, 0xFFFFFFFF, 0, 0x3FFFFFFF},
        {"opaque colours in 10 bits", ten, 0xFF8000FF, 0x3FFFFFFF, 514u << 20 | 0u << 10 | 1023u},
        {"half black in 10 bits", ten, 0x80000000, 1000u << 20 | 500u << 10 | 1u,
         498u << 20 | 249u << 10 | 0u},
    };
    for (const BlendCase& row : rows) {
        SCOPED_TRACE(row.name);
        std::uint32_t pixel = row.behind;
        blendCursor({{&row.cursor, 1}, 1, 1}, 0, 0, {&pixel, 1}, row.format, 1, 1);
        EXPECT_EQ(pixel, row.expected);
    }
}

TEST(CursorBlend, IsClippedAtEveryEdge) {
    struct ClipCase {
        std::string name;
        int x, y;
        std::string expected;  // 4x3 pixels; a letter for each cursor pixel, '.' for the picture
    };
    // The cursor is AB / CD.
    const ClipCase rows[] = {
        {"inside", 1, 1, ".....AB..CD."},          {"over the left edge", -1, 0, "B...D......."},
        {"over the top", 2, -1, "..CD........"},   {"over the right edge", 3, 1, ".......A...C"},
        {"over the bottom", 0, 2, "........AB.."}, {"left of it all", -2, 0, "............"},
        {"below it all", 0, 3, "............"},    {"over a corner", -1, -1, "D..........."},
    };
    const std::uint32_t cursor[] = {0xFF00000A, 0xFF00000B, 0xFF00000C, 0xFF00000D};
    for (const ClipCase& row : rows) {
        SCOPED_TRACE(row.name);
        const int stride = 6;
        std::vector<std::uint32_t> picture(stride * 3, 0);
        blendCursor({cursor, 2, 2}, row.x, row.y, {picture.data(), stride}, PackedFormat::xrgb8888,
                    4, 3);
        std::string drawn;
        for (int i = 0; i < 12; ++i) {
            const std::uint32_t pixel = picture[static_cast<std::size_t>(i / 4 * stride + i % 4)];
            drawn += pixel == 0 ? '.' : static_cast<char>('A' + pixel - 0xA);
        }
        EXPECT_EQ(drawn, row.expected);
        for (int y = 0; y < 3; ++y)
            EXPECT_EQ(picture[static_cast<std::size_t>(y * stride + 4)], 0u);
    }
}

}  // namespace
}  // namespace quorvane::pixels
