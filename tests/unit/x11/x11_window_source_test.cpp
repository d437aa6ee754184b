// Windows recorded by the source: their own pictures, whatever happens around them.
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/x11/x11_screen_source.h"
#include "platform/platform_error.h"
#include "unit/x11/colours.h"
#include "unit/x11/source_recording.h"
#include "unit/x11/x_client.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t cursorColour = 0x6E006E;  // of a blue pixel beside red ones

CapturedContent windowContent(std::uint32_t identifier) {
    Window window;
    window.windowID = identifier;
    return WindowContent{window};
}

StreamConfiguration sizeOf(int width, int height) {
    return regionOf({0, 0, double(width), double(height)}, width, height);
}

struct WindowSource : testing::Test {
    WindowSource() { client.movePointer(639, 479); }

    XServer server{"640x480x24"};
    XClient client{server.displayName()};
};

TEST_F(WindowSource, ShowsAWindowWhateverCoversIt) {
    client.fill({0, 0, 640, 480}, 0x808080);
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    client.fillWindow(window, {100, 50, 100, 50}, green);
    const std::uint32_t cover = client.openWindow({0, 0, 640, 480}, blue);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(0, 0), red));
    // What was covered is its background: nobody has drawn it again.
    EXPECT_TRUE(isColour(recording.log.frame(0).at(199, 99), red));
    client.fillWindow(window, {100, 50, 100, 50}, green);
    EXPECT_TRUE(comesToShow(recording.log, 150, 75, green));
    EXPECT_TRUE(isColour(recording.log.last().at(98, 48), red));
    client.closeWindow(cover);
    recording.log.waitForQuiet();
    const std::uint32_t another = client.openWindow({0, 0, 640, 480}, blue);
    client.raiseWindow(window);
    client.lowerWindow(window);
    std::size_t count = recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(150, 75), green));
    EXPECT_TRUE(isColour(recording.log.last().at(98, 48), red));
    // What others draw is no picture.
    client.fillWindow(another, {0, 0, 640, 480}, white);
    EXPECT_EQ(recording.log.waitForQuiet(), count);
}

TEST_F(WindowSource, NeverShowsWhatLayOverAWindowThatDrawsItself) {
    client.fill({0, 0, 640, 480}, 0x808080);
    const std::uint32_t window = client.openBareWindow({50, 40, 200, 100});
    client.fillWindow(window, {0, 0, 200, 100}, red);
    client.openWindow({100, 0, 100, 480}, blue);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    // Nobody has drawn what was covered again, so nothing is known of that.
    EXPECT_TRUE(isColour(recording.log.frame(0).at(20, 50), red));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(100, 50), black));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(170, 50), red));
    client.fillWindow(window, {50, 0, 50, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 70, 50, green));
    EXPECT_TRUE(isColour(recording.log.last().at(120, 50), black));
    client.fillWindow(window, {100, 0, 100, 100}, red);
    EXPECT_TRUE(comesToShow(recording.log, 120, 50, red));
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_LT(recording.log.frame(i).at(100, 50).blue, 100) << i;
}

TEST_F(WindowSource, TakesAWindowThatSomebodyElseHasRedirectedAsItIs) {
    const std::uint32_t window = client.openBareWindow({50, 40, 200, 100});
    Recording first(server, windowContent(window), sizeOf(200, 100));
    first.start();
    ASSERT_TRUE(first.log.waitForCount(1));
    client.fillWindow(window, {0, 0, 200, 100}, red);
    ASSERT_TRUE(comesToShow(first.log, 100, 50, red));
    Recording second(server, windowContent(window), sizeOf(200, 100));
    second.start();
    ASSERT_TRUE(second.log.waitForCount(1));
    EXPECT_TRUE(isColour(second.log.frame(0).at(100, 50), red));
}

TEST_F(WindowSource, StaysTheSameWhereverTheWindowIsMovedTo) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.moveWindow(window, 500, 420);  // half off the screen
    client.fillWindow(window, {0, 0, 100, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 10, 10, green));
    client.moveWindow(window, -150, -60);
    client.fillWindow(window, {0, 0, 10, 10}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 4, 4, blue));
    EXPECT_TRUE(isColour(recording.log.last().at(50, 50), green));
    client.moveWindow(window, 2000, 2000);
    client.fillWindow(window, {190, 90, 10, 10}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 196, 96, blue));
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(150, 50), red)) << i;
}

