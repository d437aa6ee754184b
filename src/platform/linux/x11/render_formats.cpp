#include "platform/linux/x11/render_formats.h"

#include <xcb/render.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/extensions.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {

RenderFormats::RenderFormats(const Connection& connection) {
    readyRender(connection);
    xcb_connection_t* xcb = connection.xcb();
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_render_query_pict_formats_reply_t> reply(
        xcb_render_query_pict_formats_reply(xcb, xcb_render_query_pict_formats(xcb), &error));
    if (!reply) throwMissingReply(error, "list its picture formats");
    std::map<std::uint32_t, bool> hasAlpha;
    auto formats = xcb_render_query_pict_formats_formats_iterator(reply.get());
    for (; formats.rem > 0; xcb_render_pictforminfo_next(&formats))
        hasAlpha[formats.data->id] = formats.data->direct.alpha_mask != 0;
    auto screens = xcb_render_query_pict_formats_screens_iterator(reply.get());
    for (; screens.rem > 0; xcb_render_pictscreen_next(&screens)) {
        auto depths = xcb_render_pictscreen_depths_iterator(screens.data);
        for (; depths.rem > 0; xcb_render_pictdepth_next(&depths)) {
            auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data);
            for (; visuals.rem > 0; xcb_render_pictvisual_next(&visuals)) {
                byVisual_[visuals.data->visual] = {visuals.data->format,
                                                   hasAlpha[visuals.data->format]};
            }
        }
    }
}

RenderFormat RenderFormats::ofVisual(std::uint32_t visual) const {
    const auto found = byVisual_.find(visual);
    return found == byVisual_.end() ? RenderFormat{} : found->second;
}

}  // namespace quorvane::platform::x11
