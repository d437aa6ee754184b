// Applications recorded by the source: their windows alone, over black.
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/platform_error.h"
#include "unit/x11/colours.h"
#include "unit/x11/other_program.h"
#include "unit/x11/source_recording.h"
#include "unit/x11/x_client.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

CapturedContent ownWindowsOn(const Display& display) {
    return ApplicationContent{display, {RunningApplication{getpid(), "test", ""}}, {}};
}

StreamConfiguration sizeOf(int width, int height) {
    auto configuration = regionOf({0, 0, 640, 480}, width, height);
    configuration.showsCursor = false;
    return configuration;
}

struct ApplicationSource : testing::Test {
    ApplicationSource() { client.fill({0, 0, 640, 480}, 0x808080); }

    XServer server{"640x480x24"};
    XClient client{server.displayName()};
    Recording recording{server, ownWindowsOn(wholeScreen(640, 480)), sizeOf(640, 480)};
    const FrameLog& log = recording.log;
};

TEST_F(ApplicationSource, ShowsItsWindowsInPlaceAndStackingOverBlack) {
    const OtherProgram below(server, {0, 0, 640, 480}, blue);
    const std::uint32_t first = client.openWindow({50, 40, 200, 100}, red);
    client.openWindow({150, 90, 200, 100}, green);
    const OtherProgram above(server, {100, 0, 60, 480}, blue);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const Frame frame = log.frame(0);
    EXPECT_TRUE(isColour(frame.at(10, 10), black));
    EXPECT_TRUE(isColour(frame.at(60, 50), red));
    EXPECT_TRUE(isColour(frame.at(120, 60), red));  // beneath the other program's window
    EXPECT_TRUE(isColour(frame.at(200, 100), green));
    EXPECT_TRUE(isColour(frame.at(155, 120), green));
    EXPECT_TRUE(isColour(frame.at(120, 300), black));
    client.raiseWindow(first);
    EXPECT_TRUE(comesToShow(log, 200, 100, red));
    EXPECT_TRUE(isColour(log.last().at(300, 150), green));
}

TEST_F(ApplicationSource, FollowsWindowsThatComeMoveAndGo) {
    const std::uint32_t first = client.openWindow({50, 40, 200, 100}, red);
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    // A menu.
    const std::uint32_t menu = client.openWindow({60, 50, 50, 50}, green);
    EXPECT_TRUE(comesToShow(log, 80, 80, green));
    client.closeWindow(menu);
    EXPECT_TRUE(comesToShow(log, 80, 80, red));
    client.moveWindow(first, 300, 200);
    EXPECT_TRUE(comesToShow(log, 80, 80, black));
    EXPECT_TRUE(isColour(log.last().at(400, 250), red));
    client.resizeWindow(first, 20, 20);
    EXPECT_TRUE(comesToShow(log, 400, 250, black));
    EXPECT_TRUE(isColour(log.last().at(310, 210), red));
    client.moveWindow(first, 630, 470);  // half off the screen
    EXPECT_TRUE(comesToShow(log, 634, 474, red));
    client.unmapWindow(first);
    EXPECT_TRUE(comesToShow(log, 634, 474, black));
    client.moveWindow(first, 0, 0);
    client.mapWindow(first);
    EXPECT_TRUE(comesToShow(log, 10, 10, red));
    client.fillWindow(first, {0, 0, 20, 20}, white);
    EXPECT_TRUE(comesToShow(log, 10, 10, white));
    client.closeWindow(first);
    EXPECT_TRUE(comesToShow(log, 10, 10, black));
    EXPECT_EQ(log.endings(), 0u);
}