TEST_F(WindowSource, FitsANewSizeIntoTheOldOne) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.resizeWindow(window, 100, 100);
    ASSERT_TRUE(comesToShow(recording.log, 10, 50, black));
    recording.log.waitForQuiet();
    Frame frame = recording.log.last();
    EXPECT_EQ(frame.width, 200);
    EXPECT_TRUE(isColour(frame.at(48, 50), black));
    EXPECT_TRUE(isColour(frame.at(52, 2), red));
    EXPECT_TRUE(isColour(frame.at(148, 98), red));
    EXPECT_TRUE(isColour(frame.at(152, 50), black));

    client.resizeWindow(window, 400, 100);
    ASSERT_TRUE(comesToShow(recording.log, 100, 10, black));
    recording.log.waitForQuiet();
    frame = recording.log.last();
    EXPECT_TRUE(isColour(frame.at(2, 22), black));
    EXPECT_TRUE(isColour(frame.at(2, 26), red));
    EXPECT_TRUE(isColour(frame.at(198, 72), red));
    EXPECT_TRUE(isColour(frame.at(198, 78), black));

    client.fillWindow(window, {0, 0, 400, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 100, 50, green));
    client.resizeWindow(window, 200, 100);
    EXPECT_TRUE(comesToShow(recording.log, 100, 2, red));
    EXPECT_TRUE(isColour(recording.log.last().at(0, 0), red));
}

TEST_F(WindowSource, TheLastPictureStandsWhileAWindowIsMinimised) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.fillWindow(window, {0, 0, 100, 100}, green);
    ASSERT_TRUE(comesToShow(recording.log, 50, 50, green));
    client.unmapWindow(window);
    recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(50, 50), green));
    EXPECT_EQ(recording.log.endings(), 0u);
    client.mapWindow(window);
    EXPECT_TRUE(comesToShow(recording.log, 50, 50, red));
    client.fillWindow(window, {0, 0, 100, 100}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 50, 50, blue));
}

TEST_F(WindowSource, AWindowThatComesBackShowsNothingOfWhatWasThere) {
    client.fill({0, 0, 640, 480}, 0x808080);
    const std::uint32_t window = client.openBareWindow({50, 40, 200, 100});
    client.fillWindow(window, {0, 0, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, red));
    const std::uint32_t other = client.openWindow({0, 0, 640, 480}, blue);
    client.lowerWindow(other);
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const std::uint32_t before = i % 2 == 0 ? red : green;
        const std::uint32_t after = i % 2 == 0 ? green : red;
        client.unmapWindow(window);
        recording.log.waitForQuiet();
        EXPECT_TRUE(isColour(recording.log.last().at(100, 50), before));
        client.mapWindow(window);
        std::this_thread::sleep_for(std::chrono::milliseconds(100 * i));
        client.fillWindow(window, {0, 0, 120, 100}, after);
        // The rest is awaited for a while.
        EXPECT_TRUE(comesToShow(recording.log, 100, 50, after));
        EXPECT_TRUE(isColour(recording.log.last().at(150, 50), black));
        client.fillWindow(window, {120, 0, 80, 100}, after);
        EXPECT_TRUE(comesToShow(recording.log, 150, 50, after));
    }
    for (std::size_t i = 0; i < recording.log.count(); ++i) {
        const Frame frame = recording.log.frame(i);
        for (int x = 5; x < 200; x += 10)
            ASSERT_LT(frame.at(x, 50).blue, 100) << i << ": " << x;
    }
}

// As when the user goes to another desktop and back.
TEST_F(WindowSource, AWindowThatComesBackCoveredIsShown) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, red));
    client.fillWindow(window, {0, 0, 200, 100}, green);
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, green));
    client.unmapWindow(window);
    const std::uint32_t cover = client.openWindow({0, 0, 640, 480}, blue);
    recording.log.waitForQuiet();
    // The server paints its background, once and for all.
    client.mapWindow(window);
    EXPECT_TRUE(comesToShow(recording.log, 100, 50, red));
    // The same with a compositing manager that came while it was away.
    client.fillWindow(window, {0, 0, 200, 100}, green);
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, green));
    client.unmapWindow(window);
    client.closeWindow(cover);
    XClient manager(server.displayName());
    manager.redirectByHand();
    recording.log.waitForQuiet();
    client.mapWindow(window);
    EXPECT_TRUE(comesToShow(recording.log, 100, 50, red));
}

