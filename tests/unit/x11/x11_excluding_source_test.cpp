// Displays recorded by the source without some windows.
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "unit/x11/colours.h"
#include "unit/x11/source_recording.h"
#include "unit/x11/x_client.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

CapturedContent without(const std::vector<std::uint32_t>& identifiers,
                        const Display& display = wholeScreen(640, 480)) {
    DisplayContent content{display, {}, identifiers};
    for (const std::uint32_t identifier : identifiers) {
        Window window;
        window.windowID = identifier;
        content.excludingWindows.push_back(window);
    }
    return content;
}

StreamConfiguration whole() {
    return regionOf({0, 0, 640, 480}, 640, 480);
}

struct ExcludingSource : testing::Test {
    ExcludingSource() {
        client.setRootBackground(brown);
        client.movePointer(639, 479);
    }

    XServer server{"640x480x24"};
    XClient client{server.displayName()};
};

TEST_F(ExcludingSource, ShowsWhatLiesBeneath) {
    client.openWindow({0, 0, 320, 480}, blue);
    client.fill({600, 0, 10, 10}, white);  // on the root window itself
    const std::uint32_t left = client.openWindow({100, 100, 400, 200}, red);
    client.openWindow({200, 150, 50, 50}, green);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const Frame frame = recording.log.frame(0);
    EXPECT_TRUE(isColour(frame.at(10, 10), blue));
    EXPECT_TRUE(isColour(frame.at(110, 110), blue));
    EXPECT_TRUE(isColour(frame.at(220, 170), green));
    EXPECT_TRUE(isColour(frame.at(400, 200), brown));
    EXPECT_TRUE(isColour(frame.at(550, 400), brown));
    EXPECT_TRUE(isColour(frame.at(604, 4), white));
    // On the screen nothing has changed.
    EXPECT_EQ(client.get({110, 110, 1, 1})[0] & 0xFFFFFF, red);
    EXPECT_EQ(client.get({400, 200, 1, 1})[0] & 0xFFFFFF, red);
}

TEST_F(ExcludingSource, FollowsWhatMovesBeneathAndBeside) {
    const std::uint32_t beneath = client.openWindow({0, 0, 320, 480}, blue);
    const std::uint32_t left = client.openWindow({100, 100, 200, 200}, red);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.fillWindow(beneath, {100, 100, 20, 20}, green);
    EXPECT_TRUE(comesToShow(recording.log, 110, 110, green));
    client.moveWindow(beneath, 10, 0);
    EXPECT_TRUE(comesToShow(recording.log, 4, 200, brown));
    EXPECT_TRUE(isColour(recording.log.last().at(124, 110), green));
    client.fill({600, 400, 10, 10}, white);
    EXPECT_TRUE(comesToShow(recording.log, 604, 404, white));
    client.closeWindow(beneath);
    EXPECT_TRUE(comesToShow(recording.log, 150, 150, brown));
    // The root window's background itself.
    client.setRootBackground(green);
    EXPECT_TRUE(comesToShow(recording.log, 500, 50, green));
    EXPECT_TRUE(comesToShow(recording.log, 150, 150, green));
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_FALSE(isColour(recording.log.frame(i).at(200, 200), red)) << i;
}

TEST_F(ExcludingSource, DeliversNothingForWhatIsLeftOut) {
    const std::uint32_t left = client.openWindow({100, 100, 200, 200}, red);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const std::size_t count = recording.log.waitForQuiet();
    for (std::uint32_t i = 0; i < 10; ++i) {
        client.fillWindow(left, {0, 0, 200, 200}, i * 0x102030);
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_EQ(recording.log.waitForQuiet(), count);
    client.moveWindow(left, 120, 110);
    client.fill({600, 0, 10, 10}, white);
    EXPECT_TRUE(comesToShow(recording.log, 604, 4, white));
    EXPECT_TRUE(isColour(recording.log.last().at(110, 105), brown));
    EXPECT_TRUE(isColour(recording.log.last().at(310, 305), brown));
}

TEST_F(ExcludingSource, IsThePlainScreenWhileNoneOfTheWindowsExists) {
    // The identifier of a window that will be made.
    const std::uint32_t left = client.makeWindow({100, 100, 200, 200}, red, 0);
    Recording recording(server, without({left, 0x12345678}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(150, 150), brown));
    client.fill({150, 150, 10, 10}, white);
    EXPECT_TRUE(comesToShow(recording.log, 154, 154, white));

    client.mapWindow(left);
    const std::uint32_t beside = client.openWindow({0, 0, 20, 20}, green);
    EXPECT_TRUE(comesToShow(recording.log, 10, 10, green));
    client.unmapWindow(left);
    client.fillWindow(beside, {0, 0, 20, 20}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 10, 10, blue));
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_FALSE(isColour(recording.log.frame(i).at(200, 200), red)) << i;
}

