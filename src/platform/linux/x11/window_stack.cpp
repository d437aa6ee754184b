#include "platform/linux/x11/window_stack.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/atoms.h"
#include "platform/linux/x11/property_words.h"
#include "platform/linux/x11/reply.h"

namespace quorvane::platform::x11 {
namespace {

// How deep in a manager's frame a program's window may lie.
constexpr int deepestProgramWindow = 3;

// The first word of WM_STATE, of a window that is minimised.
constexpr std::uint32_t iconicState = 3;

}  // namespace

const std::uint32_t WindowStack::rootEvents = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
// The structure's: what goes from one frame to another tells only itself and these.
const std::uint32_t WindowStack::windowEvents =
    XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

WindowStack::WindowStack(const Connection& connection)
    : connection_(connection),
      owners_(connection),
      stateAtom_(atomOf(connection, "WM_STATE")),
      statesAtom_(atomOf(connection, "_NET_WM_STATE")),
      hiddenAtom_(atomOf(connection, "_NET_WM_STATE_HIDDEN")),
      shadedAtom_(atomOf(connection, "_NET_WM_STATE_SHADED")),
      opacityAtom_(atomOf(connection, "_NET_WM_WINDOW_OPACITY")) {
    if (connection.has(xcb_shape_id)) {
        shapeNoticeType_ = static_cast<std::uint8_t>(
            connection.extension(xcb_shape_id, "SHAPE").first_event + XCB_SHAPE_NOTIFY);
    }
}

TopLevel* WindowStack::find(std::uint32_t window) {
    const auto found = std::find_if(windows_.begin(), windows_.end(),
                                    [&](const TopLevel& each) { return each.window == window; });
    return found == windows_.end() ? nullptr : &*found;
}

bool WindowStack::isCovered(std::uint32_t window) const {
    const auto found = std::find_if(windows_.begin(), windows_.end(),
                                    [&](const TopLevel& each) { return each.window == window; });
    // Where the order is not known, neither is this.
    if (found == windows_.end() || treeNoticed_) return false;
    return std::any_of(found + 1, windows_.end(), [&](const TopLevel& above) {
        return above.mapped && above.hasPixels &&
               intersectionOf(above.outer, found->outer) == found->outer;
    });
}

bool WindowStack::handle(const Event& event) {
    if (shapeNoticeType_ != 0 && event.type == shapeNoticeType_) {
        const auto& notice = *static_cast<const xcb_shape_notify_event_t*>(event.record);
        TopLevel* window = find(notice.affected_window);
        if (window != nullptr && notice.shape_kind == XCB_SHAPE_SK_BOUNDING) {
            ++window->shapings;
            noticed_ = true;
        }
        return window != nullptr;
    }
    if (isOfOneWindow(event)) {
        // The top levels that it lay in and lies in now may be other programs'.
        if (event.type == XCB_REPARENT_NOTIFY) identityNoticed_ = noticed_ = true;
        return true;
    }
    switch (event.type) {
        case XCB_DESTROY_NOTIFY: {
            // Its identifier may come back before the next look at the tree.
            const auto gone = static_cast<const xcb_destroy_notify_event_t*>(event.record)->window;
            std::erase_if(windows_, [&](const TopLevel& each) { return each.window == gone; });
            treeNoticed_ = noticed_ = true;
            return true;
        }
        case XCB_CREATE_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            treeNoticed_ = noticed_ = true;
            return true;
        case XCB_REPARENT_NOTIFY:
            treeNoticed_ = identityNoticed_ = noticed_ = true;
            return true;
        case XCB_MAP_NOTIFY:
            if (TopLevel* window =
                    find(static_cast<const xcb_map_notify_event_t*>(event.record)->window)) {
                // One that was read as mapped already has not been mapped again.
                if (!std::exchange(window->mapped, true)) ++window->mappings;
                identityNoticed_ = noticed_ = true;
            }
            return true;
        case XCB_UNMAP_NOTIFY:
            if (TopLevel* window =
                    find(static_cast<const xcb_unmap_notify_event_t*>(event.record)->window)) {
                window->mapped = false;
                noticed_ = true;
            }
            return true;
        case XCB_CONFIGURE_NOTIFY:
            return handleConfigure(event.record);
        case XCB_PROPERTY_NOTIFY: {
            const auto atom = static_cast<const xcb_property_notify_event_t*>(event.record)->atom;
            if (atom != stateAtom_ && atom != statesAtom_ && atom != opacityAtom_) return false;
            identityNoticed_ = noticed_ = true;
            return true;
        }
        default:
            return false;
    }
}

// Of a top level the root window is told the same.
bool WindowStack::isOfOneWindow(const Event& event) const {
    switch (event.type) {
        case XCB_DESTROY_NOTIFY:
        case XCB_UNMAP_NOTIFY:
        case XCB_MAP_NOTIFY:
        case XCB_REPARENT_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            // All of them begin alike.
            return static_cast<const xcb_map_notify_event_t*>(event.record)->event !=
                   connection_.root();
        default:
            return false;
    }
}

bool WindowStack::handleConfigure(const void* record) {
    const auto& notice = *static_cast<const xcb_configure_notify_event_t*>(record);
    if (notice.event != connection_.root() || notice.window == connection_.root()) return false;
    noticed_ = true;
    TopLevel* window = find(notice.window);
    if (window == nullptr) return true;
    window->border = notice.border_width;
    window->outer = {notice.x, notice.y, notice.width + 2 * notice.border_width,
                     notice.height + 2 * notice.border_width};
    const std::uint32_t below = window == windows_.data() ? 0 : (window - 1)->window;
    treeNoticed_ |= below != notice.above_sibling;
    return true;
}

void WindowStack::update() {
    noticed_ = false;
    if (treeNoticed_) readTree();
    if (identityNoticed_) identify();
    connection_.throwIfLost();
}

void WindowStack::readTree() {
    treeNoticed_ = false;
    xcb_connection_t* xcb = connection_.xcb();
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(xcb, xcb_query_tree(xcb, connection_.root()), nullptr));
    if (!tree) return;
    const std::span children(xcb_query_tree_children(tree.get()),
                             static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));

    struct Question {
        std::size_t index;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
    };
    std::vector<Question> questions;
    std::vector<TopLevel> next;
    for (const std::uint32_t window : children) {
        const TopLevel* known = find(window);
        next.push_back(known != nullptr ? *known : TopLevel{});
        if (known != nullptr) continue;
        next.back().window = window;
        next.back().life = ++lives_;
        xcb_change_window_attributes(xcb, window, XCB_CW_EVENT_MASK, &windowEvents);
        if (shapeNoticeType_ != 0) xcb_shape_select_input(xcb, window, true);
        questions.push_back({next.size() - 1, xcb_get_window_attributes(xcb, window),
                             xcb_get_geometry(xcb, window)});
    }
    for (const Question& question : questions) {
        TopLevel& window = next[question.index];
        const Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(xcb, question.attributes, nullptr));
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(xcb, question.geometry, nullptr));
        if (!attributes || !geometry) {
            window.window = 0;
            continue;
        }
        window.border = geometry->border_width;
        window.outer = {geometry->x, geometry->y, geometry->width + 2 * window.border,
                        geometry->height + 2 * window.border};
        window.mapped = attributes->map_state != XCB_MAP_STATE_UNMAPPED;
        window.hasPixels = attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
        window.visual = attributes->visual;
        identityNoticed_ |= window.mapped;
    }
    std::erase_if(next, [](const TopLevel& window) { return window.window == 0; });
    windows_ = std::move(next);
}

