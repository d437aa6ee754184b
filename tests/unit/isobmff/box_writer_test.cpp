#include "isobmff/box_writer.h"

#include <functional>

#include <gtest/gtest.h>

#include "unit/isobmff/bytes.h"

namespace quorvane::isobmff {
namespace {

TEST(BoxWriter, WritesBigEndianNumbersAndNestedBoxes) {
    struct Row {
        const char* name;
        std::function<void(BoxWriter&)> write;
        const char* bytes;
    };
    const Row rows[] = {
        {"numbers",
         [](BoxWriter& writer) {
             writer.u8(0x01);
             writer.u16(0x0203);
             writer.u24(0x040506);
             writer.u32(0x0708090a);
             writer.u64(0x0b0c0d0e0f101112);
         },
         "01 0203 040506 0708090a 0b0c0d0e0f101112"},
        {"an empty box", [](BoxWriter& writer) { const auto box = writer.box("free"); },
         "00000008 'free'"},
        {"a box in a box",
         [](BoxWriter& writer) {
             const auto outer = writer.box("dinf");
             {
                 const auto inner = writer.fullBox("url ", 2, 0x030405);
                 writer.text("ab");
             }
             writer.zeros(2);
         },
         "00000018 'dinf' 0000000e 'url ' 02 030405 'ab' 0000"},
        {"a number written over",
         [](BoxWriter& writer) {
             writer.u64(0);
             writer.replaceU32(2, 0xfffefdfc);
         },
         "0000 fffefdfc 0000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        BoxWriter writer;
        row.write(writer);
        EXPECT_EQ(hex(writer.data()), asHex(row.bytes));
    }
}

TEST(BoxHeaders, HaveTheirSizeIn32Or64Bits) {
    EXPECT_EQ(hex(boxHeader(0x01020304, "free")), asHex("01020304 'free'"));
    EXPECT_EQ(hex(largeBoxHeader(0x0102030405060708, "mdat")),
              asHex("00000001 'mdat' 0102030405060708"));
}

}  // namespace
}  // namespace quorvane::isobmff
