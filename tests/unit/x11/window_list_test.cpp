#include "platform/linux/x11/window_list.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvane::platform::x11 {
namespace {

using testing::ElementsAre;

// Names a process after what it was shown of it.
class Directory final : public ApplicationDirectory {
  public:
    std::vector<RunningApplication> describe(std::span<const ProcessWindows> processes) override {
        std::vector<RunningApplication> applications;
        for (const ProcessWindows& process : processes) {
            std::string name;
            for (const auto& window : process.windows)
                name += window.className + ";";
            applications.push_back(
                {.processID = process.processID, .applicationName = name, .bundleIdentifier = ""});
        }
        return applications;
    }
};

SurveyedWindow window(std::uint32_t identifier, std::int32_t process, const char* className) {
    SurveyedWindow result;
    result.window = identifier;
    result.isManaged = true;
    result.isViewable = true;
    result.placement.client = {0, 0, 10, 10};
    result.identity.className = className;
    result.processID = process;
    return result;
}

ShareableContent listed(const WindowSurvey& survey, WindowSelection selection = {}) {
    Directory directory;
    return windowsAndApplications(survey, selection, directory);
}

TEST(WindowList, SaysWhatIsOnTheScreen) {
    struct Row {
        const char* name;
        bool onScreen;
        std::function<void(SurveyedWindow&)> change;
    };
    const Row rows[] = {
        {"plain", true, [](SurveyedWindow&) {}},
        {"not viewable", false, [](SurveyedWindow& w) { w.isViewable = false; }},
        {"minimised or shaded", false, [](SurveyedWindow& w) { w.isHidden = true; }},
        {"on this desktop", true, [](SurveyedWindow& w) { w.desktop = 1; }},
        {"on another desktop", false, [](SurveyedWindow& w) { w.desktop = 0; }},
        {"on every desktop", true, [](SurveyedWindow& w) { w.desktop = 0xFFFFFFFF; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        WindowSurvey survey;
        survey.currentDesktop = 1;
        survey.windows = {window(1, 7, "A")};
        row.change(survey.windows[0]);
        EXPECT_EQ(listed(survey).windows.at(0).isOnScreen, row.onScreen);
    }
    // A manager without desktops tells of none.
    WindowSurvey survey;
    survey.windows = {window(1, 7, "A")};
    survey.windows[0].desktop = 3;
    EXPECT_TRUE(listed(survey).windows.at(0).isOnScreen);
}

TEST(WindowList, PutsWindowsOnLayersByTheirTypes) {
    using Types = std::vector<WindowType>;
    struct Row {
        const char* name;
        Types types;
        bool overridesRedirect;
        int layer;
    };
    const Row rows[] = {
        {"no type", {}, false, 0},
        {"normal", {WindowType::normal}, false, 0},
        {"dialog", {WindowType::dialog}, false, 0},
        {"utility", {WindowType::utility}, false, 0},
        {"toolbar", {WindowType::toolbar}, false, 0},
        {"splash", {WindowType::splash}, false, 0},
        {"desktop", {WindowType::desktop}, false, -1},
        {"dock", {WindowType::dock}, false, 1},
        {"loose, no type", {}, true, 2},
        {"loose, normal", {WindowType::normal}, true, 2},
        {"menu", {WindowType::menu}, true, 3},
        {"torn-off menu", {WindowType::menu}, false, 3},
        {"tooltip", {WindowType::tooltip}, true, 4},
        {"notification", {WindowType::notification}, true, 5},
        {"dragged", {WindowType::draggedPicture}, true, 6},
        {"the first type counts", {WindowType::dock, WindowType::normal}, false, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        WindowSurvey survey;
        survey.windows = {window(1, 7, "A")};
        survey.windows[0].types = row.types;
        survey.windows[0].overridesRedirect = row.overridesRedirect;
        EXPECT_EQ(listed(survey).windows.at(0).windowLayer, row.layer);
    }
}

TEST(WindowList, LeavesOutWhatWasNotAskedFor) {
    WindowSurvey survey;
    survey.windows = {window(1, 7, "shown"), window(2, 7, "minimised"), window(3, 7, "withdrawn"),
                      window(4, 7, "desktop")};
    survey.windows[1].isHidden = true;
    survey.windows[2].isManaged = false;
    survey.windows[2].isViewable = false;
    survey.windows[3].types = {WindowType::desktop};
    struct Row {
        const char* name;
        WindowSelection selection;
        std::vector<std::uint32_t> expected;
    };
    const Row rows[] = {
        {"everything", {false, false}, {1, 2, 3, 4}},
        {"on the screen or a manager's", {false, true}, {1, 2, 4}},
        {"no desktops", {true, false}, {1, 2, 3}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<std::uint32_t> identifiers;
        for (const auto& each : listed(survey, row.selection).windows)
            identifiers.push_back(each.windowID);
        EXPECT_EQ(identifiers, row.expected);
    }
}

TEST(WindowList, OneProcessIsOneApplicationInTheOrderOfFirstAppearance) {
    WindowSurvey survey;
    survey.activeWindow = 3;
    survey.windows = {window(1, 20, "menu"), window(2, 10, "B"), window(3, 20, "A"),
                      window(4, 0, "nobody"), window(5, 20, "A")};
    survey.windows[0].overridesRedirect = true;
    const auto content = listed(survey);
    std::vector<std::int32_t> processes;
    for (const auto& application : content.applications)
        processes.push_back(application.processID);
    EXPECT_THAT(processes, ElementsAre(20, 10));
    // Its windows speak for an application before its menus do, and each class once.
    EXPECT_EQ(content.applications[0].applicationName, "A;menu;");
    ASSERT_EQ(content.windows.size(), 5u);
    EXPECT_EQ(content.windows[0].owningApplication->applicationName, "A;menu;");
    EXPECT_FALSE(content.windows[3].owningApplication);
    EXPECT_TRUE(content.windows[2].isActive);
    EXPECT_FALSE(content.windows[1].isActive);
}

}  // namespace
}  // namespace quorvane::platform::x11
