#include "cli/arguments.h"

#include <gtest/gtest.h>

#include "cli/recorder_error.h"

namespace quorvane::cli {
namespace {

TEST(ArgumentValue, IsTheWordAfterTheFirstOccurrence) {
    struct Row {
        const char* name;
        Arguments arguments;
        std::optional<std::string> value;
    };
    const Row rows[] = {
        {"absent", {"record", "--other", "x"}, std::nullopt},
        {"last word", {"record", "--name"}, std::nullopt},
        {"present", {"record", "--name", "x"}, "x"},
        {"the first wins", {"record", "--name", "a", "--name", "b"}, "a"},
        {"another option is a value", {"record", "--name", "--other"}, "--other"},
        {"an empty value", {"record", "--name", ""}, ""},
        {"case matters", {"record", "--Name", "x"}, std::nullopt},
        {"the sub-command word is searched too", {"--name", "x"}, "x"},
        {"an empty list", {}, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(argumentValue("--name", row.arguments), row.value);
    }
}

TEST(IsTruthy, KnowsOneTrueAndYes) {
    for (const char* text : {"1", "true", "TRUE", "yes", "Yes", "tRuE"})
        EXPECT_TRUE(isTruthy(text));
    for (const char* text : {"0", "on", "y", " true", "true ", "", "11", "--microphone"})
        EXPECT_FALSE(isTruthy(text)) << text;
}

TEST(BoolArgument, AFlagTakesTheNextWordAsItsValue) {
    const Arguments arguments{"record", "--system-audio", "--microphone", "1"};
    EXPECT_FALSE(boolArgument("--system-audio", arguments));
    EXPECT_TRUE(boolArgument("--microphone", arguments));
    EXPECT_FALSE(boolArgument("--system-audio", {"record", "--system-audio"}));
    EXPECT_TRUE(boolArgument("--system-audio", {"record", "--system-audio", "YES"}));
}

template <class Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const RecorderError& error) {
        return error.errorDescription();
    }
    return "";
}

TEST(DoubleArgument, TakesFiniteDecimalLiterals) {
    struct Row {
        const char* text;
        std::optional<double> value;
    };
    const Row rows[] = {
        {"0", 0},      {"-12.5", -12.5},  {"+3", 3},          {".5", 0.5},
        {"5.", 5},     {"1e3", 1000},     {"1E-2", 0.01},     {"1e+2", 100},
        {"1e-999", 0}, {"-0", -0.0},      {"", std::nullopt}, {"1e999", std::nullopt},
        {".", {}},     {"e5", {}},        {"1e", {}},         {"inf", {}},
        {"nan", {}},   {"-infinity", {}}, {"0x10", {}},       {" 1", {}},
        {"1 ", {}},    {"1,5", {}},       {"--1", {}},        {"1.5.2", {}},
        {"12a", {}},   {"1e5.5", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Arguments arguments{"record", "--x", row.text};
        if (row.value) {
            EXPECT_EQ(optionalDoubleArgument("--x", arguments), row.value);
        } else {
            EXPECT_EQ(errorOf([&] { optionalDoubleArgument("--x", arguments); }), "Invalid --x.");
        }
    }
    EXPECT_EQ(optionalDoubleArgument("--x", {"record"}), std::nullopt);
    EXPECT_EQ(errorOf([] { doubleArgument("--x", {"record"}); }), "Missing --x.");
    EXPECT_EQ(doubleArgument("--x", {"record", "--x", "2"}), 2);
}

TEST(UInt32Argument, TakesDecimalIntegersInRange) {
    struct Row {
        const char* text;
        std::optional<std::uint32_t> value;
    };
    const Row rows[] = {
        {"0", 0},
        {"4294967295", 4294967295},
        {"+5", 5},
        {"007", 7},
        {"4294967296", {}},
        {"-1", {}},
        {"", {}},
        {"+", {}},
        {"+-5", {}},
        {" 1", {}},
        {"1.0", {}},
        {"abc", {}},
        {"99999999999999999999", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Arguments arguments{"record", "--window-id", row.text};
        if (row.value) {
            EXPECT_EQ(optionalUInt32Argument("--window-id", arguments), row.value);
        } else {
            EXPECT_EQ(errorOf([&] { optionalUInt32Argument("--window-id", arguments); }),
                      "Invalid --window-id.");
        }
    }
}

TEST(PidArgument, TakesSignedIntegersInRange) {
    struct Row {
        const char* text;
        std::optional<std::int32_t> value;
    };
    const Row rows[] = {
        {"0", 0},
        {"-1", -1},
        {"+12", 12},
        {"2147483647", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"2147483648", {}},
        {"-2147483649", {}},
        {"x", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Arguments arguments{"record", "--app-pid", row.text};
        if (row.value) {
            EXPECT_EQ(optionalPidArgument("--app-pid", arguments), row.value);
        } else {
            EXPECT_EQ(errorOf([&] { optionalPidArgument("--app-pid", arguments); }),
                      "Invalid --app-pid.");
        }
    }
}

TEST(NormalizedVideoQuality, IsAKnownNameOrHighest) {
    for (const char* known : {"highest", "high", "balanced", "compact"})
        EXPECT_EQ(normalizedVideoQuality(known), known);
    for (const char* unknown : {"HIGH", "", "best", " high"})
        EXPECT_EQ(normalizedVideoQuality(unknown), "highest");
    EXPECT_EQ(normalizedVideoQuality(std::nullopt), "highest");
}

}  // namespace
}  // namespace quorvane::cli
