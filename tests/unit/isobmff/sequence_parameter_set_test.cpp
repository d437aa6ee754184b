#include "isobmff/sequence_parameter_set.h"

#include <gtest/gtest.h>

#include "unit/isobmff/bytes.h"

namespace quorvane::isobmff {
namespace {

TEST(WithVariableFrameRate, ChangesTheTimingAndNothingElse) {
    struct Row {
        const char* name;
        const char* before;
        const char* after;
    };
    const Row rows[] = {
        {"High, 1920x1080, 60 frames/s", "6764002aacb403c0113f2c20000003002000000f11e30654",
         "6764002aacb403c0113f2c2000000300200057e401e30654"},
        {"High, 8x8, cropped, without colours", "67640014acb4fcb2c2000003000200000300f11e285540",
         "67640014acb4fcb2c2000003000200057e401e285540"},
        {"without usability information", "6742c01eda79", "6742c01eda79"},
        {"cut off in the timing", "6764002aacb403c0113f2c2000000300", ""},
        {"cut off in the size", "6764002aacb4", ""},
        {"nothing", "", ""},
        {"a number without an end", "6764002a0000000000000000000000", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto before = bytesOf(row.before);
        EXPECT_EQ(hex(withVariableFrameRate(before, 90000)), row.after);
    }
}

}  // namespace
}  // namespace quorvane::isobmff
