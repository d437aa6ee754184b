#include "platform/linux/x11/x11_screen_source.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "pixels/i420_conversion.h"
#include "platform/platform_error.h"
#include "unit/x11/frame.h"
#include "unit/x11/source_recording.h"
#include "unit/x11/x_client.h"
#include "unit/x11/x_server.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// Grey pixels, each of its own shade, whose luma tells them apart.
std::vector<std::uint32_t> greyNoise(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width * height));
    for (std::uint32_t& pixel : pixels)
        pixel = static_cast<std::uint32_t>(random() & 0xFF) * 0x010101u;
    return pixels;
}

int lumaOfGrey(std::uint32_t pixel) {
    return static_cast<int>(std::lround(16 + 219 * (pixel & 0xFF) / 255.0));
}

TEST(X11ScreenSource, DeliversTheFirstPictureAtOnceInTheRightColours) {
    struct Row {
        std::string name;
        std::string screen;
        std::vector<std::string> arguments;
        int bits;
    };
    const Row rows[] = {
        {"depth 24", "640x480x24", {}, 8},
        {"depth 30", "640x480x30", {}, 10},
        {"depth 24 without shared memory", "640x480x24", {"-extension", "MIT-SHM"}, 8},
        {"depth 30 without shared memory", "640x480x30", {"-extension", "MIT-SHM"}, 10},
        {"without the device extension", "640x480x24", {"-extension", "XInputExtension"}, 8},
    };
    struct Patch {
        int x, y, red, green, blue;
    };
    const Patch patches[] = {{0, 0, 255, 0, 0},       {160, 0, 0, 255, 0},
                             {320, 0, 0, 0, 255},     {480, 0, 255, 255, 0},
                             {0, 240, 0, 255, 255},   {160, 240, 255, 0, 255},
                             {320, 240, 40, 90, 200}, {480, 240, 250, 128, 17}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const XServer server(row.screen, row.arguments);
        XClient client(server.displayName());
        for (const Patch& patch : patches) {
            const auto component = [&](int value) {
                return static_cast<std::uint32_t>(
                    std::lround(value * ((1 << row.bits) - 1) / 255.0));
            };
            client.fill({patch.x, patch.y, 160, 240}, component(patch.red) << 2 * row.bits |
                                                          component(patch.green) << row.bits |
                                                          component(patch.blue));
        }
        auto configuration = regionOf({0, 0, 640, 480}, 640, 480);
        configuration.showsCursor = false;
        Recording recording(server, wholeScreen(640, 480), configuration);
        const auto before = monotonicClock.hostTime();
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        const Frame frame = recording.log.frame(0);
        EXPECT_EQ(frame.width, 640);
        EXPECT_EQ(frame.height, 480);
        EXPECT_TRUE(frame.complete);
        EXPECT_GE(frame.time, before);
        EXPECT_LE(frame.time, monotonicClock.hostTime());
        for (const Patch& patch : patches) {
            for (const auto& [x, y] : {std::pair{0, 0}, std::pair{80, 120}, std::pair{159, 239}}) {
                EXPECT_TRUE(isColour(frame.at(patch.x + x, patch.y + y), patch.red, patch.green,
                                     patch.blue))
                    << "at " << patch.x + x << "," << patch.y + y;
            }
        }
    }
}

TEST(X11ScreenSource, CropsToThePixelAtOddOffsets) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    const auto noise = greyNoise(640, 480, 1);
    client.put({0, 0, 640, 480}, noise);
    client.movePointer(600, 400);
    Recording recording(server, wholeScreen(640, 480), regionOf({13, 7, 101, 51}, 100, 50));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const Frame frame = recording.log.frame(0);
    ASSERT_EQ(frame.width, 100);
    ASSERT_EQ(frame.height, 50);
    for (int y = 0; y < 50; ++y) {
        for (int x = 0; x < 100; ++x) {
            const std::uint32_t pixel = noise[static_cast<std::size_t>((y + 7) * 640 + x + 13)];
            ASSERT_NEAR(frame.luma(x, y), lumaOfGrey(pixel), 1) << x << "," << y;
        }
    }
}

