#include "platform/linux/x11/x11_shareable_content.h"

#include <atomic>
#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/linux/x11/display_ids.h"
#include "platform/linux/x11/x11_screen_access.h"
#include "platform/platform_error.h"
#include "unit/x11/x_client.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

struct Answer {
    std::exception_ptr error;
    ShareableContent content;
};

// Knows nobody but by what a window says of itself.
class NoNames final : public ApplicationDirectory {
  public:
    std::vector<RunningApplication> describe(std::span<const ProcessWindows> processes) override {
        std::vector<RunningApplication> applications;
        for (const ProcessWindows& process : processes) {
            const bool known = !process.windows.empty();
            applications.push_back(
                {.processID = process.processID,
                 .applicationName = known ? process.windows[0].className : "",
                 .bundleIdentifier = known ? process.windows[0].applicationID : ""});
        }
        return applications;
    }
};

std::shared_ptr<ApplicationDirectory> noNames() {
    return std::make_shared<NoNames>();
}

std::optional<Answer> answerOf(X11ShareableContent& source, std::chrono::milliseconds patience) {
    const auto promise = std::make_shared<std::promise<Answer>>();
    auto future = promise->get_future();
    source.getShareableContent(false, true,
                               [promise](std::exception_ptr error, ShareableContent content) {
                                   promise->set_value({error, std::move(content)});
                               });
    if (future.wait_for(patience) != std::future_status::ready) return std::nullopt;
    return future.get();
}

std::vector<Window> windowsOf(const XServer& server) {
    X11ShareableContent source(noNames(), server.displayName());
    const auto answer = answerOf(source, 5s);
    EXPECT_TRUE(answer && !answer->error);
    return answer ? answer->content.windows : std::vector<Window>();
}

TEST(X11ShareableContent, ListsTheMonitorsInTheirOrder) {
    const XServer server("1024x768x24");
    XClient client(server.displayName());
    client.setMonitor("left", {0, 0, 600, 768});
    client.setMonitor("right", {600, 100, 424, 600}, true);

    X11ShareableContent source(noNames(), server.displayName());
    const auto answer = answerOf(source, 5s);
    ASSERT_TRUE(answer);
    ASSERT_FALSE(answer->error);
    const auto& displays = answer->content.displays;
    const auto ids = displayIDsOf(std::vector<std::string>{"left", "right"});
    const auto find = [&](std::uint32_t id) -> const Display* {
        for (const Display& display : displays) {
            if (display.displayID == id) return &display;
        }
        return nullptr;
    };
    const Display* left = find(ids[0]);
    const Display* right = find(ids[1]);
    ASSERT_NE(left, nullptr);
    ASSERT_NE(right, nullptr);
    EXPECT_EQ(left->frame, (support::Rect{0, 0, 600, 768}));
    EXPECT_EQ(left->width, 600);
    EXPECT_EQ(left->height, 768);
    EXPECT_EQ(right->frame, (support::Rect{600, 100, 424, 600}));
    EXPECT_EQ(source.mainDisplayID(), ids[1]);
    EXPECT_TRUE(answer->content.windows.empty());
    EXPECT_TRUE(answer->content.applications.empty());
}

TEST(X11ShareableContent, TakesTheFirstDisplayForTheMainOneWhenNoneIsPrimary) {
    const XServer server("640x480x24");
    X11ShareableContent source(noNames(), server.displayName());
    const auto answer = answerOf(source, 5s);
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->content.displays.size(), 1u);
    EXPECT_EQ(answer->content.displays[0].frame, (support::Rect{0, 0, 640, 480}));
    EXPECT_NE(answer->content.displays[0].displayID, 0u);
    EXPECT_EQ(source.mainDisplayID(), answer->content.displays[0].displayID);
}

TEST(X11ShareableContent, SaysWhenThereIsNoServer) {
    X11ShareableContent source(noNames(), ":65000");
    const auto answer = answerOf(source, 5s);
    ASSERT_TRUE(answer);
    ASSERT_TRUE(answer->error);
    try {
        std::rethrow_exception(answer->error);
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), "X11");
        EXPECT_EQ(error.code(), 1);
        EXPECT_EQ(error.description(), "Could not connect to the X server :65000.");
    }
    EXPECT_EQ(source.mainDisplayID(), 0u);
}

