#include "sources/shareable_sources.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvane::sources {
namespace {

using platform::Display;
using platform::RunningApplication;
using platform::ShareableContent;
using platform::Window;
using support::Rect;
using testing::ElementsAre;
using testing::IsEmpty;

const RunningApplication alpha{10, "Alpha", "org.example.alpha"};
const RunningApplication beta{20, "Beta", ""};

Window window(std::uint32_t identifier, const char* title,
              std::optional<RunningApplication> owner = alpha, Rect frame = {10, 10, 100, 100}) {
    return {.windowID = identifier,
            .title = title,
            .windowLayer = 0,
            .isOnScreen = true,
            .isActive = false,
            .frame = frame,
            .owningApplication = std::move(owner)};
}

std::vector<std::uint32_t> identifiers(const std::vector<ShareableWindow>& windows) {
    std::vector<std::uint32_t> ids;
    for (const auto& each : windows)
        ids.push_back(each.id);
    return ids;
}

TEST(ShareableSources, ListsOnlyRecordableWindows) {
    struct Row {
        const char* name;
        bool listed;
        std::function<void(Window&)> change;
    };
    const Row rows[] = {
        {"on screen", true, [](Window&) {}},
        {"8 by 8", true,
         [](Window& w) {
             w.frame = {0, 0, 8, 8};
         }},
        {"7.5 by 100", false,
         [](Window& w) {
             w.frame = {0, 0, 7.5, 100};
         }},
        {"100 by 7.999", false,
         [](Window& w) {
             w.frame = {0, 0, 100, 7.999};
         }},
        {"minimised", false, [](Window& w) { w.isOnScreen = false; }},
        {"off screen but active", true,
         [](Window& w) {
             w.isOnScreen = false;
             w.isActive = true;
         }},
        {"a layer above", false, [](Window& w) { w.windowLayer = 1; }},
        {"a layer below", false, [](Window& w) { w.windowLayer = -1; }},
        {"without an owner", false, [](Window& w) { w.owningApplication.reset(); }},
        {"without a title", true, [](Window& w) { w.title.reset(); }},
        {"off every display", true,
         [](Window& w) {
             w.frame = {9000, 9000, 50, 50};
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ShareableContent content;
        content.displays = {{1, 1920, 1080, {0, 0, 1920, 1080}}};
        content.windows = {window(7, "title")};
        content.applications = {alpha};
        row.change(content.windows[0]);
        const auto sources = shareableSources(content);
        EXPECT_EQ(sources.windows.size(), row.listed ? 1u : 0u);
        // An application without a listed window is not listed either.
        EXPECT_EQ(sources.applications.size(), row.listed ? 1u : 0u);
    }
}

TEST(ShareableSources, OrdersWindowsByApplicationThenTitle) {
    struct Row {
        const char* name;
        std::vector<Window> windows;  // in the platform's order
        std::vector<std::uint32_t> expected;
    };
    const auto named = [](std::uint32_t id, const char* application, const char* title) {
        return window(id, title,
                      RunningApplication{static_cast<std::int32_t>(id), application, ""});
    };
    Window untitled = window(3, "");
    untitled.title.reset();
    const Row rows[] = {
        {"applications first",
         {window(1, "B", beta), window(2, "A", beta), window(3, "x", alpha)},
         {3, 2, 1}},
        {"equals keep the platform's order",
         {window(9, "same"), window(1, "same"), window(5, "same")},
         {9, 1, 5}},
        {"upper case before lower case", {window(1, "a"), window(2, "Z")}, {2, 1}},
        {"a missing title is an empty one", {window(1, "a"), untitled, window(2, "")}, {3, 2, 1}},
        // e with a combining acute accent is the letter U+00E9, which comes after z.
        {"composed and decomposed are one",
         {named(1, "\xC3\xA9", "2"), named(2, "e\xCC\x81", "1"), named(3, "z", "3")},
         {3, 2, 1}},
        {"decomposed does not sort as its base letter",
         {named(1, "e\xCC\x81", ""), named(2, "f", "")},
         {2, 1}},
        // U+FF5E and U+1F600: UTF-16 would have it the other way round.
        {"scalar values, not code units",
         {named(1, "\xF0\x9F\x98\x80", ""), named(2, "\xEF\xBD\x9E", "")},
         {2, 1}},
        {"a prefix comes first", {window(1, "ab"), window(2, "a")}, {2, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ShareableContent content;
        content.windows = row.windows;
        EXPECT_EQ(identifiers(shareableSources(content).windows), row.expected);
    }
}

TEST(ShareableSources, OrdersDisplaysByIdentifierButLooksThemUpInThePlatformsOrder) {
    ShareableContent content;
    content.displays = {{5, 200, 100, {0, 0, 200, 100}}, {1, 200, 100, {100, 0, 200, 100}}};
    content.windows = {window(7, "", alpha, {100, 0, 50, 50})};
    content.applications = {alpha};
    const auto sources = shareableSources(content);
    ASSERT_EQ(sources.displays.size(), 2u);
    EXPECT_EQ(sources.displays[0].id, 1u);
    EXPECT_EQ(sources.displays[0].frame, (ShareableRect{100, 0, 200, 100}));
    EXPECT_EQ(sources.displays[1].id, 5u);
    EXPECT_EQ(sources.windows[0].displayId, 5u);
}

TEST(ShareableSources, SumsUpApplications) {
    ShareableContent content;
    content.displays = {{5, 100, 100, {0, 0, 100, 100}}, {1, 100, 100, {100, 0, 100, 100}}};
    content.windows = {
        window(1, "", alpha, {10, 10, 20, 20}), window(2, "", alpha, {150, 50, 20, 30}),
        window(3, "", alpha, {-500, -500, 20, 20}), window(4, "", beta, {0, 0, 5, 5})};
    content.applications = {beta, alpha};
    const auto sources = shareableSources(content);
    ASSERT_EQ(sources.applications.size(), 1u);
    const auto& application = sources.applications[0];
    EXPECT_EQ(application.processId, 10);
    EXPECT_EQ(application.appName, "Alpha");
    EXPECT_EQ(application.bundleIdentifier, "org.example.alpha");
    EXPECT_EQ(application.windowCount, 3);
    EXPECT_THAT(application.displayIds, ElementsAre(1, 5));
    EXPECT_EQ(application.frame, (ShareableRect{-500, -500, 670, 580}));
}

TEST(ShareableSources, ApplicationsOnNoDisplayHaveAFrameAllTheSame) {
    ShareableContent content;
    content.windows = {window(1, "", alpha, {1, 2, 20, 20})};
    content.applications = {alpha};
    const auto sources = shareableSources(content);
    ASSERT_EQ(sources.applications.size(), 1u);
    EXPECT_THAT(sources.applications[0].displayIds, IsEmpty());
    EXPECT_EQ(sources.applications[0].frame, (ShareableRect{1, 2, 20, 20}));
}

TEST(ShareableSources, ApplicationsOfOneNameKeepThePlatformsOrder) {
    ShareableContent content;
    const RunningApplication applications[] = {
        {31, "same", ""}, {12, "same", ""}, {25, "Same", ""}};
    for (const auto& application : applications) {
        content.applications.push_back(application);
        content.windows.push_back(window(1, "", application));
    }
    std::vector<std::int32_t> processes;
    for (const auto& application : shareableSources(content).applications)
        processes.push_back(application.processId);
    EXPECT_THAT(processes, ElementsAre(25, 31, 12));
}

TEST(ShareableSources, NothingToListIsNoError) {
    EXPECT_EQ(support::jsonText(shareableSources({}), support::JsonOrder::sorted),
              R"({"applications":[],"displays":[],"windows":[]})");
}

TEST(ShareableWindow, OfAnOwnerThatIsGoneIsThatOfAnUnknownApp) {
    const auto listed = shareableWindow(window(7, "t", std::nullopt), {});
    EXPECT_EQ(listed.appName, "Unknown App");
    EXPECT_EQ(listed.bundleIdentifier, "");
    EXPECT_EQ(listed.processId, 0);
}

TEST(ShareableSources, IsOneLineWithSortedMembersAndWithoutWhatIsAbsent) {
    ShareableContent content;
    content.displays = {{3, 1920, 1080, {0, 0, 1920, 1080}}};
    content.windows = {window(4294967295, "a/\"b\"", alpha, {0.5, 0, 640, 480}),
                       window(2, "z", alpha, {5000, 0, 10, 10})};
    content.windows[0].isActive = true;
    content.applications = {alpha};
    EXPECT_EQ(
        support::jsonText(shareableSources(content), support::JsonOrder::sorted),
        R"({"applications":[{"appName":"Alpha","bundleIdentifier":"org.example.alpha",)"
        R"("displayIds":[3],"frame":{"height":480,"width":5009.5,"x":0.5,"y":0},"processId":10,)"
        R"("windowCount":2}],)"
        R"("displays":[{"frame":{"height":1080,"width":1920,"x":0,"y":0},"height":1080,"id":3,)"
        R"("width":1920}],)"
        R"("windows":[{"active":true,"appName":"Alpha","bundleIdentifier":"org.example.alpha",)"
        R"("displayId":3,"frame":{"height":480,"width":640,"x":0.5,"y":0},"id":4294967295,)"
        R"("layer":0,"onScreen":true,"processId":10,"title":"a\/\"b\""},)"
        R"({"active":false,"appName":"Alpha","bundleIdentifier":"org.example.alpha",)"
        R"("frame":{"height":10,"width":10,"x":5000,"y":0},"id":2,)"
        R"("layer":0,"onScreen":true,"processId":10,"title":"z"}]})");
}

TEST(ShareableSources, AnInfiniteFrameCannotBeEncoded) {
    ShareableContent content;
    content.displays = {{1, 1, 1, {0, 0, std::numeric_limits<double>::infinity(), 1}}};
    EXPECT_THROW(support::jsonText(shareableSources(content), support::JsonOrder::sorted),
                 support::JsonEncodingError);
}

}  // namespace
}  // namespace quorvane::sources
