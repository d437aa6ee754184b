// Shows plain windows with chosen names, kinds and shapes until it is ended by a signal.
//   window_source [--x N] [--y N] [--width N] [--height N]     the client area, 0 0 320 240
//                 [--color RRGGBB | --quarters]                one colour (808080), or red, green,
//                                                              blue and white from the upper left
//                 [--alpha A]                                  0 to 255: pixels with an alpha
//                 [--title TEXT | --title-hex BYTES]           _NET_WM_NAME
//                 [--name TEXT | --name-hex BYTES] [--name-type ATOM]     WM_NAME, else of STRING
//                 [--instance TEXT] [--class TEXT]             WM_CLASS
//                 [--type NAME]...                             _NET_WM_WINDOW_TYPE_NAME
//                 [--app-id TEXT]                              _GTK_APPLICATION_ID
//                 [--override] [--undecorated] [--border N]
//                 [--shadow N]                                 _GTK_FRAME_EXTENTS on every side
//                 [--shape X,Y,W,H]...                         the bounding shape
//                 [--opacity F]                                _NET_WM_WINDOW_OPACITY, 0 to 1
//                 [--pid N] [--machine HOST] [--transient-for ID]
//                 [--count N]                                  so many in a grid, titles numbered
// Prints "ready" once the windows are mapped, and then their identifiers, a line each.
// Reads commands, a line each, for the newest window; each is answered by "done":
//   move X Y, resize W H, color RRGGBB, raise, lower, map, unmap, iconify, activate,
//   fullscreen, close, title TEXT, title-hex BYTES; and "open" with the options from above, one
//   between two blanks, which answers the identifier first.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <poll.h>
#include <unistd.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Owned = std::unique_ptr<T, FreeDeleter>;

struct Options {
    int x = 0;
    int y = 0;
    int width = 320;
    int height = 240;
    std::uint32_t colour = 0x808080;
    bool quarters = false;
    std::optional<std::uint32_t> alpha;
    std::optional<std::string> title;
    std::optional<std::string> name;
    std::string nameType = "STRING";
    std::string instance;
    std::optional<std::string> className;
    std::vector<std::string> types;
    std::optional<std::string> applicationID;
    bool overrideRedirect = false;
    bool undecorated = false;
    int border = 0;
    int shadow = 0;
    std::vector<xcb_rectangle_t> shape;
    std::optional<double> opacity;
    std::optional<std::uint32_t> pid;
    std::optional<std::string> machine;
    std::optional<std::uint32_t> transientFor;
    int count = 1;
};

std::string bytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    return bytes;
}

std::uint32_t numberOf(const std::string& text, int base = 0) {
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, base));
}

xcb_rectangle_t rectangleOf(const std::string& text) {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    if (std::sscanf(text.c_str(), "%d,%d,%d,%d", &x, &y, &width, &height) != 4)
        throw std::runtime_error("No rectangle: " + text);
    return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
            static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
}

Options parse(const std::vector<std::string>& words) {
    Options options;
    std::size_t index = 0;
    const auto value = [&]() -> const std::string& {
        if (index + 1 == words.size()) throw std::runtime_error("No value: " + words[index]);
        return words[++index];
    };
    const std::map<std::string, int*> numbers{
        {"--x", &options.x},           {"--y", &options.y},           {"--width", &options.width},
        {"--height", &options.height}, {"--border", &options.border}, {"--shadow", &options.shadow},
        {"--count", &options.count}};
    for (; index < words.size(); ++index) {
        const std::string& word = words[index];
        if (const auto number = numbers.find(word); number != numbers.end()) {
            *number->second = std::stoi(value());
        } else if (word == "--color") {
            options.colour = numberOf(value(), 16);
        } else if (word == "--quarters") {
            options.quarters = true;
        } else if (word == "--alpha") {
            options.alpha = numberOf(value());
        } else if (word == "--title") {
            options.title = value();
        } else if (word == "--title-hex") {
            options.title = bytesOf(value());
        } else if (word == "--name") {
            options.name = value();
        } else if (word == "--name-hex") {
            options.name = bytesOf(value());
        } else if (word == "--name-type") {
            options.nameType = value();
        } else if (word == "--instance") {
            options.instance = value();
        } else if (word == "--class") {
            options.className = value();
        } else if (word == "--type") {
            options.types.push_back(value());
        } else if (word == "--app-id") {
            options.applicationID = value();
        } else if (word == "--override") {
            options.overrideRedirect = true;
        } else if (word == "--undecorated") {
            options.undecorated = true;
        } else if (word == "--shape") {
            options.shape.push_back(rectangleOf(value()));
        } else if (word == "--opacity") {
            options.opacity = std::stod(value());
        } else if (word == "--pid") {
            options.pid = numberOf(value());
        } else if (word == "--machine") {
            options.machine = value();
        } else if (word == "--transient-for") {
            options.transientFor = numberOf(value());
        } else {
            throw std::runtime_error("Unknown option: " + word);
        }
    }
    return options;
}

