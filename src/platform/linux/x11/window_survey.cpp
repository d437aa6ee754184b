#include "platform/linux/x11/window_survey.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <xcb/res.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/text_property.h"
#include "platform/linux/x11/window_names.h"
#include "platform/linux/x11/window_owner.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

// 64 KiB: more than any title that is meant to be read.
constexpr std::uint32_t mostPropertyWords = 16 * 1024;
// How many windows deep a window manager puts a program's own one. Bounded, because windows that
// move while they are read could seem to lie in each other.
constexpr int mostFrameLevels = 4;

// A request whose reply is taken later. Only the reply waits for the server.
template <class T, class Cookie, T* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**)>
class Question {
  public:
    explicit Question(Cookie cookie) : cookie_(cookie) {}
    // Null when the server refused: the window has vanished.
    Reply<T> answer(const Connection& connection) const {
        xcb_generic_error_t* error = nullptr;
        Reply<T> reply(wait(connection.xcb(), cookie_, &error));
        const Reply<xcb_generic_error_t> refusal(error);
        if (!reply && !refusal) throwMissingReply(nullptr, "tell of a window");
        return reply;
    }

  private:
    Cookie cookie_;
};
using TreeQuestion =
    Question<xcb_query_tree_reply_t, xcb_query_tree_cookie_t, xcb_query_tree_reply>;
using GeometryQuestion =
    Question<xcb_get_geometry_reply_t, xcb_get_geometry_cookie_t, xcb_get_geometry_reply>;
using AttributesQuestion =
    Question<xcb_get_window_attributes_reply_t, xcb_get_window_attributes_cookie_t,
             xcb_get_window_attributes_reply>;
using PlaceQuestion = Question<xcb_translate_coordinates_reply_t,
                               xcb_translate_coordinates_cookie_t, xcb_translate_coordinates_reply>;

struct Property {
    std::uint32_t type = 0;  // 0 for one that is not there
    std::uint8_t format = 0;
    std::string bytes;

    std::vector<std::uint32_t> numbers() const {
        std::vector<std::uint32_t> values;
        if (format != 32) return values;
        values.resize(bytes.size() / 4);
        std::memcpy(values.data(), bytes.data(), values.size() * 4);
        return values;
    }
    std::optional<std::uint32_t> number() const {
        const auto values = numbers();
        return values.empty() ? std::nullopt : std::optional(values.front());
    }
};

class PropertyQuestion {
  public:
    PropertyQuestion(const Connection& connection, std::uint32_t window, std::uint32_t name)
        : question_(xcb_get_property(connection.xcb(), false, window, name, XCB_ATOM_ANY, 0,
                                     mostPropertyWords)) {}
    // Nothing when the window has vanished.
    std::optional<Property> answer(const Connection& connection) const {
        const auto reply = question_.answer(connection);
        if (!reply) return std::nullopt;
        return Property{reply->type,
                        reply->format,
                        {static_cast<const char*>(xcb_get_property_value(reply.get())),
                         static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))}};
    }

  private:
    Question<xcb_get_property_reply_t, xcb_get_property_cookie_t, xcb_get_property_reply> question_;
};

std::vector<std::uint32_t> childrenOf(const xcb_query_tree_reply_t& tree) {
    const auto* children = xcb_query_tree_children(&tree);
    return {children, children + xcb_query_tree_children_length(&tree)};
}

// What a window is to others: where it hangs, and whether a window manager has it.
struct Node {
    std::uint32_t parent = 0;
    std::vector<std::uint32_t> children;
    bool hasState = false;  // WM_STATE: the mark of a client
    bool overridesRedirect = false;
    bool isInputOnly = false;
};

class Surveyor {
  public:
    explicit Surveyor(const Connection& connection) : connection_(connection), names_(connection) {
        xcb_prefetch_extension_data(connection.xcb(), &xcb_res_id);  // for the windows' owners
    }

    WindowSurvey survey() {
        readRoot();
        auto known = topLevels_;
        known.insert(known.end(), listedClients_.begin(), listedClients_.end());
        readNodes(known);
        if (isManaged_) {
            climb();
        } else {
            survey_.activeWindow = 0;
            survey_.currentDesktop.reset();
            descend();
        }
        readWindows();
        return std::move(survey_);
    }

