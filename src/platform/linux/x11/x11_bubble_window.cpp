#include "platform/linux/x11/x11_bubble_window.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "pixels/bubble_painter.h"
#include "pixels/video_fill.h"
#include "platform/linux/x11/bubble_geometry.h"
#include "platform/linux/x11/bubble_surface.h"
#include "platform/linux/x11/monitors.h"
#include "platform/linux/x11/picture_mailbox.h"
#include "platform/linux/x11/raise_pacer.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view title = "Quorvane Webcam";
// Its instance and its class, each with a zero behind it.
constexpr std::string_view windowClass = "quorvane-recorder\0Quorvane-recorder\0"sv;

struct Visual {
    xcb_visualid_t id = 0;
    std::uint8_t depth = 0;
};

// One whose words are 0xAARRGGBB, or at least 0x..RRGGBB.
std::optional<Visual> visualOfDepth(const xcb_screen_t& screen, std::uint8_t depth) {
    auto depths = xcb_screen_allowed_depths_iterator(&screen);
    for (; depths.rem > 0; xcb_depth_next(&depths)) {
        if (depths.data->depth != depth) continue;
        auto visuals = xcb_depth_visuals_iterator(depths.data);
        for (; visuals.rem > 0; xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t& visual = *visuals.data;
            if (visual._class == XCB_VISUAL_CLASS_TRUE_COLOR && visual.red_mask == 0xFF0000 &&
                visual.green_mask == 0xFF00 && visual.blue_mask == 0xFF) {
                return Visual{visual.visual_id, depth};
            }
        }
    }
    return std::nullopt;
}

Visual chooseVisual(const Connection& connection) {
    const auto byteOrder = xcb_get_setup(connection.xcb())->image_byte_order;
    const std::uint32_t one = 1;
    const bool littleEndian = *reinterpret_cast<const std::uint8_t*>(&one) == 1;
    if ((byteOrder == XCB_IMAGE_ORDER_LSB_FIRST) == littleEndian) {
        for (const auto depth : {std::uint8_t{32}, std::uint8_t{24}}) {
            if (const auto visual = visualOfDepth(connection.screen(), depth)) return *visual;
        }
    }
    throw x11Error(Failure::unsupportedPixels,
                   "The X server's screen has no colors that a bubble can be drawn in.");
}

// The number of the connection's screen, which is part of its compositing manager's name.
int screenNumber(const Connection& connection) {
    int number = 0;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.xcb()));
    for (; screens.rem > 0 && screens.data->root != connection.root(); xcb_screen_next(&screens))
        ++number;
    return number;
}

class Atoms {
  public:
    explicit Atoms(xcb_connection_t* xcb) : xcb_(xcb) {}

    xcb_atom_t operator[](std::string_view name) const {
        const auto cookie =
            xcb_intern_atom(xcb_, false, static_cast<std::uint16_t>(name.size()), name.data());
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(xcb_, cookie, &error));
        if (!reply) throwMissingReply(error, "name a property");
        return reply->atom;
    }

  private:
    xcb_connection_t* xcb_;
};

pixels::Color colorOf(const BubbleColor& color) {
    return {color.red, color.green, color.blue, color.alpha};
}

}  // namespace

struct X11BubbleWindow::State : std::enable_shared_from_this<State> {
    State(const Connection& owner, support::Dispatch& dispatch_,
          const BubbleWindowProperties& wanted, std::function<void()> closed)
        : connection(owner),
          xcb(owner.xcb()),
          dispatch(dispatch_),
          onClosed(std::move(closed)),
          properties(wanted) {}

    // Everything that waits for the server.
    void setUp() {
        visual = chooseVisual(connection);
        const auto randr = connection.extension(xcb_randr_id, "RANDR");
        monitorEvents = randr.first_event;
        const auto xfixes = connection.extension(xcb_xfixes_id, "XFIXES");
        selectionEvent =
            static_cast<std::uint8_t>(xfixes.first_event + XCB_XFIXES_SELECTION_NOTIFY);
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_xfixes_query_version_reply_t> version(
            xcb_xfixes_query_version_reply(xcb, xcb_xfixes_query_version(xcb, 4, 0), &error));
        if (!version) throwMissingReply(error, "tell its XFIXES version");

        findMainScreen();
        createWindow();
        surface.emplace(connection, window, visual.depth, largestArea());
        setProperties();
        watchServer();
        place();
    }

