#include "isobmff/avc_configuration.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "unit/isobmff/bytes.h"

namespace quorvane::isobmff {
namespace {

std::vector<std::string> hexOf(const std::vector<NalUnit>& units) {
    std::vector<std::string> result;
    for (const auto unit : units)
        result.push_back(hex(unit));
    return result;
}

TEST(SplitAtLengths, RefusesLengthsBeyondTheStream) {
    struct Row {
        const char* name;
        const char* stream;
        std::vector<std::string> units;
    };
    const Row rows[] = {
        {"nothing", "", {}},
        {"two units", "00000002 6701 00000001 68", {"6701", "68"}},
        {"too long", "00000003 6701", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto stream = bytesOf(row.stream);
        EXPECT_EQ(hexOf(splitAtLengths(stream)), row.units);
    }
}

TEST(AvcConfiguration, HoldsTheParameterSets) {
    struct Row {
        const char* name;
        const char* stream;
        const char* record;
    };
    const Row rows[] = {
        {"High, with what follows for it", "00000005 6764002aac 00000002 06ff 00000002 68ee",
         "01 64002a ff e1 0005 6764002aac 01 0002 68ee fd f8 f8 00"},
        {"Main, without", "00000004 674d002a 00000002 68ee",
         "01 4d002a ff e1 0004 674d002a 01 0002 68ee"},
        {"no picture parameter set", "00000005 6764002aac", ""},
        {"no sequence parameter set", "00000002 68ee", ""},
        {"a sequence parameter set without a level", "00000002 6764 00000002 68ee", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto stream = bytesOf(row.stream);
        EXPECT_EQ(hex(avcConfiguration(splitAtLengths(stream))), asHex(row.record));
    }
}

}  // namespace
}  // namespace quorvane::isobmff