void WindowStack::identify() {
    identityNoticed_ = false;
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < windows_.size(); ++i) {
        if (windows_[i].mapped && windows_[i].hasPixels) indices.push_back(i);
    }
    const auto programWindows = programWindowsOf(indices);
    const auto processes = owners_.processesOf(programWindows);
    for (std::size_t i = 0; i < indices.size(); ++i)
        windows_[indices[i]].processID = processes[i];
    readOpacities(indices, programWindows);
}

// A manager sets WM_STATE on the windows that it has put into frames. A top level that has none in
// it belongs to the program that made it.
std::vector<std::uint32_t> WindowStack::programWindowsOf(std::span<const std::size_t> indices) {
    xcb_connection_t* xcb = connection_.xcb();
    std::vector<std::uint32_t> result;
    struct Candidate {
        std::size_t place;  // in the result
        std::uint32_t window;
        xcb_get_property_cookie_t state;
        xcb_get_property_cookie_t states;
        xcb_query_tree_cookie_t children;
    };
    std::vector<Candidate> level;
    const auto ask = [&](std::size_t place, std::uint32_t window) {
        level.push_back(
            {place, window, xcb_get_property(xcb, false, window, stateAtom_, XCB_ATOM_ANY, 0, 1),
             xcb_get_property(xcb, false, window, statesAtom_, XCB_ATOM_ATOM, 0, mostStates),
             xcb_query_tree(xcb, window)});
    };
    for (const std::size_t index : indices) {
        result.push_back(windows_[index].window);
        ask(result.size() - 1, windows_[index].window);
    }
    std::vector<bool> found(result.size(), false);
    for (int depth = 0; !level.empty(); ++depth) {
        std::vector<Candidate> parents;
        parents.swap(level);
        for (const Candidate& candidate : parents) {
            const Reply<xcb_get_property_reply_t> state(
                xcb_get_property_reply(xcb, candidate.state, nullptr));
            const Reply<xcb_get_property_reply_t> states(
                xcb_get_property_reply(xcb, candidate.states, nullptr));
            const Reply<xcb_query_tree_reply_t> children(
                xcb_query_tree_reply(xcb, candidate.children, nullptr));
            const bool isManaged = state && state->type != XCB_NONE;
            const bool hidden = saysHidden(state.get(), states.get());
            bool& topLevelIsHidden = windows_[indices[candidate.place]].hidden;
            if (depth == 0) topLevelIsHidden = hidden;
            // Of several in one frame, like tabs, those that are hidden are not what it shows.
            if (isManaged && (!found[candidate.place] || (topLevelIsHidden && !hidden))) {
                result[candidate.place] = candidate.window;
                topLevelIsHidden = hidden;
                found[candidate.place] = true;
            }
            if (found[candidate.place] || !children || depth == deepestProgramWindow) continue;
            const auto* windows = xcb_query_tree_children(children.get());
            for (int i = xcb_query_tree_children_length(children.get()); i-- > 0;) {
                // So that a state that is set later is told.
                xcb_change_window_attributes(xcb, windows[i], XCB_CW_EVENT_MASK, &windowEvents);
                ask(candidate.place, windows[i]);
            }
        }
    }
    return result;
}