class Windows {
  public:
    Windows() {
        int screenNumber = 0;
        xcb_ = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(xcb_) != 0)
            throw std::runtime_error("The X server cannot be reached.");
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(xcb_));
        for (; screenNumber > 0; --screenNumber)
            xcb_screen_next(&screens);
        screen_ = screens.data;
    }
    ~Windows() { xcb_disconnect(xcb_); }
    Windows(const Windows&) = delete;
    Windows& operator=(const Windows&) = delete;

    // Maps the window and waits until it is, as the newest one.
    std::uint32_t open(const Options& options) {
        newest_ = create(options);
        decorate(options);
        xcb_map_window(xcb_, newest_);
        awaitMapped();
        return newest_;
    }

    void paint(std::uint32_t colour) {
        const std::uint32_t value = pixel(colour);
        xcb_change_window_attributes(xcb_, newest_, XCB_CW_BACK_PIXEL, &value);
        xcb_clear_area(xcb_, false, newest_, 0, 0, 0, 0);
    }
    void configure(std::uint16_t mask, const std::vector<std::int32_t>& values) {
        xcb_configure_window(xcb_, newest_, mask, values.data());
    }
    void map() {
        xcb_map_window(xcb_, newest_);
        awaitMapped();
    }
    void unmap() { xcb_unmap_window(xcb_, newest_); }
    void close() { xcb_destroy_window(xcb_, newest_); }
    void setTitle(const std::string& title) { changeText("_NET_WM_NAME", "UTF8_STRING", title); }
    void askToFillTheScreen() { askManager("_NET_WM_STATE", 1, atom("_NET_WM_STATE_FULLSCREEN")); }
    void askManager(const char* message, std::uint32_t first, std::uint32_t second = 0) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = newest_;
        event.type = atom(message);
        event.data.data32[0] = first;
        event.data.data32[1] = second;
        xcb_send_event(xcb_, false, screen_->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&event));
    }

    void sync() {
        const Owned<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
        if (!reply) throw std::runtime_error("The X server ended the connection.");
        handleEvents();
    }
    // Drops what the server tells; true once the newest window is known to be mapped.
    bool handleEvents() {
        bool mapped = false;
        while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(xcb_)}) {
            const auto type = event->response_type & 0x7f;
            mapped |= type == XCB_MAP_NOTIFY &&
                      reinterpret_cast<xcb_map_notify_event_t*>(event.get())->window == newest_;
        }
        if (xcb_connection_has_error(xcb_) != 0)
            throw std::runtime_error("The X server ended the connection.");
        return mapped;
    }
    int descriptor() const { return xcb_get_file_descriptor(xcb_); }

  private:
    xcb_atom_t atom(const std::string& name) {
        auto& known = atoms_[name];
        if (known == 0) {
            const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
                xcb_,
                xcb_intern_atom(xcb_, false, static_cast<std::uint16_t>(name.size()), name.c_str()),
                nullptr));
            if (!reply) throw std::runtime_error("The X server ended the connection.");
            known = reply->atom;
        }
        return known;
    }

    std::uint32_t pixel(std::uint32_t colour) const {
        if (!alpha_) return colour;
        const auto faded = [&](int shift) { return (colour >> shift & 0xFFU) * *alpha_ / 255; };
        return *alpha_ << 24 | faded(16) << 16 | faded(8) << 8 | faded(0);
    }

    const xcb_visualtype_t& visualOfDepth32() const {
        auto depths = xcb_screen_allowed_depths_iterator(screen_);
        for (; depths.rem > 0; xcb_depth_next(&depths)) {
            if (depths.data->depth != 32 || depths.data->visuals_len == 0) continue;
            return *xcb_depth_visuals(depths.data);
        }
        throw std::runtime_error("The screen has no visual with an alpha channel.");
    }

    std::uint32_t create(const Options& options) {
        alpha_ = options.alpha;
        std::uint8_t depth = screen_->root_depth;
        xcb_visualid_t visual = screen_->root_visual;
        xcb_colormap_t colours = screen_->default_colormap;
        if (alpha_) {
            depth = 32;
            visual = visualOfDepth32().visual_id;
            colours = xcb_generate_id(xcb_);
            xcb_create_colormap(xcb_, XCB_COLORMAP_ALLOC_NONE, colours, screen_->root, visual);
        }
        const std::uint32_t window = xcb_generate_id(xcb_);
        const std::vector<std::uint32_t> attributes{pixel(options.colour), 0,
                                                    options.overrideRedirect ? 1U : 0U,
                                                    XCB_EVENT_MASK_STRUCTURE_NOTIFY, colours};
        xcb_create_window(
            xcb_, depth, window, screen_->root, static_cast<std::int16_t>(options.x),
            static_cast<std::int16_t>(options.y), static_cast<std::uint16_t>(options.width),
            static_cast<std::uint16_t>(options.height), static_cast<std::uint16_t>(options.border),
            XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
            XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK |
                XCB_CW_COLORMAP,
            attributes.data());
        if (options.quarters) quarter(window, depth, options.width, options.height);
        return window;
    }

    // As the background, so that the server paints it whenever a part is uncovered.
    void quarter(std::uint32_t window, std::uint8_t depth, int width, int height) {
        const xcb_pixmap_t picture = xcb_generate_id(xcb_);
        xcb_create_pixmap(xcb_, depth, picture, window, static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height));
        const std::uint32_t colours[] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
        for (int index = 0; index < 4; ++index) {
            const xcb_gcontext_t context = xcb_generate_id(xcb_);
            const std::uint32_t value = pixel(colours[index]);
            xcb_create_gc(xcb_, context, picture, XCB_GC_FOREGROUND, &value);
            const xcb_rectangle_t area{static_cast<std::int16_t>(index % 2 * (width / 2)),
                                       static_cast<std::int16_t>(index / 2 * (height / 2)),
                                       static_cast<std::uint16_t>(width - width / 2),
                                       static_cast<std::uint16_t>(height - height / 2)};
            xcb_poly_fill_rectangle(xcb_, picture, context, 1, &area);
            xcb_free_gc(xcb_, context);
        }
        xcb_change_window_attributes(xcb_, window, XCB_CW_BACK_PIXMAP, &picture);
        xcb_free_pixmap(xcb_, picture);
    }

    void changeText(const char* property, const char* type, const std::string& bytes) {
        xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, newest_, atom(property), atom(type), 8,
                            static_cast<std::uint32_t>(bytes.size()), bytes.data());
    }
    void change(const char* property, const char* type, const std::vector<std::uint32_t>& values) {
        xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, newest_, atom(property), atom(type), 32,
                            static_cast<std::uint32_t>(values.size()), values.data());
    }

    void decorate(const Options& options) {
        // The position and the size are the user's, so that a window manager keeps them.
        std::vector<std::uint32_t> hints(18);
        hints[0] = 1U | 2U;
        change("WM_NORMAL_HINTS", "WM_SIZE_HINTS", hints);
        if (options.title) setTitle(*options.title);
        if (options.name) changeText("WM_NAME", options.nameType.c_str(), *options.name);
        if (options.className) {
            const std::string end(1, '\0');
            changeText("WM_CLASS", "STRING", options.instance + end + *options.className + end);
        }
        std::vector<std::uint32_t> types;
        for (const auto& type : options.types)
            types.push_back(atom("_NET_WM_WINDOW_TYPE_" + type));
        if (!types.empty()) change("_NET_WM_WINDOW_TYPE", "ATOM", types);
        if (options.applicationID)
            changeText("_GTK_APPLICATION_ID", "UTF8_STRING", *options.applicationID);
        if (options.undecorated) change("_MOTIF_WM_HINTS", "_MOTIF_WM_HINTS", {2, 0, 0, 0, 0});
        if (options.shadow != 0) {
            const auto side = static_cast<std::uint32_t>(options.shadow);
            change("_GTK_FRAME_EXTENTS", "CARDINAL", {side, side, side, side});
        }
        if (options.opacity) {
            change("_NET_WM_WINDOW_OPACITY", "CARDINAL",
                   {static_cast<std::uint32_t>(std::llround(*options.opacity * 0xFFFFFFFFL))});
        }
        if (options.pid) change("_NET_WM_PID", "CARDINAL", {*options.pid});
        if (options.machine) changeText("WM_CLIENT_MACHINE", "STRING", *options.machine);
        if (options.transientFor) change("WM_TRANSIENT_FOR", "WINDOW", {*options.transientFor});
        if (!options.shape.empty()) {
            xcb_shape_rectangles(
                xcb_, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED, newest_,
                0, 0, static_cast<std::uint32_t>(options.shape.size()), options.shape.data());
        }
    }

    void awaitMapped() {
        xcb_flush(xcb_);
        while (!handleEvents()) {
            pollfd waiting{descriptor(), POLLIN, 0};
            if (poll(&waiting, 1, 10000) <= 0) throw std::runtime_error("The window never came.");
        }
    }

    xcb_connection_t* xcb_ = nullptr;
    xcb_screen_t* screen_ = nullptr;
    std::map<std::string, xcb_atom_t> atoms_;
    std::uint32_t newest_ = 0;
    std::optional<std::uint32_t> alpha_;  // the newest window's
};