TEST(X11ShareableContent, ListsLooseWindowsTopmostFirstWithTheProcessThatMadeThem) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    const auto low = client.openWindow({10, 20, 30, 40}, 0xFF0000);
    const auto high = client.openWindow({600, 20, 300, 40}, 0x00FF00);
    X11ShareableContent source(noNames(), server.displayName());
    const auto answer = answerOf(source, 5s);
    ASSERT_TRUE(answer);
    ASSERT_FALSE(answer->error);
    const auto& windows = answer->content.windows;
    ASSERT_EQ(windows.size(), 2u);
    EXPECT_EQ(windows[0].windowID, high);
    EXPECT_EQ(windows[0].frame, (support::Rect{600, 20, 300, 40}));
    EXPECT_EQ(windows[1].windowID, low);
    EXPECT_EQ(windows[1].title, std::nullopt);
    EXPECT_TRUE(windows[1].isOnScreen);
    EXPECT_FALSE(windows[1].isActive);
    EXPECT_NE(windows[1].windowLayer, 0) << "no window manager touches it";
    ASSERT_TRUE(windows[1].owningApplication);
    EXPECT_EQ(windows[1].owningApplication->processID, getpid());
    EXPECT_EQ(answer->content.applications.size(), 1u);
}

TEST(X11ShareableContent, WindowsThatVanishWhileTheyAreListedAreNoError) {
    const XServer server("640x480x24");
    std::atomic<bool> done = false;
    std::thread churn([&] {
        XClient client(server.displayName());
        while (!done) {
            std::vector<std::uint32_t> windows;
            for (int count = 0; count < 20; ++count)
                windows.push_back(client.openWindow({10, 20, 30, 40}, 0));
            for (const auto window : windows)
                client.closeWindow(window);
        }
    });
    X11ShareableContent source(noNames(), server.displayName());
    for (int turn = 0; turn < 50; ++turn) {
        const auto answer = answerOf(source, 20s);
        EXPECT_TRUE(answer);
        EXPECT_TRUE(!answer || !answer->error);
    }
    done = true;
    churn.join();
}

TEST(X11ShareableContent, WithoutTheServersHelpAWindowIsWhoseItSaysButOnThisMachineOnly) {
    const XServer server("640x480x24", {"-extension", "X-Resource"});
    XClient client(server.displayName());
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    const auto silent = client.openWindow({10, 20, 30, 40}, 0);
    const auto homeless = client.openWindow({10, 20, 30, 40}, 0);
    client.setProperty(homeless, "_NET_WM_PID", {11});
    const auto remote = client.openWindow({10, 20, 30, 40}, 0);
    client.setProperty(remote, "_NET_WM_PID", {22});
    client.setText(remote, "WM_CLIENT_MACHINE", std::string(host) + ".elsewhere");
    const auto local = client.openWindow({10, 20, 30, 40}, 0);
    client.setProperty(local, "_NET_WM_PID", {33});
    client.setText(local, "WM_CLIENT_MACHINE", host);

    const auto windows = windowsOf(server);
    ASSERT_EQ(windows.size(), 4u);
    EXPECT_EQ(windows[0].windowID, local);
    ASSERT_TRUE(windows[0].owningApplication);
    EXPECT_EQ(windows[0].owningApplication->processID, 33);
    EXPECT_EQ(windows[1].windowID, remote);
    EXPECT_FALSE(windows[1].owningApplication);
    EXPECT_EQ(windows[2].windowID, homeless);
    EXPECT_FALSE(windows[2].owningApplication);
    EXPECT_EQ(windows[3].windowID, silent);
    EXPECT_FALSE(windows[3].owningApplication);
}

TEST(X11ShareableContent, TheServersWordGoesBeforeTheWindows) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    const auto window = client.openWindow({10, 20, 30, 40}, 0);
    client.setProperty(window, "_NET_WM_PID", {1});
    client.setText(window, "_GTK_APPLICATION_ID", "org.example.Editor");
    const auto windows = windowsOf(server);
    ASSERT_EQ(windows.size(), 1u);
    const auto& owner = windows[0].owningApplication;
    ASSERT_TRUE(owner);
    EXPECT_EQ(owner->processID, getpid());
    EXPECT_EQ(owner->bundleIdentifier, "org.example.Editor");
}