    // What a bubble as large as the root window takes with its shadow.
    std::size_t largestArea() const {
        const auto& screen = connection.screen();
        constexpr auto margins = std::size_t{2} * pixels::BubblePainter::shadowMargin;
        return (screen.width_in_pixels + margins) * (screen.height_in_pixels + margins);
    }

    void findMainScreen() {
        const auto monitors = listMonitors(connection);
        const auto& screen = connection.screen();
        // Without any monitor the root window is the screen.
        mainScreen = {0, 0, screen.width_in_pixels, screen.height_in_pixels};
        for (const auto& display : monitors.displays) {
            if (display.displayID != monitors.mainDisplayID) continue;
            const auto& frame = display.frame;
            mainScreen = {static_cast<int>(frame.x), static_cast<int>(frame.y),
                          static_cast<int>(frame.width), static_cast<int>(frame.height)};
        }
    }

    void createWindow() {
        const xcb_colormap_t colormap = xcb_generate_id(xcb);
        xcb_create_colormap(xcb, XCB_COLORMAP_ALLOC_NONE, colormap, connection.root(), visual.id);
        window = xcb_generate_id(xcb);
        // In the order of the mask's bits.
        const std::array<std::uint32_t, 6> values{
            0,  // nothing shines before the first picture is drawn
            0,  // the border's; needed where the depth is not the root window's
            XCB_GRAVITY_NORTH_WEST,
            1,  // no window manager
            XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_VISIBILITY_CHANGE |
                XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE,
            colormap};
        const auto cookie = xcb_create_window_checked(
            xcb, visual.depth, window, connection.root(), 0, 0, 1, 1, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, visual.id,
            XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY |
                XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
            values.data());
        throwIfRefused(xcb, cookie.sequence, "make a window");
    }

