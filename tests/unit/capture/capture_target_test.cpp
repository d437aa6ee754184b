#include "capture/capture_target.h"

#include <gtest/gtest.h>

#include "cli/recorder_error.h"

namespace quorvane::capture {
namespace {

using cli::RecordingRequest;
using cli::RecordingSourceKind;
using platform::Display;
using platform::RunningApplication;
using platform::ShareableContent;
using platform::Window;
using support::Rect;

Display display(std::uint32_t identifier, Rect frame) {
    return {identifier, static_cast<int>(frame.width), static_cast<int>(frame.height), frame};
}

const std::vector<Display> sideBySide{display(1, {0, 0, 100, 100}), display(2, {100, 0, 100, 100})};
const std::vector<Display> withGap{display(1, {0, 0, 100, 100}), display(2, {200, 0, 100, 100})};

const RunningApplication editor{42, "Editor", ""};

Window window(std::uint32_t identifier, Rect frame) {
    return {identifier, "", 0, true, false, frame, editor};
}

template <class Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const cli::RecorderError& error) {
        return error.errorDescription();
    }
    return "";
}

TEST(DisplayForRegion, TheMidpointDecidesThenTheFirstTouched) {
    struct Row {
        const char* name;
        std::vector<Display> displays;
        Rect region;
        std::uint32_t expected;
    };
    const Row rows[] = {
        {"inside the first", sideBySide, {10, 10, 50, 50}, 1},
        {"more area on the second, midpoint on the first", sideBySide, {-100, 0, 290, 100}, 1},
        {"midpoint exactly on the shared edge", sideBySide, {50, 0, 100, 100}, 2},
        {"midpoint in the gap, touching the second", withGap, {110, 0, 95, 50}, 2},
        {"midpoint in the gap, touching both", withGap, {90, 0, 120, 50}, 1},
        {"midpoint below, touching", sideBySide, {110, 90, 20, 200}, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(displayForRegion(row.region, row.displays).displayID, row.expected);
    }
}

TEST(DisplayForRegion, WithoutADisplayThereIsAnError) {
    EXPECT_EQ(errorOf([] {
                  displayForRegion({0, 0, 10, 10}, {});
              }),
              "No recordable displays were found.");
    EXPECT_EQ(errorOf([] {
                  displayForRegion({500, 500, 10, 10}, sideBySide);
              }),
              "The selected region is not on a recordable display.");
    EXPECT_EQ(errorOf([] {
                  displayForRegion({200, 0, 10, 10}, sideBySide);
              }),
              "The selected region is not on a recordable display.");
}

TEST(DisplayForApplicationWindows, TheLargestSharedAreaDecides) {
    struct Row {
        const char* name;
        std::vector<Display> displays;
        std::vector<Window> windows;
        std::optional<std::uint32_t> expected;
    };
    const Row rows[] = {
        {"no displays", {}, {window(1, {0, 0, 10, 10})}, std::nullopt},
        {"no windows", sideBySide, {}, std::nullopt},
        {"more on the second",
         sideBySide,
         {window(1, {0, 0, 10, 10}), window(2, {120, 0, 50, 50})},
         2},
        {"equal totals go to the earlier display",
         sideBySide,
         {window(1, {110, 0, 20, 20}), window(2, {10, 0, 20, 20})},
         1},
        {"sums count, not single windows",
         sideBySide,
         {window(1, {0, 0, 30, 30}), window(2, {110, 0, 20, 30}), window(3, {140, 0, 20, 30})},
         2},
        {"off every display goes to the first", sideBySide, {window(1, {500, 500, 50, 50})}, 1},
        {"without an area the first window's midpoint decides",
         sideBySide,
         {window(1, {150, 50, 0, 20}), window(2, {50, 50, 0, 20})},
         2},
        {"only touching is no area", sideBySide, {window(1, {200, 0, 50, 50})}, 1},
        {"only what lies on a display counts",
         sideBySide,
         {window(1, {-1000, 0, 1010, 100}), window(2, {180, 0, 1000, 100})},
         2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto chosen = displayForApplicationWindows(row.windows, row.displays);
        EXPECT_EQ(chosen ? std::optional(chosen->displayID) : std::nullopt, row.expected);
    }
}

TEST(DisplayForWindow, TheMidpointDecidesThenTheFirstTouched) {
    struct Row {
        const char* name;
        std::vector<Display> displays;
        Rect frame;
        std::optional<std::uint32_t> expected;
    };
    const Row rows[] = {
        {"inside the second", sideBySide, {110, 0, 20, 20}, 2},
        {"more area on the second, midpoint on the first", sideBySide, {-100, 0, 290, 100}, 1},
        {"midpoint in the gap, touching both", withGap, {90, 0, 120, 50}, 1},
        {"midpoint in the gap, touching the second", withGap, {110, 0, 95, 50}, 2},
        {"off every display", sideBySide, {500, 500, 20, 20}, std::nullopt},
        {"only touching an edge", sideBySide, {200, 0, 20, 20}, std::nullopt},
        {"no display at all", {}, {0, 0, 20, 20}, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto chosen = displayForWindow(window(1, row.frame), row.displays);
        EXPECT_EQ(chosen ? std::optional(chosen->displayID) : std::nullopt, row.expected);
    }
}

TEST(CaptureTarget, AScreenLeavesOutTheWindowsThatStillExist) {
    RecordingRequest request;
    request.region = {110, 10, 50, 50};
    request.excludedWindowIDs = {9, 3, 3, 1};
    ShareableContent content;
    content.displays = sideBySide;
    content.windows = {window(1, {0, 0, 9, 9}), window(2, {0, 0, 9, 9}), window(3, {0, 0, 9, 9})};
    const auto target = captureTarget(request, content);
    EXPECT_EQ(target.display.displayID, 2U);
    const auto& screen = std::get<platform::DisplayContent>(target.content);
    EXPECT_EQ(screen.display.displayID, 2U);
    ASSERT_EQ(screen.excludingWindows.size(), 2U);
    EXPECT_EQ(screen.excludingWindows[0].windowID, 1U);
    EXPECT_EQ(screen.excludingWindows[1].windowID, 3U);
    // A window may appear under any of them later.
    EXPECT_EQ(screen.excludedWindowIDs, request.excludedWindowIDs);
}

TEST(CaptureTarget, AScreenWithoutTheExcludedWindowsIsAWholeScreen) {
    RecordingRequest request;
    request.region = {10, 10, 50, 50};
    request.excludedWindowIDs = {9};
    ShareableContent content;
    content.displays = sideBySide;
    const auto target = captureTarget(request, content);
    EXPECT_TRUE(std::get<platform::DisplayContent>(target.content).excludingWindows.empty());
    content.displays.clear();
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "No recordable displays were found.");
}

TEST(CaptureTarget, AWindowMustExistAndLieOnADisplay) {
    RecordingRequest request;
    request.sourceKind = RecordingSourceKind::window;
    request.excludedWindowIDs = {1};
    ShareableContent content;
    content.displays = sideBySide;
    content.windows = {window(1, {110, 0, 20, 20}), window(2, {500, 0, 20, 20})};
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "The selected window is no longer available.");
    request.windowId = 7;
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "The selected window is no longer available.");
    request.windowId = 2;
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "The selected window is not on a recordable display.");
    request.windowId = 1;
    const auto target = captureTarget(request, content);
    EXPECT_EQ(std::get<platform::WindowContent>(target.content).window.windowID, 1U);
    EXPECT_EQ(target.display.displayID, 2U);
}

