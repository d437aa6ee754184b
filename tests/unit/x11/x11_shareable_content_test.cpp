#include "platform/linux/x11/x11_shareable_content.h"

#include <chrono>
#include <future>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "platform/linux/x11/display_ids.h"
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

TEST(X11ShareableContent, ListsTheMonitorsInTheirOrder) {
    const XServer server("1024x768x24");
    XClient client(server.displayName());
    client.setMonitor("left", {0, 0, 600, 768});
    client.setMonitor("right", {600, 100, 424, 600}, true);

    X11ShareableContent source(server.displayName());
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
    X11ShareableContent source(server.displayName());
    const auto answer = answerOf(source, 5s);
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->content.displays.size(), 1u);
    EXPECT_EQ(answer->content.displays[0].frame, (support::Rect{0, 0, 640, 480}));
    EXPECT_NE(answer->content.displays[0].displayID, 0u);
    EXPECT_EQ(source.mainDisplayID(), answer->content.displays[0].displayID);
}

TEST(X11ShareableContent, SaysWhenThereIsNoServer) {
    X11ShareableContent source(":65000");
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

TEST(X11ShareableContent, ASilentServerBlocksNoCaller) {
    XServer server("640x480x24");
    server.freeze();
    X11ShareableContent source(server.displayName());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(answerOf(source, 200ms));
    EXPECT_EQ(source.mainDisplayID(), 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s);
}

}  // namespace
}  // namespace quorvane::platform::x11