  private:
    // A window to be told of, and the child of the root that it lies in.
    struct Candidate {
        std::uint32_t window;
        std::uint32_t topLevel;
        bool isManaged;
    };
    struct Questions {
        GeometryQuestion frame;
        GeometryQuestion geometry;
        AttributesQuestion attributes;
        PlaceQuestion place;
        PropertyQuestion netName;
        PropertyQuestion name;
        PropertyQuestion className;
        PropertyQuestion applicationID;
        PropertyQuestion types;
        PropertyQuestion netState;
        PropertyQuestion state;
        PropertyQuestion desktop;
        PropertyQuestion decorations;
        PropertyQuestion shadows;
    };

    void readRoot() {
        const auto root = connection_.root();
        const PropertyQuestion check(connection_, root, names_[Name::supportingCheck]);
        const PropertyQuestion stacking(connection_, root, names_[Name::clientListStacking]);
        const PropertyQuestion list(connection_, root, names_[Name::clientList]);
        const PropertyQuestion active(connection_, root, names_[Name::activeWindow]);
        const PropertyQuestion desktop(connection_, root, names_[Name::currentDesktop]);
        const TreeQuestion tree(xcb_query_tree(connection_.xcb(), root));

        const auto checkWindow = check.answer(connection_).value_or(Property()).number();
        const auto stacked = stacking.answer(connection_).value_or(Property());
        const auto listed = list.answer(connection_).value_or(Property());
        survey_.activeWindow = active.answer(connection_).value_or(Property()).number().value_or(0);
        survey_.currentDesktop = desktop.answer(connection_).value_or(Property()).number();
        if (const auto reply = tree.answer(connection_)) topLevels_ = childrenOf(*reply);

        const bool tellsWindows = stacked.type != 0 || listed.type != 0;
        isManaged_ = checkWindow && tellsWindows && isAlive(*checkWindow);
        if (!isManaged_) return;
        tellsStacking_ = stacked.type != 0;
        listedClients_ = (tellsStacking_ ? stacked : listed).numbers();
        // Topmost first, as everything from here on.
        std::reverse(listedClients_.begin(), listedClients_.end());
    }

    // What a window manager that has gone left on the root window is no longer true. The window
    // that it points to then has gone as well, or does not point to itself.
    bool isAlive(std::uint32_t checkWindow) const {
        const PropertyQuestion own(connection_, checkWindow, names_[Name::supportingCheck]);
        return own.answer(connection_).value_or(Property()).number() == checkWindow;
    }

    void readNodes(const std::vector<std::uint32_t>& windows) {
        struct NodeQuestions {
            std::uint32_t window;
            TreeQuestion tree;
            AttributesQuestion attributes;
            PropertyQuestion state;
        };
        xcb_connection_t* xcb = connection_.xcb();
        std::vector<NodeQuestions> questions;
        std::set<std::uint32_t> asked;
        for (const auto window : windows) {
            if (nodes_.contains(window) || !asked.insert(window).second) continue;
            questions.push_back({window, TreeQuestion(xcb_query_tree(xcb, window)),
                                 AttributesQuestion(xcb_get_window_attributes(xcb, window)),
                                 PropertyQuestion(connection_, window, names_[Name::state])});
        }
        for (const auto& question : questions) {
            const auto tree = question.tree.answer(connection_);
            const auto attributes = question.attributes.answer(connection_);
            const auto state = question.state.answer(connection_);
            if (!tree || !attributes || !state) continue;
            Node& node = nodes_[question.window];
            node.parent = tree->parent;
            node.children = childrenOf(*tree);
            node.hasState = state->type != 0;
            node.overridesRedirect = attributes->override_redirect;
            node.isInputOnly = attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY;
        }
    }

