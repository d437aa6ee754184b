#include "platform/linux/x11/display_ids.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

using Names = std::vector<std::string>;
using Ids = std::vector<std::uint32_t>;

TEST(DisplayIds, AreHashesOfTheNames) {
    struct Row {
        std::string name;
        Names names;
        Ids expected;
    };
    const Row rows[] = {
        {"no displays", {}, {}},
        {"the hash of nothing is its offset", {""}, {0x811C9DC5}},
        {"published values of FNV-1a", {"a", "foobar"}, {0xE40C292C, 0xBF9CF968}},
        {"the order does not matter", {"foobar", "a"}, {0xBF9CF968, 0xE40C292C}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(displayIDsOf(row.names), row.expected);
    }
}

TEST(DisplayIds, OfEqualHashesDifferInTheSameWayInEveryOrder) {
    // "costarring" and "liquid" have the same 32-bit FNV-1a hash.
    const Ids one = displayIDsOf(Names{"costarring", "liquid"});
    EXPECT_EQ(one, (Ids{0x5E4DAA9D, 0x5E4DAA9E}));
    const Ids other = displayIDsOf(Names{"liquid", "costarring"});
    EXPECT_EQ(other, (Ids{0x5E4DAA9E, 0x5E4DAA9D}));
}

}  // namespace
}  // namespace quorvane::platform::x11