void obey(Windows& windows, const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    std::string rest;
    std::getline(words >> std::ws, rest);
    int first = 0;
    int second = 0;
    std::istringstream(rest) >> first >> second;
    if (command == "move") {
        windows.configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {first, second});
    } else if (command == "resize") {
        windows.configure(XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, {first, second});
    } else if (command == "raise") {
        windows.configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE});
    } else if (command == "lower") {
        windows.configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_BELOW});
    } else if (command == "color") {
        windows.paint(numberOf(rest, 16));
    } else if (command == "map") {
        windows.map();
    } else if (command == "unmap") {
        windows.unmap();
    } else if (command == "iconify") {
        windows.askManager("WM_CHANGE_STATE", 3);
    } else if (command == "activate") {
        windows.askManager("_NET_ACTIVE_WINDOW", 2);
    } else if (command == "fullscreen") {
        windows.askToFillTheScreen();
    } else if (command == "close") {
        windows.close();
    } else if (command == "title") {
        windows.setTitle(rest);
    } else if (command == "title-hex") {
        windows.setTitle(bytesOf(rest));
    } else if (command == "open") {
        std::vector<std::string> options;
        std::istringstream each(rest);
        for (std::string word; each >> word;)
            options.push_back(word);
        std::printf("%u\n", windows.open(parse(options)));
    } else {
        throw std::runtime_error("Unknown command: " + command);
    }
    windows.sync();
    std::puts("done");
    std::fflush(stdout);
}