// The server reports what is uncovered, too, before anything is painted.
TEST_F(WindowSource, AWindowThatComesBackCoveredAndIsRaisedShowsNothingOfWhatWasThere) {
    const std::uint32_t window = client.openBareWindow({50, 40, 200, 100});
    client.fillWindow(window, {0, 0, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, red));
    client.openWindow({100, 0, 640, 480}, blue);
    int inTime = 0;
    for (int i = 0; inTime < 5 && i < 50; ++i) {
        const std::size_t before = recording.log.count();
        client.unmapWindow(window);
        client.lowerWindow(window);
        recording.log.waitForQuiet();
        const auto mapping = std::chrono::steady_clock::now();
        client.mapWindow(window);
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 5 * 5));
        client.raiseWindow(window);
        const std::uint32_t colour = i % 2 == 0 ? green : red;
        client.fillWindow(window, {0, 0, 50, 100}, colour);  // all that was seen at first
        std::this_thread::sleep_for(40ms);
        client.fillWindow(window, {50, 0, 150, 100}, colour);
        // Where this machine has noticed nothing before, it is not waited for without end.
        const bool counts = std::chrono::steady_clock::now() - mapping < 80ms;
        EXPECT_TRUE(comesToShow(recording.log, 100, 50, colour));
        if (!counts) continue;
        ++inTime;
        for (std::size_t each = before; each < recording.log.count(); ++each) {
            const Frame frame = recording.log.frame(each);
            for (int x = 5; x < 200; x += 10)
                ASSERT_LT(frame.at(x, 50).blue, 100) << i << ", " << each << ": " << x;
        }
    }
    EXPECT_EQ(inTime, 5);
}

// As a manager does that lets a window grow out of its icon.
TEST_F(WindowSource, AWindowThatUnfoldsShowsNothingOfWhatWasThere) {
    XClient manager(server.displayName());
    client.openWindow({0, 0, 640, 480}, blue);
    const std::uint32_t window = client.makeBareWindow({0, 0, 200, 100});
    const std::uint32_t frame = manager.makeBareWindow({50, 40, 200, 100});
    manager.reparentWindow(window, frame, 0, 0);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    client.fillWindow(window, {0, 0, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, red));
    int inTime = 0;
    for (int i = 0; inTime < 5 && i < 50; ++i) {
        const std::size_t before = recording.log.count();
        manager.unmapWindow(frame);
        manager.resizeWindow(frame, 200, 10);
        recording.log.waitForQuiet();
        manager.mapWindow(frame);
        for (int step = 1; step <= 4; ++step) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10 * i));
            manager.moveWindow(frame, 50, 40 + 10 * step);
            manager.resizeWindow(frame, 200 - step, 10);
        }
        const auto unfolding = std::chrono::steady_clock::now();
        manager.resizeWindow(frame, 200, 100);
        std::this_thread::sleep_for(40ms);
        client.fillWindow(window, {0, 0, 200, 100}, i % 2 == 0 ? green : red);
        // A change of size is not waited for without end.
        const bool counts = std::chrono::steady_clock::now() - unfolding < 80ms;
        ASSERT_TRUE(comesToShow(recording.log, 100, 50, i % 2 == 0 ? green : red));
        if (!counts) continue;
        ++inTime;
        for (std::size_t each = before; each < recording.log.count(); ++each)
            ASSERT_LT(recording.log.frame(each).at(100, 50).blue, 100) << i << ": " << each;
    }
    EXPECT_EQ(inTime, 5);
}

TEST_F(WindowSource, GoesOnWhenAWindowGoesAndComesBackAtOnce) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 50, red));
    for (int i = 0; i < 20; ++i) {
        client.unmapWindow(window);
        client.mapWindow(window);
        client.fillWindow(window, {0, 0, 200, 100}, i % 2 == 0 ? green : blue);
        ASSERT_TRUE(comesToShow(recording.log, 100, 50, i % 2 == 0 ? green : blue)) << i;
    }
}

TEST_F(WindowSource, TheLastPictureStandsWhileAManagerMinimisesStepByStep) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 130}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(210, 130));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 80, red));
    // The window goes first, then its frame shrinks and goes.
    manager.unmapWindow(window);
    recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(100, 80), red));
    manager.resizeWindow(frame, 100, 20);
    recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(100, 80), red));
    manager.unmapWindow(frame);
    manager.resizeWindow(frame, 210, 130);
    recording.log.waitForQuiet();
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(100, 80), red)) << i;
    manager.mapWindow(window);
    manager.mapWindow(frame);
    client.fillWindow(window, {0, 0, 200, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, green));
    EXPECT_TRUE(isColour(recording.log.last().at(2, 2), blue));
    // It is rolled up into its frame and down again.
    manager.unmapWindow(window);
    manager.mapWindow(window);
    client.fillWindow(window, {0, 0, 200, 100}, white);
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, white));
    EXPECT_TRUE(isColour(recording.log.last().at(2, 2), blue));
}