TEST(X11ScreenSource, ShowsBlackOutsideTheDisplay) {
    struct Row {
        std::string name;
        support::Rect region;  // relative to the display at (101, 51), which is 300x200
    };
    const Row rows[] = {
        {"before it", {-31, -21, 100, 80}},
        {"beyond it, on the rest of the root window", {251, 151, 100, 80}},
        {"beyond the root window", {-150, -100, 120, 120}},
        {"all around it", {-131, -91, 560, 420}},
        {"nowhere", {1000, 1000, 100, 100}},
    };
    const XServer server("500x300x24");
    XClient client(server.displayName());
    client.fill({0, 0, 500, 300}, 0xFFFFFF);
    client.setMonitor("part", {101, 51, 300, 200});
    client.movePointer(110, 60);
    const Display display{idOf("part"), 300, 200, {101, 51, 300, 200}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const int width = static_cast<int>(row.region.width);
        const int height = static_cast<int>(row.region.height);
        auto configuration = regionOf(row.region, width, height);
        configuration.showsCursor = false;
        Recording recording(server, display, configuration);
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        const Frame frame = recording.log.frame(0);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const double onDisplayX = row.region.x + x;
                const double onDisplayY = row.region.y + y;
                const bool inside =
                    onDisplayX >= 0 && onDisplayX < 300 && onDisplayY >= 0 && onDisplayY < 200;
                ASSERT_EQ(frame.luma(x, y), inside ? 235 : 16) << x << "," << y;
                ASSERT_EQ(frame.chroma(1, x / 2, y / 2), 128);
            }
        }
    }
}

TEST(X11ScreenSource, ScalesToTheOutputSize) {
    struct Row {
        std::string name;
        int sourceWidth, sourceHeight, width, height;
    };
    const Row rows[] = {
        {"half", 600, 400, 300, 200},
        {"an odd source", 601, 401, 480, 320},
        {"larger", 150, 100, 300, 200},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const XServer server("640x480x24");
        XClient client(server.displayName());
        const int halfWidth = row.sourceWidth / 2;
        const int halfHeight = row.sourceHeight / 2;
        client.fill({0, 0, halfWidth, halfHeight}, 0xFF0000);
        client.fill({halfWidth, 0, row.sourceWidth, halfHeight}, 0x00FF00);
        client.fill({0, halfHeight, halfWidth, row.sourceHeight}, 0x0000FF);
        client.fill({halfWidth, halfHeight, row.sourceWidth, row.sourceHeight}, 0xFFFFFF);
        Recording recording(server, wholeScreen(640, 480),
                            regionOf({0, 0, double(row.sourceWidth), double(row.sourceHeight)},
                                     row.width, row.height));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        const Frame frame = recording.log.frame(0);
        ASSERT_EQ(frame.width, row.width);
        ASSERT_EQ(frame.height, row.height);
        // Up to eight pixels from the middle, where the patches meet.
        const int left = row.width / 2 - 8;
        const int right = row.width / 2 + 8;
        const int top = row.height / 2 - 8;
        const int bottom = row.height / 2 + 8;
        EXPECT_TRUE(isColour(frame.at(0, 0), 255, 0, 0));
        EXPECT_TRUE(isColour(frame.at(left, top), 255, 0, 0));
        EXPECT_TRUE(isColour(frame.at(right, top), 0, 255, 0));
        EXPECT_TRUE(isColour(frame.at(left, bottom), 0, 0, 255));
        EXPECT_TRUE(isColour(frame.at(right, bottom), 255, 255, 255));
        EXPECT_TRUE(isColour(frame.at(row.width - 1, row.height - 1), 255, 255, 255));

        // A change of part of it is seen, too.
        client.fill({0, 0, halfWidth, halfHeight}, 0xFFFF00);
        ASSERT_TRUE(recording.log.waitForCount(2));
        recording.log.waitForQuiet();
        EXPECT_TRUE(isColour(recording.log.last().at(0, 0), 255, 255, 0));
        EXPECT_TRUE(isColour(recording.log.last().at(right, bottom), 255, 255, 255));
    }
}

// The cursor of XClient with its hot spot at (3, 2) and the pointer at (pointerX, pointerY).
void expectCursor(const Frame& frame, int pointerX, int pointerY) {
    // Chroma is a mean over 2x2 pixels, so what the pattern shows is the mean of red and blue;
    // luma shows each pixel.
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const int expected = y == 7 ? 126 : (x + y) % 2 == 0 ? 63 : 32;
            ASSERT_NEAR(frame.luma(pointerX - 3 + x, pointerY - 2 + y), expected, 1)
                << x << "," << y;
        }
    }
    ASSERT_NEAR(frame.luma(pointerX - 4, pointerY), 126, 1);
    ASSERT_NEAR(frame.luma(pointerX + 5, pointerY), 126, 1);
    ASSERT_NEAR(frame.luma(pointerX, pointerY - 3), 126, 1);
}