TEST_F(ExcludingSource, NeverShowsAWindowThatComesAndGoesAndComes) {
    const std::uint32_t left = client.makeWindow({100, 100, 200, 200}, red, 0);
    auto configuration = whole();
    configuration.minimumFrameInterval = 2ms;
    Recording recording(server, without({left}), configuration);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    constexpr std::size_t fewest = 5;
    for (std::uint32_t i = 0; i < 60 || (i < 2000 && recording.log.count() < fewest); ++i) {
        if (i % 2 == 0) client.mapWindow(left);
        client.fill({500, 0, 10, 10}, i * 0x030507);
        if (i % 2 == 1) client.unmapWindow(left);
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 7));
    }
    recording.log.waitForQuiet();
    EXPECT_GE(recording.log.count(), fewest);
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(200, 200), brown)) << i;
}

TEST_F(ExcludingSource, LeavesOutTheFrameThatAManagerPutsAroundAWindow) {
    XClient manager(server.displayName());
    const std::uint32_t left = client.makeWindow({0, 0, 100, 80}, red, 0);
    const std::uint32_t frame = manager.makeWindow({100, 100, 120, 120}, blue, 0);
    manager.reparentWindow(left, frame, 10, 30);
    manager.mapWindow(left);
    manager.mapWindow(frame);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(105, 105), brown));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(150, 160), brown));
    manager.reparentWindow(left, 0, 300, 300);
    EXPECT_TRUE(comesToShow(recording.log, 105, 105, blue));
    EXPECT_TRUE(comesToShow(recording.log, 150, 160, blue));
    EXPECT_TRUE(isColour(recording.log.last().at(350, 340), brown));
}

// Between two frames the root window is told of nothing.
TEST_F(ExcludingSource, NeverShowsAWindowThatGoesFromOneFrameToAnother) {
    XClient manager(server.displayName());
    const std::uint32_t left = client.makeWindow({0, 0, 100, 80}, red, 0);
    const std::uint32_t frames[] = {manager.makeWindow({50, 100, 120, 120}, blue, 0),
                                    manager.makeWindow({250, 100, 120, 120}, green, 0),
                                    manager.makeWindow({450, 100, 120, 120}, blue, 0)};
    for (const std::uint32_t frame : frames)
        manager.mapWindow(frame);
    auto configuration = whole();
    configuration.minimumFrameInterval = 2ms;
    Recording recording(server, without({left}), configuration);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    manager.reparentWindow(left, frames[0], 10, 30);
    manager.mapWindow(left);
    ASSERT_TRUE(comesToShow(recording.log, 55, 105, brown));

    const std::uint32_t beside = client.openWindow({0, 0, 20, 20}, white);
    constexpr std::size_t fewest = 20;
    for (std::uint32_t i = 1; i < 60 || (i < 2000 && recording.log.count() < fewest); ++i) {
        manager.reparentWindow(left, frames[i % 3], 10, 30);
        client.fillWindow(beside, {0, 0, 20, 20}, i * 0x030507);
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 7));
    }
    // Its frame is what is left out, and the others are back.
    manager.reparentWindow(left, frames[1], 10, 30);
    EXPECT_TRUE(comesToShow(recording.log, 255, 105, brown));
    EXPECT_TRUE(comesToShow(recording.log, 55, 105, blue));
    EXPECT_TRUE(comesToShow(recording.log, 455, 105, blue));
    EXPECT_GE(recording.log.count(), fewest);
    for (std::size_t i = 0; i < recording.log.count(); ++i) {
        for (const int x : {110, 310, 510})
            EXPECT_FALSE(isColour(recording.log.frame(i).at(x, 170), red)) << i << ", " << x;
    }
}