TEST_F(ApplicationSource, ShowsNothingOfOthersInAWindowThatDrawsNothing) {
    const OtherProgram below(server, {0, 0, 640, 480}, blue);
    const std::uint32_t bare = client.makeBareWindow({50, 40, 200, 100});
    const std::uint32_t other = client.openWindow({400, 300, 100, 100}, red);
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    client.fillWindow(other, {50, 50, 20, 20}, white);
    ASSERT_TRUE(comesToShow(log, 460, 360, white));  // it has noticed the window by now
    client.mapWindow(bare);
    const auto end = std::chrono::steady_clock::now() + 1100ms;
    for (std::uint32_t i = 1; std::chrono::steady_clock::now() < end; ++i) {
        client.fillWindow(other, {0, 0, 10, 10}, i * 0x030507);
        std::this_thread::sleep_for(40ms);
    }
    EXPECT_TRUE(isColour(log.last().at(150, 90), black));
    client.fillWindow(bare, {0, 0, 200, 100}, green);
    EXPECT_TRUE(comesToShow(log, 150, 90, green));
    for (std::size_t i = 0; i < log.count(); ++i)
        ASSERT_FALSE(isColour(log.frame(i).at(150, 90), blue)) << i;
}

// As when the user goes to another desktop: what the server paints beneath others is painted once.
TEST_F(ApplicationSource, ShowsAWindowThatComesCoveredWhileOthersMove) {
    const OtherProgram cover(server, {0, 0, 640, 480}, blue);
    const OtherProgram another(server, {600, 400, 20, 20}, white);
    const std::uint32_t window = client.makeWindow({50, 40, 200, 100}, red, 0);
    client.lowerWindow(window);
    const std::uint32_t own = client.openWindow({400, 300, 100, 100}, green);
    recording.start();
    ASSERT_TRUE(comesToShow(log, 450, 350, green));
    for (int i = 0; i < 10; ++i) {
        client.fillWindow(own, {0, 0, 100, 100}, i % 2 == 0 ? white : green);
        ASSERT_TRUE(comesToShow(log, 450, 350, i % 2 == 0 ? white : green));
        client.mapWindow(window);
        client.moveWindow(another.window(), 600, 400 + i);
        ASSERT_TRUE(comesToShow(log, 150, 90, red)) << i;
        client.unmapWindow(window);
        ASSERT_TRUE(comesToShow(log, 150, 90, black)) << i;
    }
}

TEST_F(ApplicationSource, KnowsItsWindowsInAManagersFrames) {
    const OtherProgram manager(server, {0, 0, 640, 480}, blue, {100, 100, 120, 90}, green);
    // Not managed yet: the frame is the manager's.
    const std::uint32_t window = client.makeWindow({0, 0, 100, 50}, red, 0);
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(isColour(log.last().at(110, 110), black));
    client.reparentWindow(window, manager.frame(), 10, 30);
    client.mapWindow(window);
    client.markManaged(window);
    EXPECT_TRUE(comesToShow(log, 105, 105, green));
    EXPECT_TRUE(isColour(log.last().at(150, 150), red));
    EXPECT_TRUE(isColour(log.last().at(20, 20), black));
    client.closeWindow(window);
    client.openWindow({0, 0, 10, 10}, white);
    EXPECT_TRUE(comesToShow(log, 5, 5, white));
}

// Between two frames the root window is told of nothing.
TEST_F(ApplicationSource, FollowsItsWindowsFromOneFrameToAnother) {
    const OtherProgram manager(server, {300, 100, 120, 90}, blue, {100, 100, 120, 90}, green);
    const std::uint32_t window = client.makeWindow({0, 0, 100, 50}, red, 0);
    client.reparentWindow(window, manager.frame(), 10, 30);
    client.mapWindow(window);
    client.markManaged(window);
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(comesToShow(log, 105, 105, green));
    client.reparentWindow(window, manager.window(), 10, 30);
    EXPECT_TRUE(comesToShow(log, 305, 105, blue));
    EXPECT_TRUE(isColour(log.last().at(350, 150), red));
    EXPECT_TRUE(isColour(log.last().at(105, 105), black));
    client.reparentWindow(window, manager.frame(), 10, 30);
    EXPECT_TRUE(comesToShow(log, 105, 105, green));
    EXPECT_TRUE(isColour(log.last().at(305, 105), black));
}

