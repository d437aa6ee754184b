#include "webcam/webcam_preview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/platform_error.h"
#include "simulation/sim_platform.h"
#include "webcam/webcam_preview_window.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::CameraDeviceType;
using testing::ElementsAre;
using testing::IsEmpty;
using webcam::WebcamPreviewShape;
using webcam::WebcamPreviewWindow;

struct Outcome {
    std::optional<int> status;
    std::string error;
};

support::Async<> runInto(cli::Arguments arguments, platform::Platform& platform, Outcome& outcome) {
    try {
        outcome.status = co_await webcam::runWebcamPreview(std::move(arguments), platform);
    } catch (const platform::PlatformError& error) {
        outcome.error = error.description();
    }
}

class WebcamPreview : public testing::Test {
  protected:
    explicit WebcamPreview(std::uint64_t seed = 1) : sim(seed) {
        sim.cameras.cameras = {
            {{"a", "Camera A", "1:1"}, {"b", "Camera B", "1:2"}, {"c", "Camera C", "1:3"}},
            platform::CameraDevice{"a", "Camera A", "1:1"}};
    }

    // A run that goes on is ended, or what it waits for would keep it for good.
    ~WebcamPreview() override {
        sim.application.terminate();
        sim.dispatch.settle();
    }

    void run(cli::Arguments arguments = {"webcam-preview", "--rect", "100,200,240,320"}) {
        support::startDetached(sim.dispatch.mainQueue(),
                               runInto(std::move(arguments), sim.ports, outcome));
        sim.dispatch.settle();
    }
    void input(const std::string& text) {
        sim.process.sendInput(text);
        sim.dispatch.settle();
    }
    const platform::BubbleWindowProperties& shown() const { return sim.application.applied.back(); }

    SimPlatform sim;
    Outcome outcome;
};

TEST_F(WebcamPreview, ARectangleThatIsMissingOrMalformedEndsItBeforeAnythingIsOpened) {
    const cli::Arguments rows[] = {
        {"webcam-preview"},
        {"webcam-preview", "--rect"},
        {"webcam-preview", "--rect", ""},
        {"webcam-preview", "--rect", "1,2,3"},
        {"webcam-preview", "--rect", "1,2,3,4,5"},
        {"webcam-preview", "--rect", "1,2,x,4"},
        {"webcam-preview", "--rect", "--shape", "1,2,3,4"},
        {"webcam-preview", "--rect", "bad", "--rect", "1,2,3,4"},
    };
    for (const auto& arguments : rows) {
        SCOPED_TRACE(arguments.back());
        SimPlatform fresh;
        Outcome result;
        support::startDetached(fresh.dispatch.mainQueue(), runInto(arguments, fresh.ports, result));
        fresh.dispatch.settle();
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(fresh.process.warnings,
                    ElementsAre("webcam-preview: missing or malformed --rect\n"));
        EXPECT_THAT(fresh.application.applied, IsEmpty());
        EXPECT_EQ(fresh.cameras.discoveries, 0);
        EXPECT_FALSE(fresh.application.policy);
    }
}