TEST_F(ExcludingSource, NeverShowsAWindowInWhatGoesFromOneFrameToAnother) {
    XClient manager(server.displayName());
    const std::uint32_t first = manager.makeWindow({50, 100, 120, 120}, blue, 0);
    const std::uint32_t second = manager.makeWindow({250, 100, 120, 120}, green, 0);
    const std::uint32_t inner = manager.makeWindow({10, 30, 100, 80}, blue, first);
    const std::uint32_t left = client.makeWindow({0, 0, 100, 80}, red, inner);
    for (const std::uint32_t window : {inner, first, second})
        manager.mapWindow(window);
    client.mapWindow(left);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(55, 105), brown));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(255, 105), green));
    manager.reparentWindow(inner, second, 10, 30);
    EXPECT_TRUE(comesToShow(recording.log, 255, 105, brown));
    EXPECT_TRUE(comesToShow(recording.log, 55, 105, blue));
    // What contains it now is followed as well.
    const std::uint32_t other = manager.makeWindow({10, 30, 100, 80}, green, second);
    manager.mapWindow(other);
    manager.reparentWindow(left, other, 0, 0);
    manager.reparentWindow(other, first, 10, 30);
    EXPECT_TRUE(comesToShow(recording.log, 55, 105, brown));
    EXPECT_TRUE(comesToShow(recording.log, 255, 105, green));
    for (std::size_t i = 0; i < recording.log.count(); ++i) {
        for (const int x : {110, 310})
            EXPECT_FALSE(isColour(recording.log.frame(i).at(x, 170), red)) << i << ", " << x;
    }
}

// The looks at the windows' properties select of the same windows.
TEST_F(ExcludingSource, NeverShowsAWindowInAnotherFrameAfterItsPropertiesWereRead) {
    XClient manager(server.displayName());
    const std::uint32_t first = manager.makeWindow({50, 100, 120, 120}, blue, 0);
    const std::uint32_t second = manager.makeWindow({250, 100, 120, 120}, green, 0);
    const std::uint32_t left = client.makeWindow({10, 30, 100, 80}, red, first);
    manager.mapWindow(first);
    manager.mapWindow(second);
    client.mapWindow(left);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(55, 105), brown));
    manager.markManaged(left);
    manager.setProperty(first, "_NET_WM_WINDOW_OPACITY", {0xFFFFFFFF});
    const std::uint32_t beside = client.openWindow({0, 0, 20, 20}, white);
    ASSERT_TRUE(comesToShow(recording.log, 10, 10, white));
    manager.reparentWindow(left, second, 10, 30);
    client.fillWindow(beside, {0, 0, 20, 20}, grey);
    EXPECT_TRUE(comesToShow(recording.log, 255, 105, brown));
    EXPECT_TRUE(comesToShow(recording.log, 55, 105, blue));
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_FALSE(isColour(recording.log.frame(i).at(310, 170), red)) << i;
}

TEST_F(ExcludingSource, ShowsThePictureThatADesktopHasSet) {
    client.setDesktopPicture(0x204060);
    const std::uint32_t left = client.openWindow({100, 100, 200, 200}, red);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(200, 200), 0x204060));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(50, 50), 0x204060));
    client.setDesktopPicture(0x60A020);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, 0x60A020));
    EXPECT_TRUE(comesToShow(recording.log, 50, 50, 0x60A020));
}

