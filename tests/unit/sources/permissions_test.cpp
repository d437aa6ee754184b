#include "sources/permissions.h"

#include <gtest/gtest.h>

namespace quorvane::sources {
namespace {

using platform::MicrophoneAuthorization;

struct States final : platform::Permissions {
    bool screen = false;
    MicrophoneAuthorization microphone = MicrophoneAuthorization::other;

    bool preflightScreenCaptureAccess() override { return screen; }
    MicrophoneAuthorization microphoneAuthorizationStatus() override { return microphone; }
    void requestScreenCaptureAccess() override { ADD_FAILURE() << "the user was asked"; }
    void requestMicrophoneAccess(Answer) override { ADD_FAILURE() << "the user was asked"; }
};

TEST(PermissionStatus, HasOneTextForEachStateAndAsksNobody) {
    struct Row {
        bool screen;
        MicrophoneAuthorization microphone;
        const char* expected;
    };
    const Row rows[] = {
        {true, MicrophoneAuthorization::authorized,
         R"({"microphone":"granted","screen":"granted"})"},
        {false, MicrophoneAuthorization::notDetermined,
         R"({"microphone":"not-determined","screen":"denied"})"},
        {false, MicrophoneAuthorization::restricted,
         R"({"microphone":"restricted","screen":"denied"})"},
        {true, MicrophoneAuthorization::denied, R"({"microphone":"denied","screen":"granted"})"},
        {false, MicrophoneAuthorization::other, R"({"microphone":"unknown","screen":"denied"})"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        States states;
        states.screen = row.screen;
        states.microphone = row.microphone;
        EXPECT_EQ(support::jsonText(permissionStatus(states), support::JsonOrder::sorted),
                  row.expected);
    }
}

}  // namespace
}  // namespace quorvane::sources