void openAll(Windows& windows, const Options& options) {
    std::vector<std::uint32_t> identifiers;
    for (int number = 1; number <= options.count; ++number) {
        Options each = options;
        if (options.count > 1) {
            each.x += (number - 1) % 16 * 40;
            each.y += (number - 1) / 16 % 16 * 40;
            each.title = options.title.value_or("window") + " " + std::to_string(number);
        }
        identifiers.push_back(windows.open(each));
    }
    windows.sync();
    std::puts("ready");
    for (const std::uint32_t identifier : identifiers)
        std::printf("%u\n", identifier);
    std::fflush(stdout);
}

void serve(Windows& windows) {
    std::string input;
    pollfd waiting[] = {{windows.descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (true) {
        if (poll(waiting, 2, -1) < 0) throw std::runtime_error("Waiting failed.");
        windows.handleEvents();
        if (waiting[1].revents == 0) continue;
        char piece[4096];
        const ssize_t length = read(STDIN_FILENO, piece, sizeof piece);
        if (length <= 0) {
            waiting[1].fd = -1;  // nobody commands any more
            continue;
        }
        input.append(piece, static_cast<std::size_t>(length));
        for (std::size_t end = 0; (end = input.find('\n')) != std::string::npos;) {
            const std::string line = input.substr(0, end);
            input.erase(0, end + 1);
            obey(windows, line);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Windows windows;
        openAll(windows, parse({argv + 1, argv + argc}));
        serve(windows);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "window_source: %s\n", error.what());
        return 1;
    }
}