    // From the window manager's list up to the children of the root, and what is beside them: the
    // windows that it does not touch, each above the first client that lies below it.
    void climb() {
        std::map<std::uint32_t, std::uint32_t> topLevelOf;  // by client
        std::map<std::uint32_t, std::uint32_t> reached;     // client to ancestor
        for (const auto client : listedClients_)
            reached[client] = client;
        for (int level = 0; level <= mostFrameLevels && !reached.empty(); ++level) {
            std::vector<std::uint32_t> unknown;
            unknown.reserve(reached.size());
            for (const auto& [client, ancestor] : reached)
                unknown.push_back(ancestor);
            readNodes(unknown);
            std::map<std::uint32_t, std::uint32_t> higher;
            for (const auto& [client, ancestor] : reached) {
                const auto node = nodes_.find(ancestor);
                if (node == nodes_.end() || node->second.parent == XCB_NONE) continue;
                if (node->second.parent == connection_.root()) {
                    topLevelOf[client] = ancestor;
                } else {
                    higher[client] = node->second.parent;
                }
            }
            reached = std::move(higher);
        }

        std::map<std::uint32_t, std::size_t> heights;
        for (std::size_t height = 0; height < topLevels_.size(); ++height)
            heights[topLevels_[height]] = height;
        if (!tellsStacking_) {
            std::ranges::stable_sort(
                listedClients_, std::ranges::greater(), [&](std::uint32_t client) {
                    const auto topLevel = topLevelOf.find(client);
                    return topLevel == topLevelOf.end() ? std::size_t{0}
                                                        : heights[topLevel->second];
                });
        }
        std::set<std::uint32_t> frames;
        for (const auto& [client, topLevel] : topLevelOf)
            frames.insert(topLevel);
        std::vector<std::uint32_t> loose;  // the lowest first
        for (const auto window : topLevels_) {
            const auto node = nodes_.find(window);
            if (node != nodes_.end() && node->second.overridesRedirect && !frames.contains(window))
                loose.push_back(window);
        }
        for (const auto client : listedClients_) {
            const auto topLevel = topLevelOf.find(client);
            if (topLevel == topLevelOf.end()) continue;
            while (!loose.empty() && heights[loose.back()] > heights[topLevel->second]) {
                candidates_.push_back({loose.back(), loose.back(), false});
                loose.pop_back();
            }
            candidates_.push_back({client, topLevel->second, true});
        }
        for (; !loose.empty(); loose.pop_back())
            candidates_.push_back({loose.back(), loose.back(), false});
    }

    // From the children of the root down to the programs' own windows, which an old window manager
    // has marked; without one they are the children of the root themselves.
    void descend() {
        for (auto topLevel = topLevels_.rbegin(); topLevel != topLevels_.rend(); ++topLevel) {
            const auto node = nodes_.find(*topLevel);
            if (node != nodes_.end()) candidates_.push_back({*topLevel, *topLevel, false});
        }
        std::vector<std::vector<std::uint32_t>> levels;
        for (const auto& candidate : candidates_)
            levels.push_back({candidate.window});
        for (int level = 0; level <= mostFrameLevels; ++level) {
            std::vector<std::uint32_t> next;
            for (std::size_t index = 0; index < candidates_.size(); ++index) {
                auto& candidate = candidates_[index];
                if (candidate.isManaged) continue;
                std::vector<std::uint32_t> below;
                for (const auto window : levels[index]) {
                    const auto node = nodes_.find(window);
                    if (node == nodes_.end()) continue;
                    if (node->second.hasState) {
                        candidate.window = window;
                        candidate.isManaged = true;
                        break;
                    }
                    below.insert(below.end(), node->second.children.rbegin(),
                                 node->second.children.rend());
                }
                if (candidate.isManaged) continue;
                levels[index] = std::move(below);
                next.insert(next.end(), levels[index].begin(), levels[index].end());
            }
            if (level < mostFrameLevels) readNodes(next);
        }
    }

    Questions ask(const Candidate& candidate) const {
        xcb_connection_t* xcb = connection_.xcb();
        const std::uint32_t window = candidate.window;
        const auto property = [&](std::uint32_t name) {
            return PropertyQuestion(connection_, window, name);
        };
        return {.frame = GeometryQuestion(xcb_get_geometry(xcb, candidate.topLevel)),
                .geometry = GeometryQuestion(xcb_get_geometry(xcb, window)),
                .attributes = AttributesQuestion(xcb_get_window_attributes(xcb, window)),
                .place =
                    PlaceQuestion(xcb_translate_coordinates(xcb, window, connection_.root(), 0, 0)),
                .netName = property(names_[Name::netName]),
                .name = property(XCB_ATOM_WM_NAME),
                .className = property(XCB_ATOM_WM_CLASS),
                .applicationID = property(names_[Name::applicationID]),
                .types = property(names_[Name::windowType]),
                .netState = property(names_[Name::netState]),
                .state = property(names_[Name::state]),
                .desktop = property(names_[Name::desktop]),
                .decorations = property(names_[Name::frameExtents]),
                .shadows = property(names_[Name::shadowExtents])};
    }

    void readWindows() {
        std::erase_if(candidates_, [&](const Candidate& candidate) {
            const auto node = nodes_.find(candidate.window);
            return node == nodes_.end() || node->second.isInputOnly;
        });
        std::vector<std::uint32_t> windows;
        std::vector<Questions> questions;
        for (const auto& candidate : candidates_) {
            windows.push_back(candidate.window);
            questions.push_back(ask(candidate));
        }
        const auto processes = WindowOwners(connection_).processesOf(windows);
        for (std::size_t index = 0; index < candidates_.size(); ++index) {
            auto window = answerOf(questions[index], candidates_[index]);
            if (!window) continue;
            window->processID = processes[index];
            survey_.windows.push_back(std::move(*window));
        }
    }

