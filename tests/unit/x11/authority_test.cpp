#include "platform/linux/x11/authority.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

// Before any test connects, as the program does.
class NamedAuthority : public testing::Environment {
  public:
    void SetUp() override { nameAuthorityFile(); }
};
[[maybe_unused]] const auto* const named =
    testing::AddGlobalTestEnvironment(new NamedAuthority);  // the framework's from here on

TEST(NameAuthorityFile, NamesTheDefaultAndLeavesAChosenOneAlone) {
    const char* before = std::getenv("XAUTHORITY");
    const std::string kept = before != nullptr ? before : "";
    const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    setenv("HOME", "/home/somebody", 1);

    unsetenv("XAUTHORITY");
    nameAuthorityFile();
    EXPECT_STREQ(std::getenv("XAUTHORITY"), "/home/somebody/.Xauthority");

    setenv("XAUTHORITY", "/run/chosen", 1);
    nameAuthorityFile();
    EXPECT_STREQ(std::getenv("XAUTHORITY"), "/run/chosen");

    unsetenv("XAUTHORITY");
    unsetenv("HOME");
    nameAuthorityFile();
    EXPECT_EQ(std::getenv("XAUTHORITY"), nullptr);

    if (!home.empty()) setenv("HOME", home.c_str(), 1);
    if (!kept.empty()) setenv("XAUTHORITY", kept.c_str(), 1);
}

}  // namespace
}  // namespace quorvane::platform::x11