    void setProperties() {
        const Atoms atoms(xcb);
        const auto set = [&](xcb_atom_t name, xcb_atom_t type, std::uint8_t format,
                             std::size_t count, const void* data) {
            xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, name, type, format,
                                static_cast<std::uint32_t>(count), data);
        };
        const auto setAtoms = [&](xcb_atom_t name, const std::vector<xcb_atom_t>& values) {
            set(name, XCB_ATOM_ATOM, 32, values.size(), values.data());
        };
        const auto utf8 = atoms["UTF8_STRING"];
        set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, title.size(), title.data());
        set(atoms["_NET_WM_NAME"], utf8, 8, title.size(), title.data());
        set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, windowClass.size(), windowClass.data());
        std::array<char, 256> host{};
        if (gethostname(host.data(), host.size() - 1) == 0) {
            set(XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, 8, std::strlen(host.data()),
                host.data());
        }
        const auto process = static_cast<std::uint32_t>(getpid());
        set(atoms["_NET_WM_PID"], XCB_ATOM_CARDINAL, 32, 1, &process);
        // What is said here tells others what the window is; no window manager acts on it.
        setAtoms(atoms["_NET_WM_WINDOW_TYPE"], {atoms["_NET_WM_WINDOW_TYPE_NOTIFICATION"]});
        std::vector<xcb_atom_t> states{atoms["_NET_WM_STATE_SKIP_TASKBAR"],
                                       atoms["_NET_WM_STATE_SKIP_PAGER"]};
        if (properties.level > 0) states.push_back(atoms["_NET_WM_STATE_ABOVE"]);
        if ((properties.collectionBehavior & CollectionBehavior::canJoinAllSpaces) != 0) {
            states.push_back(atoms["_NET_WM_STATE_STICKY"]);
            const std::uint32_t everyDesktop = 0xFFFFFFFF;
            set(atoms["_NET_WM_DESKTOP"], XCB_ATOM_CARDINAL, 32, 1, &everyDesktop);
        }
        setAtoms(atoms["_NET_WM_STATE"], states);
        // No input, and no focus by WM_TAKE_FOCUS either.
        constexpr std::uint32_t inputHint = 1;
        const std::array<std::uint32_t, 9> hints{inputHint, 0};
        set(XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32, hints.size(), hints.data());
        frameExtents = atoms["_GTK_FRAME_EXTENTS"];
        if (properties.ignoresMouseEvents) setRegion(XCB_SHAPE_SK_INPUT, {});
    }

    // Cuts the window, or the part of it that the mouse sees, to rectangles.
    void setRegion(std::uint8_t kind, const std::vector<xcb_rectangle_t>& rectangles) {
        const xcb_xfixes_region_t region = xcb_generate_id(xcb);
        xcb_xfixes_create_region(xcb, region, static_cast<std::uint32_t>(rectangles.size()),
                                 rectangles.data());
        xcb_xfixes_set_window_shape_region(xcb, window, kind, 0, 0, region);
        xcb_xfixes_destroy_region(xcb, region);
    }

    void watchServer() {
        const Atoms atoms(xcb);
        compositor = atoms["_NET_WM_CM_S" + std::to_string(screenNumber(connection))];
        xcb_xfixes_select_selection_input(
            xcb, window, compositor,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        xcb_randr_select_input(
            xcb, connection.root(),
            XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
        // Monitors that a user defines are told of by the root window's configuration only.
        const std::uint32_t rootEvents =
            XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(xcb, connection.root(), XCB_CW_EVENT_MASK, &rootEvents);
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_get_selection_owner_reply_t> owner(
            xcb_get_selection_owner_reply(xcb, xcb_get_selection_owner(xcb, compositor), &error));
        if (!owner) throwMissingReply(error, "tell its compositing manager");
        isComposited = owner->owner != XCB_NONE;
    }

    pixels::BubbleLook lookFor(const PixelRect& bubble) const {
        const auto& container = properties.container;
        pixels::BubbleLook look;
        look.width = bubble.width;
        look.height = bubble.height;
        look.cornerRadius = container.masksToBounds ? container.cornerRadius : 0;
        look.borderWidth = container.borderWidth;
        look.borderColor = colorOf(container.borderColor);
        look.backgroundColor = colorOf(container.backgroundColor);
        look.isTranslucent = isComposited && visual.depth == 32 && !properties.isOpaque;
        look.hasShadow = properties.hasShadow;
        return look;
    }

    // Brings the window to where and how it should be, and draws it. Not while the server is behind
    // with two pictures: one that does not answer would soon take no more requests, and hold up
    // everything.
    void place() {
        isPlacingWanted = isMapped && !surface->isFree();
        if (isPlacingWanted) return;
        const auto& screen = connection.screen();
        const PixelRect bubble = placeOnRoot(properties.frame, mainScreen, screen.width_in_pixels,
                                             screen.height_in_pixels);
        mailbox->setDrawnSize({bubble.width, bubble.height});
        if (bubble.isEmpty()) {
            painter.reset();
            updateMapping();
            return;
        }
        const auto look = lookFor(bubble);
        if (!painter || painter->look() != look) {
            const bool wasTranslucent = painter && painter->look().isTranslucent;
            painter.emplace(look);
            surface->setSize(painter->width(), painter->height());
            ++generation;
            picture.resize(static_cast<std::size_t>(bubble.width) * bubble.height);
            hasPicture = false;
            if (!look.isTranslucent || !wasTranslucent) cut();
            setFrameExtents();
        }
        const int margin = painter->margin();
        const PixelRect outer{bubble.x - margin, bubble.y - margin, painter->width(),
                              painter->height()};
        if (outer != placed) {
            placed = outer;
            const std::array<std::uint32_t, 4> values{
                static_cast<std::uint32_t>(outer.x), static_cast<std::uint32_t>(outer.y),
                static_cast<std::uint32_t>(outer.width), static_cast<std::uint32_t>(outer.height)};
            xcb_configure_window(xcb, window,
                                 XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y |
                                     XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                                 values.data());
        }
        updateMapping();
        draw();
        xcb_flush(xcb);
    }

    // To the bubble's outline where nothing can be translucent, else not at all.
    void cut() {
        if (painter->look().isTranslucent) {
            xcb_xfixes_set_window_shape_region(xcb, window, XCB_SHAPE_SK_BOUNDING, 0, 0,
                                               XCB_XFIXES_REGION_NONE);
            return;
        }
        std::vector<xcb_rectangle_t> rows;
        const auto spans = painter->outline();
        for (std::size_t y = 0; y < spans.size(); ++y) {
            const auto& span = spans[y];
            if (span.first == span.last) continue;
            rows.push_back({static_cast<std::int16_t>(span.first), static_cast<std::int16_t>(y),
                            static_cast<std::uint16_t>(span.last - span.first), 1});
        }
        setRegion(XCB_SHAPE_SK_BOUNDING, rows);
    }

    // A shadow that the window draws itself is not part of what it shows, and compositing managers
    // that know this property add none of their own.
    void setFrameExtents() {
        const auto margin = static_cast<std::uint32_t>(painter->margin());
        const std::array<std::uint32_t, 4> extents{margin, margin, margin, margin};
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, frameExtents, XCB_ATOM_CARDINAL, 32,
                            extents.size(), extents.data());
    }

    void updateMapping() {
        const bool wanted = isOrderedIn && painter.has_value();
        if (wanted == isMapped) return;
        isMapped = wanted;
        if (wanted) {
            raiseNow();
            xcb_map_window(xcb, window);
        } else {
            xcb_unmap_window(xcb, window);
        }
        xcb_flush(xcb);
    }

    void draw() {
        if (!painter || !isMapped) return;
        if (!surface->isFree()) {
            isDrawingWanted = true;
            return;
        }
        isDrawingWanted = false;
        fetchPicture();
        bool isNew = false;
        const auto target = surface->begin(isNew);
        if (isNew) painter->paintSurroundings(target);
        painter->paint({hasPicture ? picture.data() : nullptr, painter->look().width}, target);
        surface->put();
    }

    // The camera's newest picture at the bubble's size; the last one again where that changed.
    void fetchPicture() {
        const bool isNews = mailbox->take();
        if (!isNews && generation == pictureGeneration) return;
        pictureGeneration = generation;
        const auto* newest = properties.preview ? mailbox->picture() : nullptr;
        if (newest == nullptr) {
            hasPicture = false;
            return;
        }
        const auto& look = painter->look();
        const bool drawn =
            fill.draw(*newest, look.width, look.height, {picture.data(), look.width});
        // A broken picture among good ones is passed over.
        hasPicture = drawn || hasPicture;
    }

    void pictureArrived() { draw(); }

    void mayBeCovered() {
        if (!isMapped || properties.level <= 0) return;
        const auto delay = pacer.covered(dispatch.clock().hostTime());
        if (!delay) return;
        if (*delay == std::chrono::nanoseconds(0)) {
            raiseNow();
            xcb_flush(xcb);
            return;
        }
        dispatch.schedule(dispatch.mainQueue(), *delay, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->raiseNow();
                xcb_flush(self->xcb);
            }
        });
    }

    void raiseNow() {
        pacer.raising(dispatch.clock().hostTime());
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(xcb, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    }

    bool handle(const Event& event) {
        if (surface->handle(event)) {
            if (isPlacingWanted) {
                place();
            } else if (isDrawingWanted) {
                draw();
            }
        } else if (event.type == selectionEvent) {
            compositorChanged(
                *static_cast<const xcb_xfixes_selection_notify_event_t*>(event.record));
        } else if (event.type == monitorEvents + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                   event.type == monitorEvents + XCB_RANDR_NOTIFY) {
            monitorsChanged();
        } else if (event.type == XCB_EXPOSE) {
            if (static_cast<const xcb_expose_event_t*>(event.record)->count == 0) draw();
        } else if (event.type == XCB_VISIBILITY_NOTIFY) {
            const auto& notice = *static_cast<const xcb_visibility_notify_event_t*>(event.record);
            if (notice.state != XCB_VISIBILITY_UNOBSCURED) mayBeCovered();
        } else if (event.type == XCB_DESTROY_NOTIFY) {
            return static_cast<const xcb_destroy_notify_event_t*>(event.record)->window != window;
        } else {
            stackingChanged(event);
        }
        return true;
    }

    void stackingChanged(const Event& event) {
        switch (event.type) {
            case XCB_CONFIGURE_NOTIFY:
                noteConfigure(*static_cast<const xcb_configure_notify_event_t*>(event.record));
                break;
            case XCB_MAP_NOTIFY:
                if (static_cast<const xcb_map_notify_event_t*>(event.record)->window == window) {
                    break;
                }
                mayBeCovered();
                break;
            case XCB_CIRCULATE_NOTIFY:
            case XCB_REPARENT_NOTIFY:
                mayBeCovered();
                break;
            default:
                break;
        }
    }

    void noteConfigure(const xcb_configure_notify_event_t& notice) {
        if (notice.window == connection.root()) {
            monitorsChanged();
        } else if (notice.window != window) {
            mayBeCovered();
        } else if (notice.event == window) {
            // It comes twice, also as the root window's child's. One that changes no place tells
            // of a raise.
            const PixelRect now{notice.x, notice.y, notice.width, notice.height};
            if (now == confirmed) pacer.raised(dispatch.clock().hostTime());
            confirmed = now;
        }
    }

    void compositorChanged(const xcb_xfixes_selection_notify_event_t& notice) {
        if (notice.selection != compositor) return;
        const bool now = notice.subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER &&
                         notice.owner != XCB_NONE;
        if (std::exchange(isComposited, now) != now) place();
    }

    void monitorsChanged() {
        try {
            findMainScreen();
        } catch (const PlatformError&) {
            return;  // the loss of the server is told elsewhere
        }
        place();
    }

    const Connection& connection;
    xcb_connection_t* const xcb;
    support::Dispatch& dispatch;
    const std::function<void()> onClosed;
    BubbleWindowProperties properties;

    Visual visual;
    xcb_window_t window = 0;
    xcb_atom_t compositor = 0;
    xcb_atom_t frameExtents = 0;
    std::uint8_t selectionEvent = 0;
    std::uint8_t monitorEvents = 0;
    std::optional<BubbleSurface> surface;
    std::shared_ptr<PictureMailbox> mailbox;

    PixelRect mainScreen;
    PixelRect placed;     // as asked for
    PixelRect confirmed;  // as the server told last
    bool isComposited = false;
    bool isOrderedIn = false;
    bool isMapped = false;
    bool isPlacingWanted = false;
    bool isDrawingWanted = false;
    RaisePacer pacer;

    std::optional<pixels::BubblePainter> painter;
    pixels::VideoFill fill;
    std::vector<std::uint32_t> picture;  // at the bubble's size
    bool hasPicture = false;
    std::uint64_t generation = 0;         // of looks
    std::uint64_t pictureGeneration = 0;  // the one that the picture was drawn for
};

