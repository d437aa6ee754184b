// What can be recorded, as the parent is told: displays, the windows on the screen, and the
// applications that own them. The parent hands the identifiers back to record.
// Threads: the rules are pure; listShareableSources() resumes on the main queue.
// Errors: the platform's, unchanged; nothing to list is no error.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "sources/shareable_rect.h"
#include "support/async.h"

namespace quorvane::sources {

struct ShareableDisplay {
    std::uint32_t id = 0;
    int width = 0;   // pixels
    int height = 0;  // pixels
    ShareableRect frame;
};

struct ShareableWindow {
    std::uint32_t id = 0;
    std::string title;
    int layer = 0;
    bool onScreen = false;
    bool active = false;
    ShareableRect frame;
    std::optional<std::uint32_t> displayId;  // nothing when it lies on no display
    std::string appName;
    std::string bundleIdentifier;
    std::int32_t processId = 0;
};

struct ShareableApplication {
    std::int32_t processId = 0;
    std::string appName;
    std::string bundleIdentifier;
    int windowCount = 0;
    std::vector<std::uint32_t> displayIds;  // ascending, each once
    std::optional<ShareableRect> frame;     // around all its windows
};

struct ShareableSources {
    std::vector<ShareableDisplay> displays;          // by identifier
    std::vector<ShareableWindow> windows;            // by application name, then title
    std::vector<ShareableApplication> applications;  // by name, those with windows
};

// A window that has lost its owner is that of "Unknown App", process 0.
ShareableWindow shareableWindow(const platform::Window& window,
                                std::span<const platform::Display> displays);

// The rules: which windows are listed, and all orders. Texts are ordered by the scalar values of
// their canonical form; equals keep the platform's order.
ShareableSources shareableSources(const platform::ShareableContent& content);

// Asks the platform once.
support::Async<ShareableSources> listShareableSources(platform::Platform& platform);

void encode(const ShareableDisplay& display, support::JsonObject& object);
void encode(const ShareableWindow& window, support::JsonObject& object);
void encode(const ShareableApplication& application, support::JsonObject& object);
void encode(const ShareableSources& sources, support::JsonObject& object);

}  // namespace quorvane::sources