TEST_F(ApplicationSource, DeliversNothingForWhatOthersDrawAndWhatIsCovered) {
    const OtherProgram other(server, {0, 200, 640, 200}, blue);
    const std::uint32_t lower = client.openWindow({50, 40, 100, 100}, red);
    client.openWindow({50, 40, 100, 100}, green);
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    const std::size_t count = log.waitForQuiet();
    client.fillWindow(lower, {0, 0, 100, 100}, white);
    other.draw();
    client.fill({0, 0, 10, 10}, white);
    EXPECT_EQ(log.waitForQuiet(), count);
}

TEST_F(ApplicationSource, IsFittedIntoTheOutput) {
    client.openWindow({0, 0, 640, 480}, red);
    Recording fitted(server, ownWindowsOn(wholeScreen(640, 480)), sizeOf(400, 200));
    fitted.start();
    ASSERT_TRUE(fitted.log.waitForCount(1));
    const Frame frame = fitted.log.frame(0);
    EXPECT_EQ(frame.width, 400);
    EXPECT_TRUE(isColour(frame.at(60, 100), black));
    EXPECT_TRUE(isColour(frame.at(72, 2), red));
    EXPECT_TRUE(isColour(frame.at(328, 198), red));
    EXPECT_TRUE(isColour(frame.at(340, 100), black));
}

TEST_F(ApplicationSource, ShowsOneDisplayAndEndsWithIt) {
    client.setMonitor("left", {0, 0, 300, 480});
    client.setMonitor("right", {300, 0, 340, 480});
    client.openWindow({200, 0, 200, 480}, red);
    Recording right(server, ownWindowsOn({idOf("right"), 340, 480, {300, 0, 340, 480}}),
                    regionOf({0, 0, 340, 480}, 340, 480));
    right.start();
    ASSERT_TRUE(right.log.waitForCount(1));
    EXPECT_TRUE(isColour(right.log.frame(0).at(98, 100), red));
    EXPECT_TRUE(isColour(right.log.frame(0).at(102, 100), black));
    client.deleteMonitor("right");
    ASSERT_TRUE(right.log.waitForEnd());
    EXPECT_EQ(descriptionOf(right.log.ended()),
              "The display that is being recorded was disconnected.");
}

TEST_F(ApplicationSource, KeepsToTheShapesOfItsWindows) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    client.shapeWindow(window, {{0, 0, 100, 100}});
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(isColour(log.frame(0).at(100, 90), red));
    EXPECT_TRUE(isColour(log.frame(0).at(200, 90), black));
    client.shapeWindow(window, {{100, 0, 100, 100}});
    EXPECT_TRUE(comesToShow(log, 100, 90, black));
    EXPECT_TRUE(isColour(log.last().at(200, 90), red));
}

TEST_F(ApplicationSource, TranslucentWindowsLieOverItsOthersAndBlack) {
    client.claimToComposite();
    const OtherProgram beneath(server, {0, 0, 640, 480}, blue);
    client.openWindow({50, 40, 100, 100}, red);
    const std::uint32_t half = client.openWindow({100, 40, 100, 100}, white);
    client.setProperty(half, "_NET_WM_WINDOW_OPACITY", {0x80000000});
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(comesToShow(log, 125, 90, 0xFF8080));
    EXPECT_TRUE(isColour(log.last().at(180, 90), grey));
    EXPECT_TRUE(isColour(log.last().at(70, 90), red));
}

