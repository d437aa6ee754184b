#include "sources/permissions.h"

#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::MicrophoneAuthorization;

struct Request {
    bool ended = false;
    sources::RecorderPermissions result;
};

support::Async<> ask(cli::Arguments arguments, SimPlatform& sim, std::shared_ptr<Request> request) {
    request->result = co_await sources::requestPermissions(std::move(arguments), sim.ports);
    EXPECT_FALSE(request->ended) << "resumed twice";
    request->ended = true;
}

std::shared_ptr<Request> start(SimPlatform& sim, std::vector<std::string> options) {
    options.insert(options.begin(), "--request-permissions");
    auto request = std::make_shared<Request>();
    support::startDetached(sim.dispatch.mainQueue(), ask(std::move(options), sim, request));
    return request;
}

TEST(RequestPermissions, AsksForWhatWasNamedAndIsStillOpen) {
    using Words = std::vector<std::string>;
    struct Row {
        const char* name;
        Words options;
        bool screenGranted;
        MicrophoneAuthorization microphone;
        Words asked;
        const char* microphoneAfter;
    };
    const auto open = MicrophoneAuthorization::notDetermined;
    const auto denied = MicrophoneAuthorization::denied;
    const Row rows[] = {
        {"no options", {}, false, open, {"screen"}, "not-determined"},
        {"screen granted already", {}, true, open, {}, "not-determined"},
        {"a screen without a value", {"--screen"}, false, open, {"screen"}, "not-determined"},
        {"screen 1", {"--screen", "1"}, false, open, {"screen"}, "not-determined"},
        {"screen YES", {"--screen", "YES"}, false, open, {"screen"}, "not-determined"},
        {"screen empty", {"--screen", ""}, false, open, {}, "not-determined"},
        {"only the microphone",
         {"--screen", "no", "--microphone", "yes"},
         false,
         open,
         {"microphone"},
         "granted"},
        {"both, the screen first",
         {"--microphone", "TRUE"},
         false,
         open,
         {"screen", "microphone"},
         "granted"},
        {"a microphone without a value", {"--microphone"}, true, open, {}, "not-determined"},
        {"microphone denied before", {"--microphone", "1"}, true, denied, {}, "denied"},
        {"microphone restricted",
         {"--microphone", "1"},
         true,
         MicrophoneAuthorization::restricted,
         {},
         "restricted"},
        {"microphone granted before",
         {"--microphone", "1"},
         true,
         MicrophoneAuthorization::authorized,
         {},
         "granted"},
        {"microphone unknown",
         {"--microphone", "1"},
         true,
         MicrophoneAuthorization::other,
         {},
         "unknown"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SimPlatform sim;
        sim.permissions.screenGranted = row.screenGranted;
        sim.permissions.microphone = row.microphone;
        const auto request = start(sim, row.options);
        sim.dispatch.settle();
        ASSERT_TRUE(request->ended);
        EXPECT_EQ(sim.permissions.asked, row.asked);
        EXPECT_EQ(request->result.microphone, row.microphoneAfter);
        EXPECT_EQ(request->result.screen, sim.permissions.screenGranted ? "granted" : "denied");
    }
}

TEST(RequestPermissions, WaitsForTheUserAndTellsWhatIsTrueAfterwards) {
    for (const bool grants : {true, false}) {
        SCOPED_TRACE(grants);
        SimPlatform sim;
        sim.permissions.microphone = MicrophoneAuthorization::notDetermined;
        sim.permissions.userGrants = grants;
        sim.permissions.userTakes = 1h;
        const auto request = start(sim, {"--microphone", "1"});
        sim.dispatch.advance(59min);
        EXPECT_FALSE(request->ended);
        sim.dispatch.advance(1min);
        ASSERT_TRUE(request->ended);
        EXPECT_EQ(request->result.microphone, grants ? "granted" : "denied");
        sim.dispatch.advance(1h);
    }
}

TEST(RequestMicrophoneAccess, GivesTheUsersAnswer) {
    for (const bool grants : {true, false}) {
        SimPlatform sim;
        sim.permissions.userGrants = grants;
        std::optional<bool> answer;
        const auto outcome =
            watch(sim.dispatch, [](SimPlatform& on, auto& into) -> support::Async<> {
                into = co_await sources::requestMicrophoneAccess(on.ports);
            }(sim, answer));
        sim.dispatch.settle();
        EXPECT_TRUE(outcome->ended);
        EXPECT_EQ(answer, grants);
    }
}

}  // namespace
}  // namespace quorvane::simulation