TEST_F(WebcamPreview, TheWindowIsMadeAsTheRulesSay) {
    run();
    ASSERT_FALSE(sim.application.applied.empty());
    const auto& properties = shown();
    EXPECT_EQ(properties.frame, (support::Rect{100, 200, 240, 320}));
    EXPECT_EQ(properties.style, platform::BubbleStyle::borderless);
    EXPECT_EQ(properties.backing, platform::BubbleBacking::buffered);
    EXPECT_FALSE(properties.isDeferred);
    EXPECT_FALSE(properties.isOpaque);
    EXPECT_EQ(properties.backgroundColor, (platform::BubbleColor{0, 0, 0, 0}));
    EXPECT_TRUE(properties.hasShadow);
    EXPECT_EQ(properties.level, 1001);
    EXPECT_FALSE(properties.isMovableByBackground);
    EXPECT_EQ(properties.collectionBehavior, 273U);
    EXPECT_TRUE(properties.ignoresMouseEvents);
    EXPECT_EQ(properties.container.frame, (support::Rect{0, 0, 240, 320}));
    EXPECT_TRUE(properties.container.masksToBounds);
    EXPECT_EQ(properties.container.borderWidth, 2.0);
    EXPECT_EQ(properties.container.borderColor, (platform::BubbleColor{1, 1, 1, 0.85}));
    EXPECT_EQ(properties.container.backgroundColor, (platform::BubbleColor{0, 0, 0, 1}));
    EXPECT_EQ(properties.container.cornerRadius, 120);
    ASSERT_TRUE(properties.preview);
    EXPECT_EQ(properties.preview->frame, (support::Rect{0, 0, 240, 320}));
    EXPECT_EQ(properties.preview->gravity, platform::VideoGravity::resizeAspectFill);
    EXPECT_EQ(sim.application.policy, platform::ActivationPolicy::accessory);
    EXPECT_TRUE(sim.application.isVisible);
    EXPECT_TRUE(sim.application.launched);
    EXPECT_EQ(sim.cameras.preset, platform::CameraSessionPreset::medium);
    EXPECT_NE(sim.cameras.layer, nullptr);
    EXPECT_THAT(sim.cameras.askedTypes,
                ElementsAre(CameraDeviceType::builtInWideAngleCamera, CameraDeviceType::external,
                            CameraDeviceType::continuityCamera, CameraDeviceType::deskViewCamera));
    EXPECT_THAT(sim.cameras.calls, ElementsAre("begin", "add a", "commit", "start"));
    EXPECT_THAT(sim.process.lines, IsEmpty());
    EXPECT_FALSE(outcome.status);
}

TEST_F(WebcamPreview, OptionsChooseShapeAndCamera) {
    run({"webcam-preview", "--device", "Camera B", "--shape", "rounded-portrait-3x4", "--rect",
         "0,0,240,320"});
    EXPECT_EQ(shown().container.cornerRadius, 32);
    EXPECT_EQ(sim.cameras.current(), "b");
}

TEST_F(WebcamPreview, CommandsChangeTheBubble) {
    run();
    input("shape rounded-portrait-3x4\n");
    EXPECT_EQ(shown().container.cornerRadius, 32);
    input("reposition 100,100,90,120\n");
    EXPECT_EQ(shown().frame, (support::Rect{100, 100, 90, 120}));
    EXPECT_EQ(shown().container.frame, (support::Rect{0, 0, 90, 120}));
    EXPECT_EQ(shown().preview->frame, (support::Rect{0, 0, 90, 120}));
    EXPECT_EQ(shown().container.cornerRadius, 18);
    input("shape  rounded-portrait-3x4\n");  // the argument begins with a space
    EXPECT_EQ(shown().container.cornerRadius, 45);
    input("reposition 100,100,300,400\n");
    EXPECT_EQ(shown().container.cornerRadius, 150);
    EXPECT_FALSE(outcome.status);
}

TEST_F(WebcamPreview, WhatIsNoCommandChangesNothing) {
    run();
    const auto before = sim.application.applied.size();
    input(
        "\n \r\n\xFF\xFE\nQuit\nQUIT\nquit!\nclose\nreposition\nreposition 1,2,3\n"
        "reposition a,b,c,d\nDevice b\nquit\targ\n");
    EXPECT_EQ(sim.application.applied.size(), before);
    EXPECT_EQ(sim.cameras.current(), "a");
    EXPECT_EQ(sim.cameras.discoveries, 1);
    EXPECT_FALSE(outcome.status);
}

TEST_F(WebcamPreview, QuitStopsTheSessionTakesTheWindowAwayAndEndsTheLoop) {
    run();
    input("  quit now \r\n");
    EXPECT_EQ(sim.cameras.calls.back(), "stop");
    EXPECT_FALSE(sim.application.isVisible);
    EXPECT_FALSE(sim.application.terminatesWithoutWindow);
    EXPECT_EQ(sim.application.terminations, 1);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(sim.process.lines, IsEmpty());
    EXPECT_THAT(sim.process.warnings, IsEmpty());
}