TEST_F(WindowSource, TheLastPictureStandsFromWhenAManagerSaysThatItMinimises) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 130}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(210, 130));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 80, red));
    // The frame shrinks to its title before the window goes.
    manager.setStates(window, {"_NET_WM_STATE_FOCUSED", "_NET_WM_STATE_HIDDEN"});
    manager.resizeWindow(frame, 210, 20);
    recording.log.waitForQuiet();
    manager.unmapWindow(window);
    manager.unmapWindow(frame);
    recording.log.waitForQuiet();
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(100, 80), red)) << i;
    // Back again, and it says so last.
    manager.resizeWindow(frame, 210, 130);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    client.fillWindow(window, {0, 0, 200, 100}, green);
    manager.setStates(window, {"_NET_WM_STATE_FOCUSED"});
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, green));
    EXPECT_TRUE(isColour(recording.log.last().at(2, 2), blue));
}

TEST_F(WindowSource, TheLastPictureStandsWhileAFrameIsRolledUpOverItsWindow) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 130}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(210, 130));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 80, red));
    // Nobody says that it is, and the window stays mapped in it; some of it may still be in sight.
    manager.resizeWindow(frame, 210, 20);
    recording.log.waitForQuiet();
    manager.resizeWindow(frame, 210, 25 + 24);
    recording.log.waitForQuiet();
    manager.resizeWindow(frame, 5 + 49, 130);
    recording.log.waitForQuiet();
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(100, 80), red)) << i;
    // A quarter of it is a picture again.
    manager.resizeWindow(frame, 210, 25 + 25);
    client.fillWindow(window, {0, 0, 200, 100}, white);
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, white));
    manager.resizeWindow(frame, 210, 130);
    client.fillWindow(window, {0, 0, 200, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, green));
    EXPECT_TRUE(isColour(recording.log.last().at(2, 2), blue));
}

TEST_F(WindowSource, NeverShowsAFrameOutOfWhichItsWindowIsShifted) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 130}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    auto configuration = sizeOf(210, 130);
    configuration.minimumFrameInterval = 2ms;
    Recording recording(server, windowContent(window), configuration);
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 80, red));
    constexpr std::size_t fewest = 20;
    for (std::uint32_t i = 0; i < 100 || (i < 2000 && recording.log.count() < fewest); ++i) {
        manager.fillWindow(frame, {0, 0, 10, 10}, i * 0x030507);
        if (i % 2 == 0) {
            manager.moveWindow(window, 5, -80);
        } else {
            manager.moveWindow(window, 5, 25);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 7));
    }
    recording.log.waitForQuiet();
    EXPECT_GE(recording.log.count(), fewest);
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(100, 80), red)) << i;
}

TEST_F(WindowSource, FollowsWhatContainsTheWindowInItsFrame) {
    XClient manager(server.displayName());
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 130}, blue, 0);
    const std::uint32_t inner = manager.makeWindow({5, 25, 200, 100}, grey, frame);
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, inner);
    client.mapWindow(window);
    manager.mapWindow(inner);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(210, 130));
    recording.start();
    ASSERT_TRUE(comesToShow(recording.log, 100, 80, red));
    manager.moveWindow(inner, 5, -80);
    recording.log.waitForQuiet();
    for (std::size_t i = 0; i < recording.log.count(); ++i)
        EXPECT_TRUE(isColour(recording.log.frame(i).at(100, 80), red)) << i;
    client.fillWindow(window, {0, 0, 200, 100}, green);
    manager.moveWindow(inner, 5, 25);
    client.fillWindow(window, {0, 0, 200, 100}, green);
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, green));
    // Into another frame.
    const std::uint32_t other = manager.makeWindow({300, 200, 210, 130}, white, 0);
    manager.reparentWindow(inner, other, 5, 25);
    manager.mapWindow(other);
    EXPECT_TRUE(comesToShow(recording.log, 2, 2, white));
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, red));
    EXPECT_EQ(recording.log.endings(), 0u);
}