bool WindowStack::saysHidden(const xcb_get_property_reply_t* state,
                             const xcb_get_property_reply_t* states) const {
    if (states != nullptr) {
        // What is rolled up counts as hidden too, though its title is on the screen.
        const auto words = wordsOf(*states);
        if (std::ranges::count(words, shadedAtom_) > 0) return false;
        if (std::ranges::count(words, hiddenAtom_) > 0) return true;
    }
    return state != nullptr && !wordsOf(*state).empty() && wordsOf(*state).front() == iconicState;
}

void WindowStack::readOpacities(std::span<const std::size_t> indices,
                                std::span<const std::uint32_t> programWindows) {
    xcb_connection_t* xcb = connection_.xcb();
    const auto ask = [&](std::uint32_t window) {
        return xcb_get_property(xcb, false, window, opacityAtom_, XCB_ATOM_CARDINAL, 0, 1);
    };
    std::vector<xcb_get_property_cookie_t> cookies;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        cookies.push_back(ask(windows_[indices[i]].window));
        cookies.push_back(ask(programWindows[i]));
    }
    const auto receive = [&](xcb_get_property_cookie_t cookie) -> std::optional<std::uint32_t> {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(xcb, cookie, nullptr));
        if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) != 4) {
            return std::nullopt;
        }
        return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    };
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const auto ofFrame = receive(cookies[2 * i]);
        const auto ofProgram = receive(cookies[2 * i + 1]);
        windows_[indices[i]].opacity = ofFrame.value_or(ofProgram.value_or(0xFFFFFFFF));
    }
}

}  // namespace quorvane::platform::x11