TEST_F(ExcludingSource, ShowsTranslucentWindowsAsTheScreenDoes) {
    const std::uint32_t left = client.openWindow({100, 100, 400, 200}, red);
    const std::uint32_t half = client.openWindow({150, 150, 50, 50}, white);
    client.setProperty(half, "_NET_WM_WINDOW_OPACITY", {0x80000000});
    const std::uint32_t tinted = client.openBareWindow({250, 150, 50, 50}, true);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.fillWindow(tinted, {0, 0, 50, 50}, 0x80008000);
    // Nobody composites: opaque.
    EXPECT_TRUE(comesToShow(recording.log, 270, 170, 0x008000));
    EXPECT_TRUE(isColour(recording.log.last().at(170, 170), white));
    client.claimToComposite();
    client.setDesktopPicture(blue);
    EXPECT_TRUE(comesToShow(recording.log, 170, 170, 0x8080FF));
    EXPECT_TRUE(comesToShow(recording.log, 270, 170, 0x00807F));
    client.setProperty(half, "_NET_WM_WINDOW_OPACITY", {0xFFFFFFFF});
    EXPECT_TRUE(comesToShow(recording.log, 170, 170, white));
    // Its order counts, though it moves nowhere.
    client.moveWindow(half, 250, 150);
    EXPECT_TRUE(comesToShow(recording.log, 270, 170, 0x80FF80 - 0x000100));
    client.raiseWindow(half);
    EXPECT_TRUE(comesToShow(recording.log, 270, 170, white));
}

TEST_F(ExcludingSource, LeavesOutMinimisedWindowsWhereACompositingManagerKeepsThemMapped) {
    client.setDesktopPicture(blue);
    const std::uint32_t left = client.openWindow({0, 0, 50, 50}, white);
    const std::uint32_t minimised = client.openWindow({100, 100, 100, 100}, red);
    client.setProperty(minimised, "WM_STATE", {3, 0});
    const std::uint32_t other = client.openWindow({300, 100, 100, 100}, green);
    Recording recording(server, without({left}), whole());
    {
        XClient manager(server.displayName());
        manager.claimToComposite();
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        EXPECT_TRUE(isColour(recording.log.frame(0).at(150, 150), blue));
        EXPECT_TRUE(isColour(recording.log.frame(0).at(350, 150), green));
        manager.setStates(other, {"_NET_WM_STATE_HIDDEN"});
        EXPECT_TRUE(comesToShow(recording.log, 350, 150, blue));
        manager.setStates(other, {"_NET_WM_STATE_HIDDEN", "_NET_WM_STATE_SHADED"});
        EXPECT_TRUE(comesToShow(recording.log, 350, 150, green));
        manager.setStates(other, {"_NET_WM_STATE_HIDDEN"});
        EXPECT_TRUE(comesToShow(recording.log, 350, 150, blue));
        manager.markManaged(minimised);
        EXPECT_TRUE(comesToShow(recording.log, 150, 150, red));
        manager.setProperty(minimised, "WM_STATE", {3, 0});
        EXPECT_TRUE(comesToShow(recording.log, 150, 150, blue));
    }
    // Nobody composites: the screen shows whatever is mapped.
    EXPECT_TRUE(comesToShow(recording.log, 150, 150, red));
    EXPECT_TRUE(comesToShow(recording.log, 350, 150, green));
    client.claimToComposite();
    EXPECT_TRUE(comesToShow(recording.log, 150, 150, blue));
    EXPECT_TRUE(comesToShow(recording.log, 350, 150, blue));
}

TEST_F(ExcludingSource, ShowsMappedWindowsWhateverIsSaidOfThemWhereNobodyComposites) {
    const std::uint32_t left = client.openWindow({0, 0, 50, 50}, white);
    const std::uint32_t window = client.openWindow({100, 100, 100, 100}, red);
    client.setProperty(window, "WM_STATE", {3, 0});
    client.setStates(window, {"_NET_WM_STATE_HIDDEN"});
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(25, 25), brown));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(150, 150), red));
}