void expectNoCursor(const Frame& frame) {
    for (const std::uint8_t luma : frame.planes[0])
        ASSERT_EQ(luma, 126);
}

TEST(X11ScreenSource, DrawsTheCursorAtItsHotSpotAlsoWhenOnlyItMoves) {
    for (const bool byDevice : {false, true}) {
        SCOPED_TRACE(byDevice ? "moved by a device" : "moved by a program");
        const XServer server("640x480x24");
        XClient client(server.displayName());
        client.fill({0, 0, 640, 480}, 0x808080);
        client.movePointer(50, 40);
        client.setCursor(3, 2);
        Recording recording(server, wholeScreen(640, 480), regionOf({10, 10, 300, 200}, 300, 200));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        std::size_t count = recording.log.waitForQuiet();
        EXPECT_EQ(count, 1u);
        expectCursor(recording.log.last(), 40, 30);

        const auto before = monotonicClock.hostTime();
        if (byDevice) {
            client.moveDevice(151, 101);
        } else {
            client.movePointer(151, 101);
        }
        ASSERT_TRUE(recording.log.waitForCount(count + 1));
        count = recording.log.waitForQuiet();
        EXPECT_EQ(count, 2u);
        expectCursor(recording.log.last(), 141, 91);
        ASSERT_NEAR(recording.log.last().luma(40, 30), 126, 1);
        EXPECT_LT(recording.log.last().time - before, 2s);

        // Out of the region: gone, and then its movements are no frames.
        client.movePointer(600, 400);
        ASSERT_TRUE(recording.log.waitForCount(count + 1));
        count = recording.log.waitForQuiet();
        expectNoCursor(recording.log.last());
        client.movePointer(500, 300);
        EXPECT_EQ(recording.log.waitForQuiet(), count);

        // Over the region's edge.
        client.movePointer(10, 10);
        ASSERT_TRUE(recording.log.waitForCount(count + 1));
        recording.log.waitForQuiet();
        ASSERT_NEAR(recording.log.last().luma(0, 0), 32, 1);
        ASSERT_NEAR(recording.log.last().luma(4, 4), 32, 1);
        ASSERT_NEAR(recording.log.last().luma(5, 4), 126, 1);
    }
}

TEST(X11ScreenSource, SeesADevicesMovementWithoutAskingForIt) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    auto configuration = regionOf({0, 0, 300, 200}, 300, 200);
    configuration.minimumFrameInterval = 3s;  // as often as the pointer is asked for, then
    Recording recording(server, wholeScreen(640, 480), configuration);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    // Until the next picture may come, and the question of that moment has been asked.
    std::this_thread::sleep_for(3300ms);
    const auto before = monotonicClock.hostTime();
    client.moveDevice(50, 40);
    ASSERT_TRUE(recording.log.waitForCount(2));
    EXPECT_LT(recording.log.last().time - before, 2s);
}

TEST(X11ScreenSource, ShowsANewCursorImage) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    client.fill({0, 0, 640, 480}, 0x808080);
    client.setCursor(0, 0);
    client.movePointer(100, 100);
    Recording recording(server, wholeScreen(640, 480), regionOf({0, 0, 300, 200}, 300, 200));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    const std::size_t count = recording.log.waitForQuiet();
    client.setCursor(3, 2);
    ASSERT_TRUE(recording.log.waitForCount(count + 1));
    recording.log.waitForQuiet();
    expectCursor(recording.log.last(), 100, 100);
}

TEST(X11ScreenSource, DrawsNoCursorWhenNoneIsWanted) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    client.fill({0, 0, 640, 480}, 0x808080);
    client.movePointer(50, 40);
    client.setCursor(3, 2);
    auto configuration = regionOf({0, 0, 300, 200}, 300, 200);
    configuration.showsCursor = false;
    Recording recording(server, wholeScreen(640, 480), configuration);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    expectNoCursor(recording.log.frame(0));
    client.moveDevice(80, 80);
    client.movePointer(90, 90);
    EXPECT_EQ(recording.log.waitForQuiet(), 1u);
}