// Some compositing managers keep them mapped, without showing them.
TEST_F(ApplicationSource, LeavesOutMinimisedWindowsThatStayMapped) {
    const OtherProgram manager(server, {0, 0, 10, 10}, blue, {100, 100, 120, 90}, green);
    client.openWindow({100, 100, 60, 90}, white);
    const std::uint32_t window = client.makeWindow({0, 0, 100, 50}, red, 0);
    client.reparentWindow(window, manager.frame(), 10, 30);
    client.mapWindow(window);
    client.raiseWindow(manager.frame());
    client.setProperty(window, "WM_STATE", {3, 0});
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(isColour(log.frame(0).at(120, 150), white));
    EXPECT_TRUE(isColour(log.frame(0).at(180, 150), black));
    client.markManaged(window);
    EXPECT_TRUE(comesToShow(log, 180, 150, red));
    EXPECT_TRUE(isColour(log.last().at(120, 150), red));
    EXPECT_TRUE(isColour(log.last().at(105, 105), green));
    client.setStates(window, {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_HIDDEN"});
    EXPECT_TRUE(comesToShow(log, 180, 150, black));
    EXPECT_TRUE(isColour(log.last().at(120, 150), white));
    client.fillWindow(window, {0, 0, 100, 50}, blue);
    client.setStates(window, {"_NET_WM_STATE_ABOVE"});
    EXPECT_TRUE(comesToShow(log, 180, 150, blue));
    client.setProperty(window, "WM_STATE", {3, 0});
    EXPECT_TRUE(comesToShow(log, 180, 150, black));
}

TEST_F(ApplicationSource, ShowsTheTitlesOfWindowsThatAreRolledUp) {
    const std::uint32_t window = client.openWindow({100, 100, 120, 20}, red);
    client.setProperty(window, "WM_STATE", {3, 0});
    client.setStates(window, {"_NET_WM_STATE_HIDDEN"});
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(isColour(log.frame(0).at(110, 110), black));
    client.setStates(window, {"_NET_WM_STATE_HIDDEN", "_NET_WM_STATE_SHADED"});
    EXPECT_TRUE(comesToShow(log, 110, 110, red));
}

TEST_F(ApplicationSource, LeavesOutAFrameOnlyWhenAllWindowsInItAreHidden) {
    const OtherProgram manager(server, {0, 0, 10, 10}, blue, {100, 100, 120, 90}, green);
    std::uint32_t tabs[2];
    for (std::uint32_t& tab : tabs) {
        tab = client.makeWindow({0, 0, 100, 50}, red, 0);
        client.reparentWindow(tab, manager.frame(), 10, 30);
        client.mapWindow(tab);
        client.markManaged(tab);
    }
    client.setProperty(tabs[0], "WM_STATE", {3, 0});
    client.setProperty(tabs[1], "WM_STATE", {3, 0});
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(isColour(log.frame(0).at(105, 105), black));
    for (const std::uint32_t tab : tabs) {
        client.markManaged(tab);
        EXPECT_TRUE(comesToShow(log, 105, 105, green));
        client.setProperty(tab, "WM_STATE", {3, 0});
        EXPECT_TRUE(comesToShow(log, 105, 105, black));
    }
}

TEST_F(ApplicationSource, AFrameBelongsToTheProgramWhoseWindowInItIsNotHidden) {
    const OtherProgram manager(server, {0, 0, 100, 50}, blue, {100, 100, 120, 90}, green);
    const std::uint32_t window = client.makeWindow({0, 0, 100, 50}, red, 0);
    client.reparentWindow(window, manager.frame(), 10, 30);
    client.mapWindow(window);
    client.markManaged(window);
    client.reparentWindow(manager.window(), manager.frame(), 10, 30);
    client.setProperty(manager.window(), "WM_STATE", {3, 0});
    recording.start();
    ASSERT_TRUE(log.waitForCount(1));
    EXPECT_TRUE(isColour(log.frame(0).at(105, 105), green));
    client.markManaged(manager.window());
    EXPECT_TRUE(comesToShow(log, 105, 105, black));
}

TEST_F(ApplicationSource, CannotLeaveOutWindows) {
    Window window;
    ApplicationContent content{wholeScreen(640, 480), {RunningApplication{getpid(), "", ""}}, {}};
    content.exceptingWindows.push_back(window);
    Recording refused(server, content, regionOf({0, 0, 640, 480}, 640, 480));
    EXPECT_THROW(refused.start(), PlatformError);
}

TEST_F(ApplicationSource, AWindowUnderTheIdentifierOfOneThatHasGoneIsAnother) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(log.frame(0).at(60, 50), red));
    client.replaceWindow(window, {300, 200, 100, 60}, blue);
    EXPECT_TRUE(comesToShow(log, 310, 210, blue));
    EXPECT_TRUE(isColour(log.last().at(60, 50), black));
    // What is drawn in it is seen.
    client.fillWindow(window, {0, 0, 50, 60}, green);
    EXPECT_TRUE(comesToShow(log, 310, 210, green));
}

}  // namespace
}  // namespace quorvane::platform::x11