TEST_F(WindowSource, ShowsAWindowThatIsLargerThanItsFrame) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 190, 110}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(190, 110));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(100, 80), red));
    // So little of a small one is enough, and all of one that is smaller than that.
    for (const int length : {40, 10}) {
        manager.resizeWindow(window, 200, length);
        manager.resizeWindow(frame, 190, 25 + std::min(length, 16));
        client.fillWindow(window, {0, 0, 200, length}, length == 40 ? green : white);
        EXPECT_TRUE(comesToShow(recording.log, 100, 68, length == 40 ? green : white));
    }
}

TEST_F(WindowSource, BeginsBlackWhileTheWindowIsRolledUp) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 20}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(210, 130));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(100, 65), black));
    manager.resizeWindow(frame, 210, 130);
    manager.mapWindow(window);
    EXPECT_TRUE(comesToShow(recording.log, 100, 80, red));
}

TEST_F(WindowSource, BeginsBlackWhileTheWindowIsMinimised) {
    const std::uint32_t window = client.makeWindow({50, 40, 200, 100}, red, 0);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(100, 50), black));
    client.mapWindow(window);
    EXPECT_TRUE(comesToShow(recording.log, 100, 50, red));
}

TEST_F(WindowSource, ComesBackInTheShapeThatItWasGivenMeanwhile) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.setStates(window, {"_NET_WM_STATE_HIDDEN"});
    recording.log.waitForQuiet();
    client.shapeWindow(window, {{0, 0, 100, 100}});
    recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(150, 50), red));
    client.setStates(window, {});
    EXPECT_TRUE(comesToShow(recording.log, 150, 50, black));
    EXPECT_TRUE(isColour(recording.log.last().at(50, 50), red));
}

TEST_F(WindowSource, EndsWhenTheWindowIsClosed) {
    for (const bool minimised : {false, true}) {
        SCOPED_TRACE(minimised ? "minimised" : "on the screen");
        const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
        Recording recording(server, windowContent(window), sizeOf(200, 100));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        if (minimised) client.unmapWindow(window);
        client.closeWindow(window);
        ASSERT_TRUE(recording.log.waitForEnd());
        EXPECT_EQ(descriptionOf(recording.log.ended()),
                  "The window that is being recorded was closed.");
        EXPECT_EQ(recording.log.endings(), 1u);
    }
}

TEST_F(WindowSource, EndsWhenTheWindowsProgramDies) {
    auto program = std::make_unique<XClient>(server.displayName());
    const std::uint32_t window = program->openWindow({50, 40, 200, 100}, red);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    program.reset();
    ASSERT_TRUE(recording.log.waitForEnd());
    EXPECT_EQ(descriptionOf(recording.log.ended()),
              "The window that is being recorded was closed.");
}

TEST_F(WindowSource, CannotStartOnAWindowThatIsGone) {
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    client.closeWindow(window);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    std::string description;
    try {
        recording.start();
    } catch (const PlatformError& error) {
        description = error.description();
    }
    EXPECT_EQ(description, "The window that is being recorded was closed.");
}

TEST_F(WindowSource, ShowsTheDecorationsAndFollowsTheWindowIntoAnotherFrame) {
    XClient manager(server.displayName());
    const std::uint32_t window = client.makeWindow({0, 0, 200, 100}, red, 0);
    const std::uint32_t frame = manager.makeWindow({50, 40, 210, 130}, blue, 0);
    manager.reparentWindow(window, frame, 5, 25);
    manager.mapWindow(window);
    manager.mapWindow(frame);
    Recording recording(server, windowContent(window), sizeOf(210, 130));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(2, 2), blue));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(10, 30), red));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(208, 128), blue));

    const std::uint32_t other = manager.makeWindow({300, 200, 210, 130}, green, 0);
    manager.reparentWindow(window, other, 5, 25);
    manager.mapWindow(other);
    manager.closeWindow(frame);
    EXPECT_TRUE(comesToShow(recording.log, 2, 2, green));
    EXPECT_TRUE(comesToShow(recording.log, 10, 30, red));

    // Without any manager.
    manager.reparentWindow(window, 0, 100, 100);
    manager.closeWindow(other);
    EXPECT_TRUE(comesToShow(recording.log, 100, 5, black));
    EXPECT_TRUE(comesToShow(recording.log, 105, 65, red));
    EXPECT_EQ(recording.log.endings(), 0u);
}

