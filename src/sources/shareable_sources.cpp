#include "sources/shareable_sources.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "sources/content.h"
#include "sources/display_lookup.h"
#include "support/text.h"

namespace quorvane::sources {
namespace {

using platform::Display;
using platform::RunningApplication;
using platform::ShareableContent;
using platform::Window;

constexpr double leastWindowSide = 8;  // points

bool isListed(const Window& window) {
    const support::Rect frame = window.frame.normalised();
    return window.windowLayer == 0 && (window.isOnScreen || window.isActive) &&
           frame.width >= leastWindowSide && frame.height >= leastWindowSide &&
           window.owningApplication.has_value();
}

// Stable, by keys that are made once each.
template <class Element, class KeyOf>
void sortByKey(std::vector<Element>& elements, KeyOf keyOf) {
    using Key = std::invoke_result_t<KeyOf, const Element&>;
    std::vector<std::pair<Key, Element>> keyed;
    keyed.reserve(elements.size());
    for (auto& element : elements) {
        auto key = keyOf(element);
        keyed.emplace_back(std::move(key), std::move(element));
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    for (std::size_t index = 0; index < elements.size(); ++index)
        elements[index] = std::move(keyed[index].second);
}

std::vector<ShareableDisplay> listedDisplays(const ShareableContent& content) {
    std::vector<ShareableDisplay> displays;
    for (const auto& display : content.displays) {
        displays.push_back(
            {display.displayID, display.width, display.height, shareableRect(display.frame)});
    }
    sortByKey(displays, [](const ShareableDisplay& display) { return display.id; });
    return displays;
}

std::vector<ShareableWindow> listedWindows(std::vector<const Window*> kept,
                                           std::span<const Display> displays) {
    sortByKey(kept, [](const Window* window) {
        const auto& owner = window->owningApplication;
        return std::pair(support::canonicalText(owner ? owner->applicationName : std::string()),
                         support::canonicalText(window->title.value_or("")));
    });
    std::vector<ShareableWindow> windows;
    windows.reserve(kept.size());
    for (const Window* window : kept)
        windows.push_back(shareableWindow(*window, displays));
    return windows;
}

ShareableApplication listedApplication(const RunningApplication& application,
                                       const std::vector<const Window*>& windows,
                                       std::span<const Display> displays) {
    std::set<std::uint32_t> displayIds;
    std::vector<support::Rect> frames;
    for (const Window* window : windows) {
        frames.push_back(window->frame);
        if (const auto display = displayIdForFrame(window->frame, displays))
            displayIds.insert(*display);
    }
    ShareableApplication listed;
    listed.processId = application.processID;
    listed.appName = application.applicationName;
    listed.bundleIdentifier = application.bundleIdentifier;
    listed.windowCount = static_cast<int>(windows.size());
    listed.displayIds.assign(displayIds.begin(), displayIds.end());
    if (const auto whole = unionRect(frames)) listed.frame = shareableRect(*whole);
    return listed;
}

std::vector<ShareableApplication> listedApplications(const ShareableContent& content,
                                                     const std::vector<const Window*>& kept) {
    std::map<std::int32_t, std::vector<const Window*>> windowsByProcess;
    for (const Window* window : kept) {
        const auto& owner = window->owningApplication;
        windowsByProcess[owner ? owner->processID : 0].push_back(window);
    }
    std::vector<ShareableApplication> applications;
    for (const auto& application : content.applications) {
        const auto windows = windowsByProcess.find(application.processID);
        if (windows == windowsByProcess.end()) continue;
        applications.push_back(listedApplication(application, windows->second, content.displays));
    }
    sortByKey(applications, [](const ShareableApplication& application) {
        return support::canonicalText(application.appName);
    });
    return applications;
}

}  // namespace

ShareableWindow shareableWindow(const Window& window, std::span<const Display> displays) {
    const auto owner = window.owningApplication.value_or(RunningApplication{
        .processID = 0, .applicationName = "Unknown App", .bundleIdentifier = ""});
    return {.id = window.windowID,
            .title = window.title.value_or(""),
            .layer = window.windowLayer,
            .onScreen = window.isOnScreen,
            .active = window.isActive,
            .frame = shareableRect(window.frame),
            .displayId = displayIdForFrame(window.frame, displays),
            .appName = owner.applicationName,
            .bundleIdentifier = owner.bundleIdentifier,
            .processId = owner.processID};
}

ShareableSources shareableSources(const ShareableContent& content) {
    std::vector<const Window*> kept;
    for (const auto& window : content.windows) {
        if (isListed(window)) kept.push_back(&window);
    }
    return {.displays = listedDisplays(content),
            .windows = listedWindows(kept, content.displays),
            .applications = listedApplications(content, kept)};
}

support::Async<ShareableSources> listShareableSources(platform::Platform& platform) {
    co_return shareableSources(co_await currentShareableContent(platform));
}

void encode(const ShareableDisplay& display, support::JsonObject& object) {
    object.member("id", display.id);
    object.member("width", display.width);
    object.member("height", display.height);
    object.member("frame", display.frame);
}

void encode(const ShareableWindow& window, support::JsonObject& object) {
    object.member("id", window.id);
    object.member("title", window.title);
    object.member("layer", window.layer);
    object.member("onScreen", window.onScreen);
    object.member("active", window.active);
    object.member("frame", window.frame);
    object.member("displayId", window.displayId);
    object.member("appName", window.appName);
    object.member("bundleIdentifier", window.bundleIdentifier);
    object.member("processId", window.processId);
}

void encode(const ShareableApplication& application, support::JsonObject& object) {
    object.member("processId", application.processId);
    object.member("appName", application.appName);
    object.member("bundleIdentifier", application.bundleIdentifier);
    object.member("windowCount", application.windowCount);
    object.member("displayIds", application.displayIds);
    object.member("frame", application.frame);
}

void encode(const ShareableSources& sources, support::JsonObject& object) {
    object.member("displays", sources.displays);
    object.member("windows", sources.windows);
    object.member("applications", sources.applications);
}

}  // namespace quorvane::sources