    std::optional<SurveyedWindow> answerOf(const Questions& questions,
                                           const Candidate& candidate) const {
        const auto frame = questions.frame.answer(connection_);
        const auto geometry = questions.geometry.answer(connection_);
        const auto attributes = questions.attributes.answer(connection_);
        const auto place = questions.place.answer(connection_);
        const auto netName = questions.netName.answer(connection_);
        const auto name = questions.name.answer(connection_);
        const auto className = questions.className.answer(connection_);
        const auto applicationID = questions.applicationID.answer(connection_);
        const auto types = questions.types.answer(connection_);
        const auto netState = questions.netState.answer(connection_);
        const auto state = questions.state.answer(connection_);
        const auto desktop = questions.desktop.answer(connection_);
        const auto decorations = questions.decorations.answer(connection_);
        const auto shadows = questions.shadows.answer(connection_);
        if (!frame || !geometry || !attributes || !place || !netName || !name || !className ||
            !applicationID || !types || !netState || !state || !desktop || !decorations || !shadows)
            return std::nullopt;

        SurveyedWindow window;
        window.window = candidate.window;
        window.isManaged = candidate.isManaged;
        window.isViewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        window.overridesRedirect = attributes->override_redirect;
        window.isHidden = isHidden(*netState, *state);
        window.desktop = desktop->number();
        window.placement.client = {
            static_cast<double>(place->dst_x), static_cast<double>(place->dst_y),
            static_cast<double>(geometry->width), static_cast<double>(geometry->height)};
        window.placement.clientBorder = geometry->border_width;
        if (candidate.topLevel != candidate.window) {
            window.placement.frame = outerRect(*frame);
            window.placement.decorations = extentsFrom(decorations->numbers());
        }
        window.placement.shadows = extentsFrom(shadows->numbers()).value_or(Extents());
        if (netName->type != 0) {
            window.title = textFrom(encodingOf(*netName, TextEncoding::utf8), netName->bytes);
        } else if (name->type != 0) {
            window.title = textFrom(encodingOf(*name, TextEncoding::other), name->bytes);
        }
        for (const auto atom : types->numbers()) {
            if (const auto type = names_.typeOf(atom)) window.types.push_back(*type);
        }
        window.identity.applicationID = textFrom(TextEncoding::utf8, applicationID->bytes);
        const std::string_view both = className->bytes;
        window.identity.instanceName = textFrom(TextEncoding::other, both);
        const auto end = both.find('\0');
        if (end != std::string_view::npos)
            window.identity.className = textFrom(TextEncoding::other, both.substr(end + 1));
        return window;
    }

    bool isHidden(const Property& netState, const Property& state) const {
        constexpr std::uint32_t iconic = 3;
        if (state.number() == iconic) return true;
        const auto states = netState.numbers();
        return std::any_of(states.begin(), states.end(), [&](std::uint32_t atom) {
            return atom == names_[Name::stateHidden] || atom == names_[Name::stateShaded];
        });
    }

    TextEncoding encodingOf(const Property& property, TextEncoding otherwise) const {
        if (property.type == names_[Name::utf8]) return TextEncoding::utf8;
        if (property.type == names_[Name::compoundText]) return TextEncoding::compound;
        if (property.type == XCB_ATOM_STRING) return TextEncoding::latin1;
        return otherwise;
    }

    // With the border, of a child of the root.
    static support::Rect outerRect(const xcb_get_geometry_reply_t& geometry) {
        const double border = geometry.border_width;
        return {static_cast<double>(geometry.x), static_cast<double>(geometry.y),
                geometry.width + 2 * border, geometry.height + 2 * border};
    }

    const Connection& connection_;
    const WindowNames names_;
    bool isManaged_ = false;                    // by a window manager that tells of its windows
    bool tellsStacking_ = false;                // and of their order
    std::vector<std::uint32_t> topLevels_;      // the children of the root, the lowest first
    std::vector<std::uint32_t> listedClients_;  // by the window manager, the topmost first
    std::map<std::uint32_t, Node> nodes_;       // without those that have vanished
    std::vector<Candidate> candidates_;         // topmost first
    WindowSurvey survey_;
};

}  // namespace

WindowSurvey surveyWindows(const Connection& connection) {
    return Surveyor(connection).survey();
}

}  // namespace quorvane::platform::x11