TEST_F(ExcludingSource, KeepsToTheShapesOfWhatIsLeftOutAndOfWhatIsNot) {
    client.openWindow({0, 0, 640, 480}, blue);
    const std::uint32_t left = client.openWindow({100, 100, 200, 100}, red);
    client.shapeWindow(left, {{0, 0, 100, 100}});
    const std::uint32_t above = client.openWindow({150, 50, 100, 200}, green);
    client.shapeWindow(above, {{0, 0, 20, 200}});
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(120, 150), blue));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(160, 150), green));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(190, 150), blue));
    client.shapeWindow(left, {});
    client.shapeWindow(above, {{80, 0, 20, 200}});
    EXPECT_TRUE(comesToShow(recording.log, 240, 150, green));
    EXPECT_TRUE(comesToShow(recording.log, 160, 150, blue));
    EXPECT_TRUE(isColour(recording.log.last().at(280, 150), blue));
}

TEST_F(ExcludingSource, AManagerThatNoLongerCompositesLeavesOpaqueWindows) {
    const std::uint32_t left = client.openWindow({100, 100, 400, 200}, red);
    const std::uint32_t half = client.openWindow({150, 150, 50, 50}, white);
    client.setProperty(half, "_NET_WM_WINDOW_OPACITY", {0x80000000});
    client.setDesktopPicture(blue);
    Recording recording(server, without({left}), whole());
    {
        XClient manager(server.displayName());
        manager.claimToComposite();
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        EXPECT_TRUE(comesToShow(recording.log, 170, 170, 0x8080FF));
    }
    EXPECT_TRUE(comesToShow(recording.log, 170, 170, white));
    EXPECT_TRUE(isColour(recording.log.last().at(300, 120), blue));
    client.claimToComposite();
    EXPECT_TRUE(comesToShow(recording.log, 170, 170, 0x8080FF));
}

TEST_F(ExcludingSource, ShowsNothingOfWhatIsLeftOutInAWindowThatItCovered) {
    const std::uint32_t bare = client.openBareWindow({50, 150, 200, 100});
    client.fillWindow(bare, {0, 0, 200, 100}, green);
    const std::uint32_t left = client.openWindow({100, 100, 200, 200}, red);
    Recording recording(server, without({left}), whole());
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(70, 200), green));
    client.moveWindow(left, 350, 100);
    client.fill({0, 0, 10, 10}, white);
    EXPECT_TRUE(comesToShow(recording.log, 5, 5, white));
    recording.log.waitForQuiet();
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        ASSERT_FALSE(isColour(recording.log.frame(i).at(200, 200), red)) << i;
    client.fillWindow(bare, {0, 0, 200, 100}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, blue));
}

// A window without a background begins with what the screen showed where it is mapped.
struct BareWindows : ExcludingSource {
    BareWindows() {
        recording.start();
        EXPECT_TRUE(recording.log.waitForCount(1));
    }

    // Long enough for whatever waits for a painting to give up.
    void drawForAWhile() {
        const auto end = std::chrono::steady_clock::now() + 1100ms;
        for (std::uint32_t i = 1; std::chrono::steady_clock::now() < end; ++i) {
            client.fill({0, 0, 10, 10}, i * 0x030507);
            std::this_thread::sleep_for(40ms);
        }
        recording.log.waitForQuiet();
    }
    void expectNoRed(std::size_t first = 0) {
        for (std::size_t i = first; i < recording.log.count(); ++i) {
            const Frame frame = recording.log.frame(i);
            for (int y = 104; y < 300; y += 16) {
                for (int x = 104; x < 300; x += 16)
                    ASSERT_FALSE(isColour(frame.at(x, y), red)) << i << ": " << x << ", " << y;
            }
        }
    }
    // What is doubtful is hidden for this long and longer. Another program may have kept this one
    // from being in time.
    static bool wasInTime(support::MediaTime since) {
        return monotonicClock.hostTime() - since < 80ms;
    }
    // The recorder has noticed what has happened up to now.
    void letItBeSeen() {
        marker += 0x201008;
        client.fill({20, 0, 10, 10}, marker & 0xFFFFFF);
        EXPECT_TRUE(comesToShow(recording.log, 25, 5, marker & 0xFFFFFF));
    }

    const std::uint32_t left = client.openWindow({100, 100, 200, 200}, red);
    std::uint32_t marker = 0;
    Recording recording{server, without({left}), whole()};
};

