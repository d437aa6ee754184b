#include "platform/linux/x11/window_list.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace quorvane::platform::x11 {
namespace {

constexpr std::uint32_t everyDesktop = 0xFFFFFFFF;

bool isOnScreen(const SurveyedWindow& window, const WindowSurvey& survey) {
    const bool onThisDesktop = !window.desktop || *window.desktop == everyDesktop ||
                               !survey.currentDesktop || *window.desktop == *survey.currentDesktop;
    return window.isViewable && !window.isHidden && onThisDesktop;
}

bool isDesktop(const SurveyedWindow& window) {
    return !window.types.empty() && window.types.front() == WindowType::desktop;
}

struct Process {
    ProcessWindows clues;
    std::vector<WindowIdentity> furtherClues;  // of windows that are none to work in
};

// In the order of first appearance.
std::vector<ProcessWindows> processesOf(const std::vector<const SurveyedWindow*>& windows) {
    std::vector<Process> processes;
    std::map<std::int32_t, std::size_t> places;
    for (const SurveyedWindow* window : windows) {
        if (window->processID == 0) continue;
        const auto [place, isFirst] = places.emplace(window->processID, processes.size());
        if (isFirst) processes.push_back({{.processID = window->processID, .windows = {}}, {}});
        Process& process = processes[place->second];
        const bool speaksForIt = windowLayer(window->types, window->overridesRedirect) == 0;
        auto& clues = speaksForIt ? process.clues.windows : process.furtherClues;
        if (std::find(clues.begin(), clues.end(), window->identity) == clues.end())
            clues.push_back(window->identity);
    }
    std::vector<ProcessWindows> result;
    for (Process& process : processes) {
        auto& clues = process.clues.windows;
        clues.insert(clues.end(), process.furtherClues.begin(), process.furtherClues.end());
        result.push_back(std::move(process.clues));
    }
    return result;
}

}  // namespace

ShareableContent windowsAndApplications(const WindowSurvey& survey,
                                        const WindowSelection& selection,
                                        ApplicationDirectory& directory) {
    std::vector<const SurveyedWindow*> selected;
    for (const SurveyedWindow& window : survey.windows) {
        if (selection.excludingDesktopWindows && isDesktop(window)) continue;
        if (selection.onScreenWindowsOnly && !window.isManaged && !isOnScreen(window, survey))
            continue;
        selected.push_back(&window);
    }
    ShareableContent content;
    content.applications = directory.describe(processesOf(selected));
    std::map<std::int32_t, const RunningApplication*> owners;
    for (const RunningApplication& application : content.applications)
        owners.emplace(application.processID, &application);
    for (const SurveyedWindow* window : selected) {
        const auto owner = owners.find(window->processID);
        content.windows.push_back(
            {.windowID = window->window,
             .title = window->title,
             .windowLayer = windowLayer(window->types, window->overridesRedirect),
             .isOnScreen = isOnScreen(*window, survey),
             .isActive = window->window == survey.activeWindow,
             .frame = visibleFrame(window->placement),
             .owningApplication =
                 owner != owners.end() ? std::optional(*owner->second) : std::nullopt});
    }
    return content;
}

}  // namespace quorvane::platform::x11