X11BubbleWindow::X11BubbleWindow(std::shared_ptr<State> state) : state_(std::move(state)) {}
X11BubbleWindow::~X11BubbleWindow() = default;

std::shared_ptr<X11BubbleWindow> X11BubbleWindow::make(const Connection& connection,
                                                       support::Dispatch& dispatch,
                                                       const BubbleWindowProperties& properties,
                                                       std::function<void()> onClosed) {
    const auto state =
        std::make_shared<State>(connection, dispatch, properties, std::move(onClosed));
    state->mailbox = std::make_shared<PictureMailbox>(
        [weak = std::weak_ptr(state), &mainQueue = dispatch.mainQueue()] {
            mainQueue.post([weak] {
                if (const auto self = weak.lock()) self->pictureArrived();
            });
        });
    state->setUp();
    return std::shared_ptr<X11BubbleWindow>(new X11BubbleWindow(state));
}

void X11BubbleWindow::apply(const BubbleWindowProperties& properties) {
    if (properties == state_->properties) return;
    state_->properties = properties;
    state_->place();
}

std::shared_ptr<CameraPreviewLayer> X11BubbleWindow::previewLayer() {
    return state_->mailbox;
}

void X11BubbleWindow::orderFrontRegardless() {
    state_->isOrderedIn = true;
    state_->updateMapping();
    state_->draw();
}

void X11BubbleWindow::orderOut() {
    state_->isOrderedIn = false;
    state_->updateMapping();
    state_->onClosed();
}

bool X11BubbleWindow::handle(const Event& event) {
    return state_->handle(event);
}

}  // namespace quorvane::platform::x11