TEST_F(BareWindows, ThatOpenOverWhatIsLeftOutShowNothingOfItWhenTheyDrawNothing) {
    const std::uint32_t bare = client.makeBareWindow({150, 150, 100, 100});
    letItBeSeen();
    client.mapWindow(bare);
    drawForAWhile();
    client.fillWindow(bare, {0, 0, 50, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 170, 200, green));
    letItBeSeen();
    EXPECT_TRUE(isColour(recording.log.last().at(230, 200), brown));
    client.fillWindow(bare, {50, 0, 50, 100}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 230, 200, blue));
    expectNoRed();
}

TEST_F(BareWindows, ThatOpenWithinAMomentShowNothingOfWhatIsLeftOut) {
    int inTime = 0;
    for (int i = 0; inTime < 10 && i < 100; ++i) {
        const std::size_t before = recording.log.count();
        const support::MediaTime opening = monotonicClock.hostTime();
        const std::uint32_t bare = client.openBareWindow({150, 150, 100, 100});
        client.fill({0, 0, 10, 10}, static_cast<std::uint32_t>(i) * 0x030507);
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 10 * 5));
        client.fillWindow(bare, {0, 0, 100, 100}, i % 2 == 0 ? green : blue);
        const bool counts = wasInTime(opening);
        EXPECT_TRUE(comesToShow(recording.log, 200, 200, i % 2 == 0 ? green : blue));
        client.closeWindow(bare);
        if (!counts) continue;
        expectNoRed(before);
        ++inTime;
    }
    EXPECT_EQ(inTime, 10);
}

TEST_F(BareWindows, ThatComeBackShowNothingOfWhatIsLeftOut) {
    const std::uint32_t bare = client.openBareWindow({150, 150, 100, 100});
    client.fillWindow(bare, {0, 0, 100, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, green));
    client.unmapWindow(bare);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, brown));
    letItBeSeen();
    client.mapWindow(bare);
    drawForAWhile();
    EXPECT_TRUE(isColour(recording.log.last().at(200, 200), brown));
    client.fillWindow(bare, {0, 0, 100, 100}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, blue));
    expectNoRed();
}

TEST_F(BareWindows, ThatAreMovedOrUncoveredBeforeTheyDrawShowNothingOfWhatIsLeftOut) {
    const std::uint32_t cover = client.openWindow({300, 0, 300, 480}, white);
    const std::uint32_t bare = client.makeBareWindow({150, 150, 100, 100});
    const std::uint32_t beneath = client.makeBareWindow({110, 110, 100, 30});
    client.lowerWindow(beneath);
    letItBeSeen();
    client.mapWindow(bare);
    client.mapWindow(beneath);
    client.lowerWindow(beneath);
    letItBeSeen();
    client.moveWindow(cover, 120, 0);  // covers it
    client.raiseWindow(cover);
    letItBeSeen();
    client.moveWindow(cover, 400, 0);
    client.moveWindow(left, 320, 300);  // uncovers the one beneath
    letItBeSeen();
    client.moveWindow(bare, 160, 160);
    drawForAWhile();
    expectNoRed();
    client.fillWindow(bare, {0, 0, 100, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, green));
    client.fillWindow(beneath, {0, 0, 100, 30}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 120, 120, blue));
}

TEST_F(BareWindows, ThatAreMovedOrCoveredAtOnceShowNothingOfWhatIsLeftOut) {
    const std::uint32_t bare = client.makeBareWindow({150, 150, 100, 100});
    const std::uint32_t beneath = client.makeBareWindow({110, 250, 300, 40});
    letItBeSeen();
    // Before the recorder looks, as like as not.
    client.mapWindow(bare);
    client.moveWindow(bare, 160, 150);
    client.moveWindow(bare, 160, 155);
    client.mapWindow(beneath);
    client.raiseWindow(left);
    drawForAWhile();
    expectNoRed();
    client.fillWindow(bare, {0, 0, 100, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, green));
    client.fillWindow(beneath, {0, 0, 300, 40}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 130, 270, blue));
}