TEST(X11ScreenSource, ASmallChangeIsOneMoreFrameWithExactlyIt) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    client.fill({0, 0, 640, 480}, 0x808080);
    Recording recording(server, wholeScreen(640, 480), regionOf({5, 5, 300, 200}, 300, 200));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    ASSERT_EQ(recording.log.waitForQuiet(), 1u);

    client.fill({6, 5, 3, 2}, 0xFFFFFF);
    ASSERT_TRUE(recording.log.waitForCount(2));
    EXPECT_EQ(recording.log.waitForQuiet(), 2u);
    const Frame frame = recording.log.frame(1);
    EXPECT_TRUE(frame.complete);
    EXPECT_GT(frame.time, recording.log.frame(0).time);
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 300; ++x) {
            const bool changed = x >= 1 && x < 4 && y < 2;
            ASSERT_EQ(frame.luma(x, y), changed ? 235 : 126) << x << "," << y;
        }
    }
}

TEST(X11ScreenSource, SeesWindowsComeMoveAndGo) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    const std::uint32_t desktop = client.openWindow({0, 0, 640, 480}, 0x0000FF);
    client.movePointer(639, 479);
    Recording recording(server, wholeScreen(640, 480), regionOf({10, 10, 300, 200}, 300, 200));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    std::size_t count = recording.log.waitForQuiet();

    const std::uint32_t window = client.openWindow({50, 50, 40, 30}, 0xFF0000);
    ASSERT_TRUE(recording.log.waitForCount(count + 1));
    count = recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(40, 40), 255, 0, 0));
    EXPECT_TRUE(isColour(recording.log.last().at(79, 69), 255, 0, 0));
    EXPECT_TRUE(isColour(recording.log.last().at(80, 70), 0, 0, 255));

    client.moveWindow(window, 150, 100);
    ASSERT_TRUE(recording.log.waitForCount(count + 1));
    count = recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(40, 40), 0, 0, 255));
    EXPECT_TRUE(isColour(recording.log.last().at(140, 90), 255, 0, 0));

    client.closeWindow(window);
    ASSERT_TRUE(recording.log.waitForCount(count + 1));
    count = recording.log.waitForQuiet();
    EXPECT_TRUE(isColour(recording.log.last().at(140, 90), 0, 0, 255));
    client.closeWindow(desktop);
}

TEST(X11ScreenSource, DeliversNothingWhenNothingInTheRegionChanged) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    client.setCursor(0, 0);
    client.movePointer(100, 100);
    Recording recording(server, wholeScreen(640, 480), regionOf({0, 0, 300, 200}, 300, 200));
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    ASSERT_EQ(recording.log.waitForQuiet(), 1u);
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(recording.log.count(), 1u);
    for (int i = 0; i < 20; ++i) {
        client.fill({300, 200, 340, 280}, static_cast<std::uint32_t>(i) * 0x0A0B0C);
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_EQ(recording.log.waitForQuiet(), 1u);
}

TEST(X11ScreenSource, KeepsToTheFrameRate) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    Recording recording(server, wholeScreen(640, 480), regionOf({0, 0, 300, 200}, 300, 200));
    recording.start();
    // For a second, and longer where something was held up meanwhile.
    constexpr std::size_t fewest = 10;
    const auto begin = std::chrono::steady_clock::now();
    const auto runs = [&] { return std::chrono::steady_clock::now() - begin; };
    for (std::uint32_t i = 0; runs() < 1s || (runs() < 3s && recording.log.count() < fewest); ++i) {
        client.fill({0, 0, 300, 200}, i * 0x030507);
        std::this_thread::sleep_for(2ms);
    }
    const std::size_t count = recording.log.waitForQuiet();
    EXPECT_GE(count, fewest);
    EXPECT_LE(count, 63u);
    for (std::size_t i = 1; i < count; ++i) {
        const auto distance = recording.log.frame(i).time - recording.log.frame(i - 1).time;
        EXPECT_GE(distance, 15'666'667ns) << i;
    }
}

TEST(X11ScreenSource, KeepsTheLastChangeWhileNoPictureIsFree) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    client.fill({0, 0, 640, 480}, 0);
    Recording recording(server, wholeScreen(640, 480), regionOf({0, 0, 300, 200}, 300, 200));
    recording.log.keepSamples();
    recording.start();
    std::uint32_t shade = 0;
    const auto drawAnother = [&] {
        client.fill({0, 0, 20, 20}, ++shade * 0x010101);
        std::this_thread::sleep_for(20ms);
    };
    while (recording.log.count() < 6 && shade < 200)
        drawAnother();
    for (int i = 0; i < 10; ++i)
        drawAnother();
    client.fill({20, 0, 20, 20}, 0xFFFFFF);
    EXPECT_EQ(recording.log.waitForQuiet(), 6u);
    recording.log.releaseSamples();
    ASSERT_TRUE(recording.log.waitForCount(7));
    EXPECT_EQ(recording.log.waitForQuiet(), 7u);
    EXPECT_NEAR(recording.log.last().luma(10, 10), lumaOfGrey(shade), 1);
    EXPECT_EQ(recording.log.last().luma(30, 10), 235);
}

