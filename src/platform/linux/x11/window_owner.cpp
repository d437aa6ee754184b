#include "platform/linux/x11/window_owner.h"

#include <algorithm>
#include <map>
#include <string>

#include <unistd.h>
#include <xcb/res.h>
#include <xcb/xcb.h>

#include "platform/linux/x11/atoms.h"
#include "platform/linux/x11/reply.h"
#include "platform/linux/x11/x11_error.h"

namespace quorvane::platform::x11 {
namespace {

std::string hostName() {
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::string textOf(const Reply<xcb_get_property_reply_t>& reply) {
    if (!reply || reply->format != 8) return "";
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

}  // namespace

WindowOwners::WindowOwners(const Connection& connection)
    : connection_(connection), processAtom_(atomOf(connection, "_NET_WM_PID")) {
    if (!connection.has(xcb_res_id)) return;
    const Reply<xcb_res_query_version_reply_t> version(xcb_res_query_version_reply(
        connection.xcb(), xcb_res_query_version(connection.xcb(), 1, 2), nullptr));
    serverKnows_ = version && (version->server_major > 1 || version->server_minor >= 2);
}

std::vector<std::int32_t> WindowOwners::processesOf(std::span<const std::uint32_t> windows) const {
    if (windows.empty()) return {};
    return serverKnows_ ? byConnection(windows) : byProperty(windows);
}

std::vector<std::int32_t> WindowOwners::byConnection(std::span<const std::uint32_t> windows) const {
    std::vector<xcb_res_client_id_spec_t> questions;
    for (const std::uint32_t window : windows)
        questions.push_back({window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    xcb_connection_t* xcb = connection_.xcb();
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(
        xcb,
        xcb_res_query_client_ids(xcb, static_cast<std::uint32_t>(questions.size()),
                                 questions.data()),
        &error));
    if (!reply) throwMissingReply(error, "tell whose a window is");

    // The answers name the connections by their first identifier.
    const std::uint32_t mask = xcb_get_setup(xcb)->resource_id_mask;
    std::map<std::uint32_t, std::int32_t> processes;
    auto answers = xcb_res_query_client_ids_ids_iterator(reply.get());
    for (; answers.rem > 0; xcb_res_client_id_value_next(&answers)) {
        if (answers.data->length < 4) continue;
        processes[answers.data->spec.client & ~mask] =
            static_cast<std::int32_t>(*xcb_res_client_id_value_value(answers.data));
    }
    std::vector<std::int32_t> result;
    for (const std::uint32_t window : windows) {
        const auto found = processes.find(window & ~mask);
        result.push_back(found == processes.end() ? 0 : found->second);
    }
    return result;
}

std::vector<std::int32_t> WindowOwners::byProperty(std::span<const std::uint32_t> windows) const {
    xcb_connection_t* xcb = connection_.xcb();
    struct Question {
        xcb_get_property_cookie_t process;
        xcb_get_property_cookie_t machine;
    };
    std::vector<Question> questions;
    for (const std::uint32_t window : windows) {
        questions.push_back(
            {xcb_get_property(xcb, false, window, processAtom_, XCB_ATOM_CARDINAL, 0, 1),
             xcb_get_property(xcb, false, window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_ANY, 0,
                              64)});
    }
    const std::string host = hostName();
    std::vector<std::int32_t> result;
    for (const Question& question : questions) {
        const Reply<xcb_get_property_reply_t> process(
            xcb_get_property_reply(xcb, question.process, nullptr));
        const Reply<xcb_get_property_reply_t> machine(
            xcb_get_property_reply(xcb, question.machine, nullptr));
        std::int32_t identifier = 0;
        // A number from another host is somebody else's here.
        if (process && process->format == 32 && xcb_get_property_value_length(process.get()) == 4 &&
            textOf(machine) == host) {
            identifier = *static_cast<const std::int32_t*>(xcb_get_property_value(process.get()));
        }
        result.push_back(std::max(identifier, 0));
    }
    connection_.throwIfLost();
    return result;
}

}  // namespace quorvane::platform::x11