TEST(CaptureTarget, AnApplicationNeedsARecordableWindow) {
    struct Row {
        const char* name;
        std::function<void(Window&)> spoil;
    };
    RecordingRequest request;
    request.sourceKind = RecordingSourceKind::app;
    ShareableContent content;
    content.displays = sideBySide;
    content.windows = {window(1, {110, 0, 20, 20})};
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "The selected app is no longer available.");
    request.applicationProcessId = 42;
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "The selected app is no longer available.");
    content.applications = {{7, "Other", ""}, editor};
    const auto target = captureTarget(request, content);
    const auto& application = std::get<platform::ApplicationContent>(target.content);
    EXPECT_EQ(application.display.displayID, 2U);
    ASSERT_EQ(application.including.size(), 1U);
    EXPECT_EQ(application.including[0].processID, 42);
    EXPECT_TRUE(application.exceptingWindows.empty());

    const Row rows[] = {
        {"too narrow", [](Window& each) { each.frame.width = 7.9; }},
        {"too low", [](Window& each) { each.frame.height = 7.9; }},
        {"on another layer", [](Window& each) { each.windowLayer = 3; }},
        {"neither on screen nor active", [](Window& each) { each.isOnScreen = false; }},
        {"of another process", [](Window& each) { each.owningApplication->processID = 7; }},
        {"of nobody", [](Window& each) { each.owningApplication.reset(); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto spoiled = content;
        row.spoil(spoiled.windows[0]);
        EXPECT_EQ(errorOf([&] { captureTarget(request, spoiled); }),
                  "The selected app has no recordable windows.");
    }
    content.windows[0].isOnScreen = false;
    content.windows[0].isActive = true;
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }), "");
    content.windows[0].frame = {110, 0, 8, 8};
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }), "");
    content.displays.clear();
    EXPECT_EQ(errorOf([&] { captureTarget(request, content); }),
              "The selected app has no recordable windows.");
}

TEST(CaptureTarget, AnApplicationIsRecordedWhereMostOfItLies) {
    RecordingRequest request;
    request.sourceKind = RecordingSourceKind::app;
    request.applicationProcessId = 42;
    request.excludedWindowIDs = {1, 2};  // of no account here
    ShareableContent content;
    content.displays = sideBySide;
    content.applications = {editor};
    content.windows = {window(1, {0, 0, 30, 30}), window(2, {110, 0, 40, 40}),
                       window(3, {10, 40, 7, 50})};
    const auto target = captureTarget(request, content);
    EXPECT_EQ(target.display.displayID, 2U);
    EXPECT_TRUE(std::get<platform::ApplicationContent>(target.content).exceptingWindows.empty());
    // Off every display it is recorded all the same, on the first.
    content.windows = {window(1, {500, 500, 50, 50})};
    EXPECT_EQ(captureTarget(request, content).display.displayID, 1U);
}

}  // namespace
}  // namespace quorvane::capture