// Whether the picture is that of the grey screen.
::testing::AssertionResult shows(const Frame& frame, const std::vector<std::uint32_t>& screen) {
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const int expected = lumaOfGrey(screen[static_cast<std::size_t>(y * frame.width + x)]);
            if (std::abs(frame.luma(x, y) - expected) <= 1) continue;
            return ::testing::AssertionFailure() << "luma " << frame.luma(x, y) << " instead of "
                                                 << expected << " at " << x << "," << y;
        }
    }
    return ::testing::AssertionSuccess();
}

TEST(X11ScreenSource, EveryPictureOfThePoolIsWhole) {
    const XServer server("640x480x24");
    XClient client(server.displayName());
    client.put({0, 0, 640, 480}, greyNoise(640, 480, 1));
    client.movePointer(639, 479);
    const PixelRect region{101, 51, 302, 204};
    auto configuration = regionOf({101, 51, 302, 204}, 302, 204);
    configuration.minimumFrameInterval = 2ms;
    Recording recording(server, wholeScreen(640, 480), configuration);
    recording.start();
    ASSERT_TRUE(recording.log.waitForCount(1));
    std::mt19937 random(7);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (int round = 0; round < 15; ++round) {
        SCOPED_TRACE(round);
        // So that pictures of every age are drawn next.
        if (round % 3 == 0) recording.log.keepSamples();
        if (round % 3 == 2) recording.log.releaseSamples();
        for (int i = 0; i < 30; ++i) {
            const PixelRect rect{below(600), below(440), 1 + below(39), 1 + below(39)};
            client.put(rect, greyNoise(rect.width, rect.height, static_cast<unsigned>(random())));
            if (i % 3 == 0) std::this_thread::sleep_for(3ms);
        }
        if (round % 3 != 2) continue;
        const auto screen = client.get(region);
        ASSERT_TRUE(comesToHold([&] { return shows(recording.log.last(), screen); }));
    }
}