TEST_F(WebcamPreview, TheEndOfTheInputDoesTheSameAfterTheLastLine) {
    run();
    input("reposition 5,6,70,80");
    EXPECT_EQ(shown().frame.x, 100);
    input("");
    EXPECT_EQ(shown().frame, (support::Rect{5, 6, 70, 80}));
    EXPECT_FALSE(sim.application.isVisible);
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(WebcamPreview, SignalsCloseItToo) {
    for (const auto signal : {platform::Signal::interrupt, platform::Signal::terminate}) {
        SimPlatform fresh;
        Outcome result;
        support::startDetached(
            fresh.dispatch.mainQueue(),
            runInto({"webcam-preview", "--rect", "1,2,3,4"}, fresh.ports, result));
        fresh.dispatch.settle();
        fresh.process.raise(signal);
        fresh.dispatch.settle();
        EXPECT_EQ(result.status, 0);
        EXPECT_FALSE(fresh.application.isVisible);
    }
}

TEST_F(WebcamPreview, AWindowSystemThatIsMissingOrGoesAwayIsAnError) {
    sim.application.windowFailure =
        std::make_exception_ptr(platform::posixError(2, "No window system"));
    run();
    EXPECT_THAT(outcome.error, testing::StartsWith("No window system"));
    EXPECT_EQ(sim.cameras.discoveries, 0);

    SimPlatform fresh;
    Outcome result;
    support::startDetached(fresh.dispatch.mainQueue(),
                           runInto({"webcam-preview", "--rect", "1,2,3,4"}, fresh.ports, result));
    fresh.dispatch.settle();
    fresh.application.lose(std::make_exception_ptr(platform::posixError(32, "Lost")));
    fresh.dispatch.settle();
    EXPECT_THAT(result.error, testing::StartsWith("Lost"));
}

TEST_F(WebcamPreview, CamerasAreSwitchedInOneStep) {
    run();
    sim.cameras.calls.clear();
    input("device Camera B\n");
    EXPECT_THAT(sim.cameras.calls, ElementsAre("begin", "remove a", "add b", "commit"));
    input("device c\n");
    EXPECT_EQ(sim.cameras.current(), "c");
    input("device unknown\n");
    EXPECT_EQ(sim.cameras.current(), "a") << "falls back to the default camera";
    input("device 1:2\n");
    EXPECT_EQ(sim.cameras.current(), "b");
    input("device\n");
    EXPECT_EQ(sim.cameras.current(), "a");
    input("device b\ndevice default\n");
    EXPECT_EQ(sim.cameras.current(), "a");
}

TEST_F(WebcamPreview, TheSameSelectorAgainDoesNothingWhileItsCameraIsInUse) {
    run();
    EXPECT_EQ(sim.cameras.discoveries, 1);
    input("device\ndevice \n");
    EXPECT_EQ(sim.cameras.discoveries, 1) << "none is the selection already";
    input("device b\n");
    input("device b\n");
    EXPECT_EQ(sim.cameras.discoveries, 2);
    input("device Camera B\n");
    EXPECT_EQ(sim.cameras.discoveries, 3) << "another selector, if for the same camera";
}

TEST_F(WebcamPreview, ACameraThatCannotBeOpenedLeavesTheOneBefore) {
    sim.cameras.refused = {"b"};
    run();
    sim.cameras.calls.clear();
    input("device b\n");
    EXPECT_THAT(sim.cameras.calls, IsEmpty());
    EXPECT_EQ(sim.cameras.current(), "a");
    EXPECT_THAT(sim.process.warnings, IsEmpty());
    input("device b\n");
    EXPECT_EQ(sim.cameras.discoveries, 2) << "the session has an input, so this is a repetition";
}

TEST_F(WebcamPreview, AfterAFailureTheSameSelectorTriesAgain) {
    sim.cameras.refused = {"a"};
    run();
    EXPECT_THAT(sim.cameras.calls, IsEmpty());
    EXPECT_TRUE(sim.application.isVisible) << "black";
    sim.cameras.refused.clear();
    input("device\n");
    EXPECT_EQ(sim.cameras.current(), "a");
}

TEST_F(WebcamPreview, WithoutAnyCameraTheBubbleIsBlackAndTheSessionNotStarted) {
    sim.cameras.cameras = {};
    run();
    EXPECT_THAT(sim.cameras.calls, IsEmpty());
    EXPECT_TRUE(sim.application.isVisible);
    EXPECT_THAT(sim.process.warnings, IsEmpty());
}

TEST_F(WebcamPreview, AnInputThatTheSessionDoesNotTakeLeavesItWithoutOne) {
    run();
    sim.cameras.unaddable = {"b"};
    sim.cameras.calls.clear();
    input("device b\n");
    EXPECT_THAT(sim.cameras.calls, ElementsAre("begin", "remove a", "commit"));
    EXPECT_EQ(sim.cameras.current(), "");
}

TEST_F(WebcamPreview, OfTwoQuickSwitchesTheLastToArriveWins) {
    run();
    sim.cameras.discoverAfter = 2s;
    input("device b\n");
    sim.cameras.discoverAfter = 1s;
    input("device c\n");
    sim.dispatch.advance(1500ms);
    EXPECT_EQ(sim.cameras.current(), "c");
    sim.dispatch.advance(1s);
    EXPECT_EQ(sim.cameras.current(), "b");
}

TEST_F(WebcamPreview, ASwitchThatIsUnderWayAtQuitDoesNoHarm) {
    run();
    sim.cameras.discoverAfter = 1s;
    input("device b\nquit\n");
    EXPECT_EQ(outcome.status, 0);
    sim.dispatch.advance(2s);
    EXPECT_FALSE(*sim.application.isWindowAlive && sim.application.isVisible);
}

TEST_F(WebcamPreview, ASwitchThatOutlivesTheWindowDoesNothing) {
    sim.cameras.discoverAfter = 1s;
    std::shared_ptr<WebcamPreviewWindow> window;
    sim.dispatch.mainQueue().post([&] {
        window = WebcamPreviewWindow::make({0, 0, 100, 100}, "b", WebcamPreviewShape::Case::circle,
                                           sim.application, sim.cameras, sim.dispatch);
    });
    sim.dispatch.settle();
    ASSERT_TRUE(*sim.application.isWindowAlive);
    window.reset();
    EXPECT_FALSE(*sim.application.isWindowAlive) << "the task holds it weakly";
    sim.dispatch.advance(2s);
    EXPECT_THAT(sim.cameras.calls, IsEmpty());
}

TEST(WebcamPreviewSchedules, CommandsKeepTheirOrderWhateverTheSchedule) {
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SimPlatform sim(seed);
        sim.cameras.cameras.devices = {{"a", "A", ""}, {"b", "B", ""}};
        Outcome outcome;
        support::startDetached(
            sim.dispatch.mainQueue(),
            runInto({"webcam-preview", "--rect", "0,0,10,10"}, sim.ports, outcome));
        ASSERT_TRUE(sim.dispatch.advanceUntil([&] { return sim.application.launched; }, 1s));
        // Cut into reads of any length, lines and all.
        std::string text;
        for (int step = 1; step <= 20; ++step) {
            text += "reposition " + std::to_string(step) + ",0,10,10\n";
            text += step % 2 == 0 ? "device a\n" : "device b\n";
        }
        text += "quit\n";
        while (!text.empty()) {
            const auto length = 1 + sim.dispatch.draw(std::min<std::size_t>(text.size(), 60));
            sim.process.sendInput(text.substr(0, length));
            text.erase(0, length);
        }
        sim.cameras.discoverAfter = std::chrono::milliseconds(sim.dispatch.draw(50));
        sim.dispatch.advance(5s);
        double last = 0;
        for (const auto& properties : sim.application.applied) {
            EXPECT_GE(properties.frame.x, last);
            last = properties.frame.x;
        }
        EXPECT_EQ(last, 20);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_FALSE(sim.application.isVisible);
        EXPECT_EQ(sim.application.terminations, 1);
    }
}

}  // namespace
}  // namespace quorvane::simulation