TEST_F(BareWindows, ThatAreMappedBeneathAndRaisedAtOnceShowNothingOfWhatIsLeftOut) {
    const std::uint32_t bare = client.makeBareWindow({50, 150, 200, 100});
    client.lowerWindow(bare);
    letItBeSeen();
    client.mapWindow(bare);
    client.raiseWindow(bare);
    drawForAWhile();
    expectNoRed();
    client.fillWindow(bare, {0, 0, 200, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, green));
    EXPECT_TRUE(comesToShow(recording.log, 70, 200, green));
}

TEST_F(BareWindows, ThatGrowShowNothingOfWhatIsLeftOut) {
    const std::uint32_t bare = client.openBareWindow({20, 150, 70, 100});
    client.fillWindow(bare, {0, 0, 70, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 50, 200, green));
    int inTime = 0;
    for (int i = 0; inTime < 5 && i < 50; ++i) {
        const std::size_t before = recording.log.count();
        const support::MediaTime growing = monotonicClock.hostTime();
        client.resizeWindow(bare, 230, 100);
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 5 * 10));
        client.fillWindow(bare, {0, 0, 230, 100}, i % 2 == 0 ? blue : white);
        const bool counts = wasInTime(growing);
        EXPECT_TRUE(comesToShow(recording.log, 200, 200, i % 2 == 0 ? blue : white));
        EXPECT_TRUE(comesToShow(recording.log, 50, 200, i % 2 == 0 ? blue : white));
        client.resizeWindow(bare, 70, 100);
        client.fillWindow(bare, {0, 0, 70, 100}, green);
        EXPECT_TRUE(comesToShow(recording.log, 50, 200, green));
        EXPECT_TRUE(comesToShow(recording.log, 200, 200, brown));
        if (!counts) continue;
        expectNoRed(before);
        ++inTime;
    }
    EXPECT_EQ(inTime, 5);
}

// With a background, which the server paints at once, a window is shown as it comes, although
// nothing more is ever drawn.
TEST_F(BareWindows, AreNotWhatTheServerPaints) {
    const std::uint32_t window = client.makeWindow({150, 150, 100, 100}, blue, 0);
    letItBeSeen();
    // Whatever else this machine does, one of them is not late.
    std::chrono::nanoseconds soonest = 1h;
    for (int i = 0; i < 5 || (i < 50 && soonest >= 90ms); ++i) {
        const support::MediaTime mapping = monotonicClock.hostTime();
        client.mapWindow(window);
        ASSERT_TRUE(comesToShow(recording.log, 200, 200, blue));
        soonest = std::min<std::chrono::nanoseconds>(soonest, recording.log.last().time - mapping);
        client.unmapWindow(window);
        ASSERT_TRUE(comesToShow(recording.log, 200, 200, brown));
    }
    EXPECT_LT(soonest, 90ms);  // a doubtful window waits for longer
}

// It redirects by hand, and the server reports nothing of its own then.
TEST_F(BareWindows, AreShownOncePaintedWhereAManagerComposites) {
    XClient manager(server.displayName());
    manager.claimToComposite();
    // The recorder itself redirects a window by hand, for the root's background, until it notices.
    ASSERT_TRUE(comesToShow(recording.log, 600, 450, grey));
    manager.redirectByHand();
    const std::uint32_t bare = client.makeBareWindow({150, 150, 100, 100});
    const std::uint32_t other = client.openWindow({0, 0, 20, 20}, white);
    EXPECT_TRUE(comesToShow(recording.log, 10, 10, white));
    for (int i = 0; i < 10; ++i) {
        const std::uint32_t colour = i % 2 == 0 ? green : blue;
        client.mapWindow(bare);
        client.moveWindow(other, 0, i);
        client.fillWindow(bare, {0, 0, 100, 100}, colour);
        ASSERT_TRUE(comesToShow(recording.log, 200, 200, colour)) << i;
        client.unmapWindow(bare);
        client.fillWindow(other, {0, 0, 20, 20}, colour);
        ASSERT_TRUE(comesToShow(recording.log, 10, 15, colour));
    }
    expectNoRed();
}