TEST(X11ScreenSource, EndsWhenItsDisplayGoesOrChanges) {
    struct Row {
        std::string name;
        void (*change)(XClient& client);
        std::string expected;  // empty: it goes on
    };
    const std::string changed = "The display that is being recorded changed its size or position.";
    const Row rows[] = {
        {"disconnected", [](XClient& client) { client.deleteMonitor("part"); },
         "The display that is being recorded was disconnected."},
        {"resized",
         [](XClient& client) {
             client.replaceMonitor("part", {100, 50, 301, 200});
         },
         changed},
        {"moved",
         [](XClient& client) {
             client.replaceMonitor("part", {100, 51, 300, 200});
         },
         changed},
        {"another one comes",
         [](XClient& client) {
             client.setMonitor("new", {0, 0, 50, 50});
         },
         ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const XServer server("640x480x24");
        XClient client(server.displayName());
        client.setMonitor("part", {100, 50, 300, 200});
        const Display display{idOf("part"), 300, 200, {100, 50, 300, 200}};
        Recording recording(server, display, regionOf({0, 0, 300, 200}, 300, 200));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        row.change(client);
        const bool goesOn = row.expected.empty();
        EXPECT_TRUE(goesOn || recording.log.waitForEnd());
        const std::size_t count = recording.log.count();
        client.fill({150, 100, 50, 50}, 0x123456);
        EXPECT_TRUE(!goesOn || recording.log.waitForCount(count + 1));
        EXPECT_EQ(recording.log.waitForQuiet(), goesOn ? count + 1 : count);
        EXPECT_EQ(descriptionOf(recording.log.ended()), row.expected);
        recording.source->stop();
        EXPECT_EQ(recording.log.endings(), goesOn ? 0u : 1u);
    }
}

TEST(X11ScreenSource, EndsWhenTheServerDies) {
    for (const bool waitingForAPicture : {false, true}) {
        SCOPED_TRACE(waitingForAPicture ? "while no picture is free" : "while nothing happens");
        XServer server("640x480x24");
        auto configuration = regionOf({0, 0, 300, 200}, 300, 200);
        configuration.queueDepth = 1;
        Recording recording(server, wholeScreen(640, 480), configuration);
        if (waitingForAPicture) recording.log.keepSamples();
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        {
            XClient client(server.displayName());
            client.fill({0, 0, 10, 10}, 0xFFFFFF);
            recording.log.waitForQuiet();
        }
        server.kill();
        ASSERT_TRUE(recording.log.waitForEnd());
        EXPECT_EQ(descriptionOf(recording.log.ended()), "The connection to the X server was lost.");
        recording.source->stop();
        EXPECT_EQ(recording.log.endings(), 1u);
        recording.log.releaseSamples();
    }
}

TEST(X11ScreenSource, StopsAtOnceWhateverTheServerDoes) {
    for (const bool frozen : {false, true}) {
        SCOPED_TRACE(frozen ? "a frozen server" : "a server that answers");
        XServer server("640x480x24");
        Recording recording(server, wholeScreen(640, 480), regionOf({0, 0, 300, 200}, 300, 200));
        recording.start();
        ASSERT_TRUE(recording.log.waitForCount(1));
        if (frozen) {
            server.freeze();
            std::this_thread::sleep_for(50ms);  // by now it hangs in a question for the pointer
        }
        const auto begin = std::chrono::steady_clock::now();
        recording.source->stop();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
        EXPECT_EQ(recording.log.endings(), 0u);
        server.thaw();
        if (frozen) continue;
        const std::size_t count = recording.log.count();
        XClient(server.displayName()).fill({0, 0, 10, 10}, 0xFFFFFF);
        EXPECT_EQ(recording.log.waitForQuiet(), count);
        recording.source->stop();
    }
}

TEST(X11ScreenSource, CanBeStoppedWhileItStartsOnASilentServer) {
    XServer server("640x480x24");
    server.freeze();
    Recording recording(server, wholeScreen(640, 480), regionOf({0, 0, 300, 200}, 300, 200));
    std::string description;
    std::thread starter([&] {
        try {
            recording.start();
        } catch (const PlatformError& error) {
            description = error.description();
        }
    });
    std::this_thread::sleep_for(100ms);
    const auto begin = std::chrono::steady_clock::now();
    recording.source->stop();
    starter.join();
    // Otherwise it waits ten seconds for the server.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_EQ(description, "The capture was stopped while it started.");
    EXPECT_EQ(recording.log.count(), 0u);
    // The thread that was left behind now gets its answer, and must not mind.
    server.thaw();
    std::this_thread::sleep_for(100ms);
}

TEST(X11ScreenSource, StartFailsWithAClearReason) {
    const XServer server("640x480x24");
    const XServer shallow("640x480x16");
    const XServer bare("640x480x24", {"-extension", "DAMAGE"});
    Display elsewhere = wholeScreen(640, 480);
    elsewhere.frame.x = 10;
    Display unknown = wholeScreen(640, 480);
    unknown.displayID += 1;
    struct Row {
        std::string name;
        std::string displayName;
        Display display;
        support::Rect region;
        std::string expected;
    };
    const support::Rect small{0, 0, 300, 200};
    const Row rows[] = {
        {"no server", ":65000", wholeScreen(640, 480), small,
         "Could not connect to the X server :65000."},
        {"no display's name", "nonsense", wholeScreen(640, 480), small,
         "\"nonsense\" does not name an X display."},
        {"unknown colours", shallow.displayName(), wholeScreen(640, 480), small,
         "The X server's screen has a color depth that cannot be recorded (16 bits)."},
        {"no reports of drawing", bare.displayName(), wholeScreen(640, 480), small,
         "The X server lacks the DAMAGE extension."},
        {"a display that is gone", server.displayName(), unknown, small,
         "The display that is being recorded was disconnected."},
        {"a display that has moved", server.displayName(), elsewhere, small,
         "The display that is being recorded changed its size or position."},
        {"a region beyond all measure",
         server.displayName(),
         wholeScreen(640, 480),
         {0, 0, 1e6, 1e6},
         "The region is too large to be recorded."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        FrameLog log;
        const auto source =
            makeX11ScreenSource({DisplayContent{row.display, {}}, row.display.frame, 1},
                                regionOf(row.region, 300, 200), monotonicClock, row.displayName);
        std::string description;
        try {
            source->start(log.events());
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.domain(), "X11");
            description = error.description();
        }
        EXPECT_EQ(description, row.expected);
        source->stop();
        EXPECT_EQ(log.count() + log.endings(), 0u);
    }
}

}  // namespace
}  // namespace quorvane::platform::x11
