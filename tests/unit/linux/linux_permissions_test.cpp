#include "platform/linux/linux_permissions.h"

#include <gtest/gtest.h>

namespace quorvane::platform {
namespace {

struct Portal final : PermissionPortal {
    StoredPermission stored = StoredPermission::unknown;
    std::string askedFor;
    int questions = 0;

    StoredPermission microphonePermission(const std::string& application) override {
        askedFor = application;
        return stored;
    }
    void requestMicrophone(std::function<void(bool)> answer) override {
        ++questions;
        answer(true);
    }
};

TEST(LinuxPermissions, ASandboxsStoreDecidesAloneOverTheMicrophone) {
    struct Row {
        const char* name;
        StoredPermission stored;
        MicrophoneAuthorization expected;
    };
    const Row rows[] = {
        {"yes", StoredPermission::yes, MicrophoneAuthorization::authorized},
        {"no", StoredPermission::no, MicrophoneAuthorization::denied},
        {"ask", StoredPermission::ask, MicrophoneAuthorization::notDetermined},
        {"nothing", StoredPermission::none, MicrophoneAuthorization::notDetermined},
        {"unreadable", StoredPermission::unknown, MicrophoneAuthorization::other},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Portal portal;
        portal.stored = row.stored;
        LinuxPermissions permissions({[] { return true; },
                                      [] {
                                          ADD_FAILURE() << "the sound server was asked";
                                          return MicrophoneAccess::allowed;
                                      },
                                      [] { return std::optional<std::string>("org.example.App"); }},
                                     portal);
        EXPECT_EQ(permissions.microphoneAuthorizationStatus(), row.expected);
        EXPECT_EQ(portal.askedFor, "org.example.App");
        EXPECT_EQ(portal.questions, 0);

        int answers = 0;
        permissions.requestMicrophoneAccess([&](bool granted) {
            ++answers;
            EXPECT_TRUE(granted);
        });
        EXPECT_EQ(answers, 1);
        EXPECT_EQ(portal.questions, 1);
    }
}

TEST(LinuxPermissions, OutsideOfASandboxTheServersDecideAndNobodyIsAsked) {
    struct Row {
        const char* name;
        bool screen;
        MicrophoneAccess access;
        MicrophoneAuthorization expected;
        bool granted;
    };
    const Row rows[] = {
        {"allowed", true, MicrophoneAccess::allowed, MicrophoneAuthorization::authorized, true},
        {"refused", false, MicrophoneAccess::refused, MicrophoneAuthorization::denied, false},
        {"no server", true, MicrophoneAccess::noServer, MicrophoneAuthorization::restricted, false},
        {"no answer", true, MicrophoneAccess::unknown, MicrophoneAuthorization::other, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Portal portal;
        LinuxPermissions permissions(
            {[&] { return row.screen; }, [&] { return row.access; }, [] { return std::nullopt; }},
            portal);
        EXPECT_EQ(permissions.preflightScreenCaptureAccess(), row.screen);
        EXPECT_EQ(permissions.microphoneAuthorizationStatus(), row.expected);
        permissions.requestScreenCaptureAccess();
        std::optional<bool> answer;
        permissions.requestMicrophoneAccess([&](bool granted) { answer = granted; });
        EXPECT_EQ(answer, row.granted);
        EXPECT_EQ(portal.questions, 0);
    }
}

}  // namespace
}  // namespace quorvane::platform
