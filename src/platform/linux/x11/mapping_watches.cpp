#include "platform/linux/x11/mapping_watches.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <xcb/xcb.h>

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// How long it may take until a window that is mapped is shown: whose it is may be told late.
constexpr std::chrono::nanoseconds showingPatience = 1s;

}  // namespace

bool MappingWatches::handle(const Event& event) {
    for (const Entry& each : entries_) {
        if (each.watch->handle(event)) return true;
    }
    switch (event.type) {
        case XCB_CREATE_NOTIFY: {
            const auto& notice = *static_cast<const xcb_create_notify_event_t*>(event.record);
            if (notice.parent == connection_.root()) watch(notice.window);
            break;
        }
        case XCB_UNMAP_NOTIFY: {
            const auto& notice = *static_cast<const xcb_unmap_notify_event_t*>(event.record);
            if (notice.event == connection_.root()) watch(notice.window);
            break;
        }
        case XCB_DESTROY_NOTIFY:
            forget(static_cast<const xcb_destroy_notify_event_t*>(event.record)->window);
            break;
        default:
            break;
    }
    return false;
}

void MappingWatches::noteCovered(std::uint32_t window) {
    for (const Entry& each : entries_) {
        if (each.watch->window() == window) each.watch->noteCovered();
    }
}

void MappingWatches::watch(std::uint32_t window) {
    forget(window);
    entries_.push_back(
        {std::make_unique<PaintingWatch>(connection_, clock_, window), std::nullopt});
}

void MappingWatches::forget(std::uint32_t window) {
    std::erase_if(entries_, [&](const Entry& each) { return each.watch->window() == window; });
}

void MappingWatches::update(std::span<const TopLevel> windows,
                            std::span<const std::uint32_t> leftOut) {
    mappings_.clear();
    std::vector<Entry> old;
    old.swap(entries_);
    for (const TopLevel& state : windows) {
        const auto known = std::find_if(old.begin(), old.end(), [&](const Entry& each) {
            return each.watch && each.watch->window() == state.window;
        });
        if (!state.mapped) {
            if (known != old.end()) {
                entries_.push_back(std::move(*known));
            } else if (state.hasPixels) {
                watch(state.window);
            }
            continue;
        }
        if (std::find(leftOut.begin(), leftOut.end(), state.window) != leftOut.end()) continue;
        mappings_[state.life] = state.mappings;
        if (known == old.end()) continue;
        if (!known->until) known->until = clock_.hostTime() + showingPatience;
        entries_.push_back(std::move(*known));
    }
}

std::optional<support::MediaTime> MappingWatches::nextEnd() const {
    std::optional<support::MediaTime> next;
    for (const Entry& each : entries_) {
        if (each.until && (!next || *each.until < *next)) next = each.until;
    }
    return next;
}

void MappingWatches::end() {
    const support::MediaTime now = clock_.hostTime();
    std::erase_if(entries_, [&](const Entry& each) { return each.until && now >= *each.until; });
}

void MappingWatches::clear() {
    entries_.clear();
    mappings_.clear();
}

std::unique_ptr<PaintingWatch> MappingWatches::take(const TopLevel& window) {
    const auto known = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& each) {
        return each.watch->window() == window.window;
    });
    if (known != entries_.end()) {
        auto watch = std::move(known->watch);
        entries_.erase(known);
        return watch;
    }
    const auto seen = mappings_.find(window.life);
    if (seen != mappings_.end() && seen->second == window.mappings) return nullptr;
    return std::make_unique<PaintingWatch>(connection_, clock_, window.window);
}

}  // namespace quorvane::platform::x11
