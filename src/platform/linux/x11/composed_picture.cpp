#include "platform/linux/x11/composed_picture.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "platform/linux/x11/extensions.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

using namespace std::chrono_literals;

// How long programs may take to paint their windows again before the picture is shown as it is.
constexpr std::chrono::nanoseconds paintingPatience = 400ms;

// How long a compositing manager may show a window that has gone, as it does while it fades out.
constexpr std::chrono::nanoseconds fading = 1s;

constexpr xcb_render_color_t black{0, 0, 0, 0xFFFF};

const Connection& ready(const Connection& connection) {
    readyDamage(connection);
    readyFixes(connection);
    readyComposite(connection);
    return connection;
}

}  // namespace

const std::uint32_t ComposedPicture::rootEvents = WindowStack::rootEvents | Backdrop::rootEvents;

ComposedPicture::ComposedPicture(const Connection& connection, const PixelRect& area,
                                 std::vector<std::int32_t> processes, const support::Clock& clock)
    : connection_(ready(connection)),
      area_(area),
      processes_(std::move(processes)),
      clock_(clock),
      damageNoticeType_(static_cast<std::uint8_t>(
          connection.extension(xcb_damage_id, "DAMAGE").first_event + XCB_DAMAGE_NOTIFY)),
      formats_(connection),
      manager_(connection),
      stack_(connection),
      watches_(connection, clock),
      backdrop_(connection, formats_),
      rootDamage_(xcb_generate_id(connection.xcb())),
      pixmap_(xcb_generate_id(connection.xcb())),
      picture_(xcb_generate_id(connection.xcb())),
      context_(xcb_generate_id(connection.xcb())),
      dirty_(connection),
      background_(connection),
      free_(connection),
      secret_(connection),
      secretNow_(connection),
      lingering_(connection),
      cover_(connection),
      part_(connection) {
    xcb_connection_t* xcb = connection.xcb();
    const xcb_screen_t& screen = connection.screen();
    const auto pixmapCookie = xcb_create_pixmap_checked(
        xcb, screen.root_depth, pixmap_, screen.root, static_cast<std::uint16_t>(area.width),
        static_cast<std::uint16_t>(area.height));
    throwIfRefused(xcb, pixmapCookie.sequence, "hold a picture");
    xcb_render_create_picture(xcb, picture_, pixmap_, formats_.ofVisual(screen.root_visual).id, 0,
                              nullptr);
    const std::uint32_t noExposures = false;
    xcb_create_gc(xcb, context_, pixmap_, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    const xcb_rectangle_t all{0, 0, static_cast<std::uint16_t>(area.width),
                              static_cast<std::uint16_t>(area.height)};
    xcb_render_fill_rectangles(xcb, XCB_RENDER_PICT_OP_SRC, picture_, black, 1, &all);
    dirty_.assign({0, 0, area.width, area.height});
    if (showsAll()) {
        xcb_damage_create(xcb, rootDamage_, connection.root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
        xcb_damage_subtract(xcb, rootDamage_, XCB_NONE, XCB_NONE);
    }
    redirect();
}

// What of the windows is visible when they are redirected stays; their damage tells when the rest
// has been painted. Those that somebody else has redirected already are as they should be.
void ComposedPicture::redirect() {
    stack_.update();
    xcb_connection_t* xcb = connection_.xcb();
    struct Probe {
        const TopLevel* state;
        std::uint32_t pixmap;
        xcb_void_cookie_t cookie;
    };
    watches_.update(stack_.bottomToTop(), {});
    std::vector<Probe> probes;
    for (const TopLevel& state : stack_.bottomToTop()) {
        if (!isShown(state)) continue;
        const std::uint32_t pixmap = xcb_generate_id(xcb);
        probes.push_back(
            {&state, pixmap, xcb_composite_name_window_pixmap_checked(xcb, state.window, pixmap)});
    }
    std::vector<bool> fresh;
    for (const Probe& probe : probes) {
        const Reply<xcb_generic_error_t> refusal(xcb_request_check(xcb, probe.cookie));
        fresh.push_back(refusal != nullptr);
        if (!refusal) xcb_free_pixmap(xcb, probe.pixmap);
    }
    // Nothing may cover a window between the two.
    xcb_grab_server(xcb);
    for (std::size_t i = 0; i < probes.size(); ++i) {
        const TopLevel& state = *probes[i].state;
        windows_.push_back(std::make_unique<ComposedWindow>(connection_, state));
        if (!fresh[i]) continue;
        windows_.back()->awaitPainting(
            std::make_unique<PaintingWatch>(connection_, clock_, state.window));
        waitsUntil_ = clock_.hostTime() + paintingPatience;
    }
    const auto redirection = xcb_composite_redirect_subwindows_checked(
        xcb, connection_.root(), XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_ungrab_server(xcb);
    throwIfRefused(xcb, redirection.sequence, "redirect its windows");
}

ComposedPicture::~ComposedPicture() {
    xcb_connection_t* xcb = connection_.xcb();
    windows_.clear();
    if (showsAll()) xcb_damage_destroy(xcb, rootDamage_);
    xcb_composite_unredirect_subwindows(xcb, connection_.root(), XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_render_free_picture(xcb, picture_);
    xcb_free_gc(xcb, context_);
    xcb_free_pixmap(xcb, pixmap_);
    xcb_flush(xcb);
}

void ComposedPicture::pause() {
    paused_ = true;
    watches_.clear();
    // They come back as windows of which nothing is known.
    for (const auto& window : windows_) {
        if (window->watch() != nullptr) dirty_.add(window->visible);
    }
    std::erase_if(windows_, [](const auto& window) { return window->watch() != nullptr; });
}

void ComposedPicture::exclude(std::vector<std::uint32_t> topLevels) {
    if (topLevels == excluded_) return;
    excluded_ = std::move(topLevels);
    exclusionChanged_ = true;
}

bool ComposedPicture::handle(const Event& event) {
    if (event.type == damageNoticeType_) {
        const auto damage = static_cast<const xcb_damage_notify_event_t*>(event.record)->damage;
        if (damage == rootDamage_) {
            rootNoticed_ = true;
            return true;
        }
        for (const auto& window : windows_) {
            if (window->damage() == damage) {
                window->noticed = true;
                return true;
            }
        }
    }
    for (const auto& window : windows_) {
        if (window->watch() != nullptr && window->watch()->handle(event)) return true;
    }
    if (!paused_ && watches_.handle(event)) return true;
    if (event.type == XCB_MAP_NOTIFY) {
        const auto window = static_cast<const xcb_map_notify_event_t*>(event.record)->window;
        // What a manager redirects by hand is seen in its picture alone.
        if (manager_.runs() || stack_.isCovered(window)) noteCovered(window);
    }
    if (manager_.handle(event)) {
        managerChanged_ = true;
        return true;
    }
    // Both need the root window's properties.
    const bool ofBackdrop = showsAll() && backdrop_.handle(event);
    return stack_.handle(event) || ofBackdrop;
}

void ComposedPicture::noteCovered(std::uint32_t mapped) {
    watches_.noteCovered(mapped);
    for (const auto& window : windows_) {
        if (window->window() == mapped && window->watch() != nullptr)
            window->watch()->noteCovered();
    }
}

bool ComposedPicture::noticed() const {
    return firstLook_ || stack_.noticed() || exclusionChanged_ || managerChanged_ ||
           backdropRefreshed_ || (showsAll() && backdrop_.noticed()) ||
           (showsRoot() && rootNoticed_) ||
           std::any_of(windows_.begin(), windows_.end(), [](const auto& window) {
               return window->noticed || (window->watch() != nullptr && window->watch()->noticed());
           });
}

std::optional<support::MediaTime> ComposedPicture::nextQuestion() const {
    auto next = waitsUntil_;
    if (const auto end = watches_.nextEnd(); end && (!next || *end < *next)) next = end;
    for (const auto& window : windows_) {
        if (window->watch() == nullptr) continue;
        if (const auto end = window->watch()->end(); end && (!next || *end < *next)) next = end;
    }
    return next;
}

void ComposedPicture::awaitPainting(ComposedWindow& window) {
    auto watch = watches_.take(window.state());
    if (!watch) return;
    assignInside(part_, window, secret_);
    watch->expectFromMapping(part_);
    window.awaitPainting(std::move(watch));
}

// It may have been painted before that is noticed.
void ComposedPicture::awaitRepainting(ComposedWindow& window) {
    assignInside(part_, window, secret_);
    if (window.watch() != nullptr) {
        window.watch()->expectFromResizing(part_);
    } else {
        window.awaitPainting(std::make_unique<PaintingWatch>(connection_, clock_, window.window()));
        window.watch()->expectAnew(part_);
    }
}

void ComposedPicture::assignInside(ServerRegion& region, const ComposedWindow& window,
                                   const ServerRegion& within) const {
    window.assignInsideTo(region);
    window.moveToArea(region, area_);
    region.intersect(within);
    window.moveFromArea(region, area_);
}

bool ComposedPicture::isShown(const TopLevel& window) const {
    if (!window.mapped || !window.hasPixels || window.window == backdrop_.helper()) return false;
    // Where nobody composites, the screen shows what is mapped, whatever is said of it.
    if (window.hidden && !showsRoot()) return false;
    if (!showsAll() &&
        std::find(processes_.begin(), processes_.end(), window.processID) == processes_.end()) {
        return false;
    }
    if (std::find(excluded_.begin(), excluded_.end(), window.window) != excluded_.end()) {
        return false;
    }
    return !intersectionOf(window.outer, area_).isEmpty();
}

std::vector<bool> ComposedPicture::takeWindows() {
    const bool anew = std::exchange(managerChanged_, false);
    std::vector<std::unique_ptr<ComposedWindow>> old;
    old.swap(windows_);
    std::vector<bool> changed;
    std::vector<std::uint32_t> stayed;
    for (const TopLevel& state : stack_.bottomToTop()) {
        if (!isShown(state)) continue;
        const auto known = std::find_if(old.begin(), old.end(), [&](const auto& window) {
            return window && window->window() == state.window &&
                   window->state().life == state.life && window->state().mappings == state.mappings;
        });
        const bool isNew = known == old.end();
        if (isNew) {
            windows_.push_back(std::make_unique<ComposedWindow>(connection_, state));
        } else {
            windows_.push_back(std::move(*known));
            stayed.push_back(state.window);
        }
        ComposedWindow& window = *windows_.back();
        changed.push_back(window.update(state, formats_, manager_.runs(), anew));
        if (isNew) {
            awaitPainting(window);
        } else if (firstLook_ && window.watch() != nullptr) {
            cover_.assign(PixelRect{0, 0, area_.width, area_.height});
            assignInside(part_, window, cover_);
            window.watch()->expect(part_);
        } else if (window.wasResized()) {
            awaitRepainting(window);
        }
    }
    for (const auto& gone : old) {
        if (gone) dirty_.add(gone->visible);
    }
    // Where translucent windows lie on others, a new order shows, though no window has changed.
    std::erase_if(order_, [&](std::uint32_t window) {
        return std::find(stayed.begin(), stayed.end(), window) == stayed.end();
    });
    if (order_ != stayed) {
        for (std::size_t i = 0; i < windows_.size(); ++i)
            changed[i] = changed[i] || !windows_[i]->isOpaque();
    }
    order_.clear();
    for (const auto& window : windows_)
        order_.push_back(window->window());
    return changed;
}

void ComposedPicture::findSecret() {
    if (!showsAll()) {
        secret_.assign(PixelRect{0, 0, area_.width, area_.height});
        return;
    }
    std::vector<SecretWindow> windows;
    secret_.clear();
    for (const TopLevel& state : stack_.bottomToTop()) {
        if (!state.mapped) continue;
        if (std::find(excluded_.begin(), excluded_.end(), state.window) == excluded_.end()) {
            continue;
        }
        windows.push_back({state.window, state.outer, state.border, state.shapings});
        assignShapeTo(part_, state);
        secret_.add(part_);
    }
    const support::MediaTime now = clock_.hostTime();
    if (!manager_.runs() || now >= lingersUntil_) lingering_.clear();
    if (windows != secretWindows_) {
        secretWindows_ = std::move(windows);
        lingering_.add(secretNow_);
        lingersUntil_ = now + fading;
    }
    secretNow_.assign(secret_);
    secret_.add(lingering_);
}

void ComposedPicture::assignShapeTo(ServerRegion& region, const TopLevel& state) const {
    region.clear();  // which it stays when the window is gone
    region.assignShapeOf(state.window);
    region.moveBy(state.outer.x + state.border - area_.x, state.outer.y + state.border - area_.y);
}

// What differs from before becomes dirty: all of a window that has changed itself, and what comes
// to be seen of the others and of the background.
void ComposedPicture::restack() {
    stack_.update();
    if (showsAll() && (backdrop_.noticed() || managerChanged_)) {
        backdrop_.update(manager_.runs());
        dirty_.add(background_);
    }
    exclusionChanged_ = false;
    findSecret();
    const std::vector<bool> changed = takeWindows();
    watches_.update(stack_.bottomToTop(), excluded_);
    const PixelRect whole{0, 0, area_.width, area_.height};
    cover_.clear();
    free_.assign(whole);
    for (std::size_t i = windows_.size(); i-- > 0;) {
        ComposedWindow& window = *windows_[i];
        window.before.assign(window.visible);
        window.assignShapeTo(window.visible, area_);
        free_.subtract(window.visible);
        part_.assign(whole);
        window.visible.intersect(part_);
        window.visible.subtract(cover_);
        if (window.isOpaque()) cover_.add(window.visible);
        if (changed[i]) {
            dirty_.add(window.before);
            dirty_.add(window.visible);
        } else {
            part_.assign(window.visible);
            part_.subtract(window.before);
            dirty_.add(part_);
        }
    }
    if (showsRoot()) {
        free_.subtract(secretNow_);
    } else {
        free_.clear();
    }
    part_.assign(background_);
    background_.assign(whole);
    background_.subtract(cover_);
    cover_.assign(background_);
    cover_.subtract(part_);
    dirty_.add(cover_);
}

void ComposedPicture::endPatience() {
    const support::MediaTime now = clock_.hostTime();
    for (const auto& window : windows_) {
        if (window->watch() == nullptr) continue;
        const auto end = window->watch()->end();
        if (!end || now < *end) continue;
        part_.assign(window->watch()->unpainted());
        window->moveToArea(part_, area_);
        part_.intersect(window->visible);
        dirty_.add(part_);
        window->endAwaiting();
    }
}

void ComposedPicture::takePaintings() {
    for (const auto& window : windows_) {
        if (window->watch() == nullptr || !window->watch()->noticed()) continue;
        window->watch()->update(part_);
        window->moveToArea(part_, area_);
        part_.intersect(window->visible);
        dirty_.add(part_);
    }
}

void ComposedPicture::takeDamage() {
    for (const auto& window : windows_) {
        if (!window->noticed && !firstLook_) continue;
        window->takeDamage(part_, area_);
        part_.intersect(window->visible);
        dirty_.add(part_);
    }
    if (!showsRoot() || !std::exchange(rootNoticed_, false)) return;
    // The windows that the server shows on the root window are damage of it, too.
    xcb_damage_subtract(connection_.xcb(), rootDamage_, XCB_NONE, part_.id());
    part_.moveBy(-area_.x, -area_.y);
    part_.intersect(free_);
    dirty_.add(part_);
    rootRequest_ = part_.requestRects();
}

void ComposedPicture::paint() {
    xcb_connection_t* xcb = connection_.xcb();
    part_.assign(background_);
    part_.intersect(dirty_);
    xcb_xfixes_set_picture_clip_region(xcb, picture_, part_.id(), 0, 0);
    const auto width = static_cast<std::uint16_t>(area_.width);
    const auto height = static_cast<std::uint16_t>(area_.height);
    if (showsAll()) {
        backdrop_.paint(picture_, area_);
    } else {
        const xcb_rectangle_t all{0, 0, width, height};
        xcb_render_fill_rectangles(xcb, XCB_RENDER_PICT_OP_SRC, picture_, black, 1, &all);
    }
    if (showsRoot()) {
        // What was drawn on the root window itself.
        part_.intersect(free_);
        xcb_xfixes_set_gc_clip_region(xcb, context_, part_.id(), 0, 0);
        xcb_copy_area(xcb, connection_.root(), pixmap_, context_,
                      static_cast<std::int16_t>(area_.x), static_cast<std::int16_t>(area_.y), 0, 0,
                      width, height);
    }
    for (const auto& window : windows_) {
        part_.assign(window->visible);
        part_.intersect(dirty_);
        if (const PaintingWatch* watch = window->watch()) {
            cover_.assign(watch->unpainted());
            window->moveToArea(cover_, area_);
            part_.subtract(cover_);
        }
        xcb_xfixes_set_picture_clip_region(xcb, picture_, part_.id(), 0, 0);
        window->paint(picture_, area_);
    }
}

void ComposedPicture::request() {
    if (firstLook_ || stack_.noticed() || exclusionChanged_ || managerChanged_ ||
        (showsAll() && backdrop_.noticed())) {
        restack();
    }
    paused_ = false;
    watches_.end();
    endPatience();
    takePaintings();
    if (std::exchange(backdropRefreshed_, false)) dirty_.add(background_);
    takeDamage();
    firstLook_ = false;
    paint();
    dirtyRequest_ = dirty_.requestRects();
    dirty_.clear();
    requestUnpainted();
}

void ComposedPicture::requestUnpainted() {
    unpaintedRequests_.clear();
    for (const auto& window : windows_) {
        if (window->watch() == nullptr) continue;
        unpaintedRequests_.push_back({window.get(), window->watch()->unpainted().requestRects()});
    }
}

void ComposedPicture::receive(RectVisitor& visitor) {
    if (const auto request = std::exchange(rootRequest_, std::nullopt)) {
        bool drawn = false;
        const auto note = [&](const PixelRect&) { drawn = true; };
        RectVisitorOf noting(note);
        part_.receiveRects(*request, noting);
        if (drawn && backdrop_.helper() != 0) {
            backdrop_.refresh();
            backdropRefreshed_ = true;
        }
    }
    dirty_.receiveRects(dirtyRequest_, visitor);
    receiveUnpainted();
}

void ComposedPicture::receiveUnpainted() {
    bool allPainted = true;
    for (const auto& [window, request] : unpaintedRequests_) {
        bool painted = true;
        const auto note = [&](const PixelRect&) { painted = false; };
        RectVisitorOf noting(note);
        window->watch()->unpainted().receiveRects(request, noting);
        if (painted) window->endAwaiting();
        allPainted = allPainted && painted;
    }
    if (waitsUntil_ && (allPainted || clock_.hostTime() >= *waitsUntil_)) waitsUntil_.reset();
}

}  // namespace quorvane::platform::x11