// What a program has not painted for so long is shown as it is: nothing stays away for good.
TEST_F(BareWindows, AreNotWaitedForWithoutEnd) {
    const std::uint32_t bare = client.makeBareWindow({150, 150, 100, 100});
    letItBeSeen();
    const support::MediaTime mapping = monotonicClock.hostTime();
    client.mapWindow(bare);
    drawForAWhile();
    expectNoRed();
    while (monotonicClock.hostTime() - mapping < 5s)
        std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, red));
}

TEST_F(BareWindows, ThatWereTheFrameOfWhatIsLeftOutShowNothingOfIt) {
    XClient manager(server.displayName());
    const std::uint32_t frame = manager.makeBareWindow({100, 100, 200, 200});
    int inTime = 0;
    for (int i = 0; inTime < 3 && i < 50; ++i) {
        manager.reparentWindow(left, frame, 0, 0);
        manager.mapWindow(frame);
        letItBeSeen();
        const std::size_t before = recording.log.count();
        const support::MediaTime leaving = monotonicClock.hostTime();
        manager.reparentWindow(left, 0, 320, 100);
        std::this_thread::sleep_for(40ms);
        manager.fillWindow(frame, {0, 0, 200, 200}, green);
        const bool counts = wasInTime(leaving);
        EXPECT_TRUE(comesToShow(recording.log, 200, 200, green));
        manager.unmapWindow(frame);
        if (!counts) continue;
        expectNoRed(before);
        ++inTime;
    }
    EXPECT_EQ(inTime, 3);
}

TEST_F(BareWindows, InFramesShowNothingOfWhatIsLeftOut) {
    XClient manager(server.displayName());
    const std::uint32_t bare = client.makeBareWindow({150, 150, 100, 100});
    const std::uint32_t frame = manager.makeWindow({140, 130, 120, 130}, blue, 0);
    manager.reparentWindow(bare, frame, 10, 20);
    letItBeSeen();
    manager.mapWindow(bare);
    manager.mapWindow(frame);
    EXPECT_TRUE(comesToShow(recording.log, 145, 140, blue));
    drawForAWhile();
    EXPECT_TRUE(isColour(recording.log.last().at(200, 200), brown));
    client.fillWindow(bare, {0, 0, 100, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 200, 200, green));
    expectNoRed();
}

TEST_F(ExcludingSource, IsCroppedAndScaledLikeThePlainScreen) {
    client.setMonitor("part", {101, 51, 300, 200});
    client.openWindow({101, 51, 150, 200}, blue);
    const std::uint32_t left = client.openWindow({120, 60, 50, 50}, red);
    const Display display{idOf("part"), 300, 200, {101, 51, 300, 200}};
    Recording recording(server, without({left}, display), regionOf({-20, -10, 340, 220}, 340, 220));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const Frame frame = recording.log.frame(0);
    EXPECT_TRUE(isColour(frame.at(10, 5), 0));
    EXPECT_TRUE(isColour(frame.at(50, 30), blue));
    EXPECT_TRUE(isColour(frame.at(166, 100), blue));
    EXPECT_TRUE(isColour(frame.at(174, 100), brown));
    EXPECT_TRUE(isColour(frame.at(318, 208), brown));
    EXPECT_TRUE(isColour(frame.at(324, 100), 0));
    client.fill({399, 249, 2, 2}, grey);
    EXPECT_TRUE(comesToShow(recording.log, 318, 208, grey));
}

TEST_F(ExcludingSource, EndsWithItsDisplay) {
    client.setMonitor("part", {100, 50, 300, 200});
    const std::uint32_t left = client.openWindow({120, 60, 50, 50}, red);
    const Display display{idOf("part"), 300, 200, {100, 50, 300, 200}};
    Recording recording(server, without({left}, display), regionOf({0, 0, 300, 200}, 300, 200));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.replaceMonitor("part", {100, 50, 301, 200});
    ASSERT_TRUE(recording.log.waitForEnd());
    EXPECT_EQ(descriptionOf(recording.log.ended()),
              "The display that is being recorded changed its size or position.");
}

}  // namespace
}  // namespace quorvane::platform::x11