// A window manager that tells nothing on the root window puts programs' windows into frames of its
// own and marks them, as the Inter-Client Communication Conventions (4.1.3.1) have it.
TEST(X11ShareableContent, FindsProgramsWindowsWithinTheFramesOfAPlainWindowManager) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    const auto frame = client.openWindow({100, 50, 210, 130}, 0);
    const auto title = client.makeWindow({0, 0, 210, 20}, 0, frame);
    const auto inner = client.makeWindow({5, 25, 200, 100}, 0, frame);
    const auto window = client.makeWindow({0, 0, 200, 100}, 0, inner);
    for (const auto each : {title, inner, window})
        client.mapWindow(each);
    client.markManaged(window);
    const auto menu = client.openWindow({400, 300, 50, 60}, 0);

    const auto windows = windowsOf(server);
    ASSERT_EQ(windows.size(), 2u);
    EXPECT_EQ(windows[0].windowID, menu);
    EXPECT_NE(windows[0].windowLayer, 0);
    EXPECT_EQ(windows[1].windowID, window);
    EXPECT_EQ(windows[1].frame, (support::Rect{100, 50, 210, 130}));
    EXPECT_TRUE(windows[1].isOnScreen);
    // Put away by its manager: its frame goes, and it says so.
    client.unmapWindow(frame);
    client.setProperty(window, "WM_STATE", {3, 0});
    for (const auto& each : windowsOf(server))
        EXPECT_FALSE(each.windowID == window && each.isOnScreen);
}

// Some managers list their windows only as they came.
TEST(X11ShareableContent, WindowsAreInTheirStackingWhateverOrderTheirManagerListsThemIn) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    const auto manager = client.openWindow({0, 0, 1, 1}, 0);
    for (const auto holder : {client.root(), manager})
        client.setProperty(holder, "_NET_SUPPORTING_WM_CHECK", {manager});
    const auto first = client.openWindow({10, 20, 30, 40}, 0);
    const auto second = client.openWindow({20, 20, 30, 40}, 0);
    const auto third = client.openWindow({30, 20, 30, 40}, 0);
    client.setProperty(client.root(), "_NET_CLIENT_LIST", {first, second, third});
    client.raiseWindow(first);
    std::vector<std::uint32_t> order;
    for (const auto& window : windowsOf(server))
        order.push_back(window.windowID);
    EXPECT_EQ(order, (std::vector<std::uint32_t>{first, third, second, manager}));
}

TEST(X11ShareableContent, AServerThatEndsMeanwhileIsAnError) {
    XServer server("640x480x24");
    server.freeze();
    X11ShareableContent source(noNames(), server.displayName());
    const auto promise = std::make_shared<std::promise<std::exception_ptr>>();
    source.getShareableContent(false, true,
                               [promise](std::exception_ptr error, const ShareableContent&) {
                                   promise->set_value(error);
                               });
    std::this_thread::sleep_for(100ms);
    server.kill();
    auto error = promise->get_future();
    ASSERT_EQ(error.wait_for(10s), std::future_status::ready);
    EXPECT_THROW(std::rethrow_exception(error.get()), PlatformError);
}

TEST(X11ScreenAccess, IsThereWhenTheServerHandsOutItsPixels) {
    XServer server("640x480x24");
    EXPECT_TRUE(canReadScreen(server.displayName()));
    EXPECT_FALSE(canReadScreen(":65000"));
    server.freeze();
    EXPECT_FALSE(canReadScreen(server.displayName()));
}

TEST(X11ShareableContent, ASilentServerBlocksNoCaller) {
    XServer server("640x480x24");
    server.freeze();
    X11ShareableContent source(noNames(), server.displayName(), 500ms);
    const auto answer = answerOf(source, 10s);
    ASSERT_TRUE(answer);
    try {
        std::rethrow_exception(answer->error);
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.code(), 1001);
        EXPECT_EQ(error.description(), "The X server does not answer.");
    }
    EXPECT_EQ(source.mainDisplayID(), 0u);
}

}  // namespace
}  // namespace quorvane::platform::x11