TEST_F(WindowSource, LeavesOutShadowsAndKeepsBorders) {
    const std::uint32_t window = client.openWindow({50, 40, 220, 130}, blue);
    client.setProperty(window, "_GTK_FRAME_EXTENTS", {10, 10, 5, 25});
    {
        Recording recording(server, windowContent(window), sizeOf(200, 100));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        client.fillWindow(window, {10, 5, 200, 100}, red);
        ASSERT_TRUE(comesToShow(recording.log, 0, 0, red));
        EXPECT_TRUE(isColour(recording.log.last().at(199, 99), red));
        // A maximised window has none.
        client.setProperty(window, "_GTK_FRAME_EXTENTS", {0, 0, 0, 0});
        ASSERT_TRUE(comesToShow(recording.log, 20, 1, blue));
    }
    const std::uint32_t bordered = client.makeWindow({300, 40, 190, 90}, red, 0, 5);
    client.mapWindow(bordered);
    Recording recording(server, windowContent(bordered), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(2, 2), 0x00FFFF));
    EXPECT_TRUE(isColour(recording.log.frame(0).at(6, 6), red));
    client.fillWindow(bordered, {0, 0, 10, 10}, green);
    EXPECT_TRUE(comesToShow(recording.log, 6, 6, green));
    EXPECT_TRUE(isColour(recording.log.last().at(2, 2), 0x00FFFF));
    EXPECT_TRUE(isColour(recording.log.last().at(18, 18), red));
}

TEST_F(WindowSource, ShowsBlackOutsideOfItsShape) {
    client.fill({0, 0, 640, 480}, white);
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    client.shapeWindow(window, {{0, 0, 100, 50}, {100, 50, 100, 50}});
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const Frame frame = recording.log.frame(0);
    EXPECT_TRUE(isColour(frame.at(50, 25), red));
    EXPECT_TRUE(isColour(frame.at(150, 75), red));
    EXPECT_TRUE(isColour(frame.at(150, 25), black));
    EXPECT_TRUE(isColour(frame.at(50, 75), black));
    client.shapeWindow(window, {{0, 0, 200, 50}});
    EXPECT_TRUE(comesToShow(recording.log, 150, 75, black));
    EXPECT_TRUE(isColour(recording.log.last().at(150, 25), red));
    client.shapeWindow(window, {});
    EXPECT_TRUE(comesToShow(recording.log, 150, 75, red));
}

TEST_F(WindowSource, ShowsATranslucentWindowOverBlack) {
    client.fill({0, 0, 640, 480}, white);
    const std::uint32_t window = client.openBareWindow({50, 40, 200, 100}, true);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.fillWindow(window, {0, 0, 200, 100}, 0x80800000);
    EXPECT_TRUE(comesToShow(recording.log, 100, 50, 0x800000));
}

TEST_F(WindowSource, ShowsTheCursorWhileItIsOverTheWindow) {
    client.setCursor(0, 0);
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, white);
    Recording recording(server, windowContent(window), sizeOf(200, 100));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    client.movePointer(150, 90);
    EXPECT_TRUE(comesToShow(recording.log, 102, 53, cursorColour));
    client.moveWindow(window, 100, 60);
    EXPECT_TRUE(comesToShow(recording.log, 52, 33, cursorColour));
    EXPECT_TRUE(isColour(recording.log.last().at(102, 53), white));
    // Another window comes between them.
    const std::uint32_t cover = client.openWindow({0, 0, 640, 480}, blue);
    EXPECT_TRUE(comesToShow(recording.log, 52, 33, white));
    client.closeWindow(cover);
    EXPECT_TRUE(comesToShow(recording.log, 52, 33, cursorColour));
    client.movePointer(600, 400);
    EXPECT_TRUE(comesToShow(recording.log, 52, 33, white));
    const std::size_t count = recording.log.waitForQuiet();
    client.movePointer(20, 20);
    EXPECT_EQ(recording.log.waitForQuiet(), count);
}

TEST_F(WindowSource, LeavesTheScreenAsItWas) {
    client.fill({0, 0, 640, 480}, 0x808080);
    const std::uint32_t window = client.openWindow({50, 40, 200, 100}, red);
    {
        Recording recording(server, windowContent(window), sizeOf(200, 100));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        EXPECT_EQ(client.get({100, 80, 1, 1})[0] & 0xFFFFFF, red);
        recording.source->stop();
    }
    EXPECT_EQ(client.get({100, 80, 1, 1})[0] & 0xFFFFFF, red);
}

}  // namespace
}  // namespace quorvane::platform::x11
