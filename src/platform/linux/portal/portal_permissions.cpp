#include "platform/linux/portal/portal_permissions.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "platform/linux/patient_query.h"
#include "support/background_thread.h"

namespace quorvane::platform::portal {
namespace {

// Of a store that has to be started first, too.
constexpr auto storePatience = std::chrono::milliseconds(1000);
// Of a portal that has to be started first.
constexpr auto callPatience = std::chrono::seconds(5);
constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr std::uint32_t userGranted = 0;  // the code of a request's response

struct CloseBus {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
struct DropMessage {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;
using Message = std::unique_ptr<sd_bus_message, DropMessage>;

class Error {
  public:
    Error() = default;
    ~Error() { sd_bus_error_free(&error_); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    sd_bus_error* get() { return &error_; }
    bool is(const char* name) const { return sd_bus_error_has_name(&error_, name) > 0; }

  private:
    sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

Bus connect() {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) return {};
    Bus owned(bus);
    // No call waits for the user: a question is answered by a signal.
    constexpr auto patience = std::chrono::microseconds(callPatience);
    return sd_bus_set_method_call_timeout(bus, patience.count()) < 0 ? Bus() : std::move(owned);
}

// The next element of an array of texts; nothing at its end.
std::optional<std::string> nextText(sd_bus_message* message) {
    const char* text = nullptr;
    return sd_bus_message_read_basic(message, 's', &text) > 0 ? std::optional<std::string>(text)
                                                              : std::nullopt;
}

// The texts of the application in a dictionary from applications to lists of texts; nothing when it
// has none there. ok is false for a message of another shape.
std::vector<std::string> permissionsOf(sd_bus_message* message, const std::string& application,
                                       bool& ok) {
    std::vector<std::string> permissions;
    ok = sd_bus_message_enter_container(message, 'a', "{sas}") > 0;
    while (ok && sd_bus_message_enter_container(message, 'e', "sas") > 0) {
        const auto key = nextText(message);
        ok = key && sd_bus_message_enter_container(message, 'a', "s") > 0;
        while (ok) {
            const auto permission = nextText(message);
            if (!permission) break;
            if (key == application) permissions.push_back(*permission);
        }
        ok = ok && sd_bus_message_exit_container(message) >= 0 &&
             sd_bus_message_exit_container(message) >= 0;
    }
    return permissions;
}

StoredPermission permissionOf(const std::vector<std::string>& texts) {
    if (texts.empty()) return StoredPermission::none;
    if (texts.size() > 1) return StoredPermission::unknown;
    const std::string_view text = texts.front();
    if (text == "yes") return StoredPermission::yes;
    if (text == "no") return StoredPermission::no;
    if (text == "ask") return StoredPermission::ask;
    return StoredPermission::unknown;
}

// One question to the user through the portal. Lives on the thread that waits for the answer.
class Question {
  public:
    // Whether the user granted it; false when nobody could be asked.
    bool ask() {
        bus_ = connect();
        // The response may come before the reply that names the request.
        if (!bus_ || !listen("type='signal',interface='org.freedesktop.portal.Request',"
                             "member='Response'",
                             onResponse))
            return false;
        const std::string portalLeft = fmt::format(
            "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
            "member='NameOwnerChanged',arg0='{}',arg2=''",
            portalName);
        if (!listen(portalLeft.c_str(), onPortalLeft) || !request()) return false;
        while (!response() && !portalLeft_) {
            const int done = sd_bus_process(bus_.get(), nullptr);
            if (done < 0) return false;
            if (done > 0) continue;
            const int waited = sd_bus_wait(bus_.get(), UINT64_MAX);
            if (waited < 0 && waited != -EINTR) return false;
        }
        return response() == userGranted;
    }

  private:
    struct Response {
        std::string request;
        std::uint32_t code;
    };

    bool listen(const char* match, sd_bus_message_handler_t handler) {
        return sd_bus_add_match(bus_.get(), nullptr, match, handler, this) >= 0;
    }

    bool request() {
        sd_bus_message* reply = nullptr;
        const int result = sd_bus_call_method(
            bus_.get(), portalName, "/org/freedesktop/portal/desktop",
            "org.freedesktop.portal.Device", "AccessDevice", nullptr, &reply, "uasa{sv}",
            static_cast<std::uint32_t>(getpid()), 1, "microphone", 0);
        const Message owned(reply);
        const char* handle = nullptr;
        if (result < 0 || sd_bus_message_read_basic(reply, 'o', &handle) <= 0) return false;
        request_ = handle;
        return true;
    }

    std::optional<std::uint32_t> response() const {
        for (const auto& each : responses_) {
            if (each.request == request_) return each.code;
        }
        return std::nullopt;
    }

    static int onResponse(sd_bus_message* message, void* data, sd_bus_error*) {
        auto& self = *static_cast<Question*>(data);
        const char* path = sd_bus_message_get_path(message);
        std::uint32_t code = 0;
        if (path == nullptr || sd_bus_message_read_basic(message, 'u', &code) <= 0) return 0;
        try {
            self.responses_.push_back({path, code});
        } catch (const std::exception&) {
            return -ENOMEM;
        }
        return 0;
    }
    static int onPortalLeft(sd_bus_message*, void* data, sd_bus_error*) {
        static_cast<Question*>(data)->portalLeft_ = true;
        return 0;
    }

    Bus bus_;
    std::string request_;
    std::vector<Response> responses_;
    bool portalLeft_ = false;
};

bool askUser() noexcept {
    try {
        return Question().ask();
    } catch (const std::exception&) {
        return false;
    }
}

StoredPermission readStore(const std::string& application) {
    const Bus bus = connect();
    if (!bus) return StoredPermission::unknown;
    sd_bus_message* question = nullptr;
    if (sd_bus_message_new_method_call(bus.get(), &question,
                                       "org.freedesktop.impl.portal.PermissionStore",
                                       "/org/freedesktop/impl/portal/PermissionStore",
                                       "org.freedesktop.impl.portal.PermissionStore", "Lookup") < 0)
        return StoredPermission::unknown;
    const Message ownedQuestion(question);
    if (sd_bus_message_append(question, "ss", "devices", "microphone") < 0)
        return StoredPermission::unknown;
    Error error;
    sd_bus_message* reply = nullptr;
    const auto microseconds =
        static_cast<std::uint64_t>(std::chrono::microseconds(storePatience).count());
    const int result = sd_bus_call(bus.get(), question, microseconds, error.get(), &reply);
    const Message ownedReply(reply);
    if (result < 0) {
        // The store makes its entry when somebody decides for the first time.
        return error.is("org.freedesktop.portal.Error.NotFound") ? StoredPermission::none
                                                                 : StoredPermission::unknown;
    }
    bool ok = false;
    const auto texts = permissionsOf(reply, application, ok);
    return ok ? permissionOf(texts) : StoredPermission::unknown;
}

}  // namespace

StoredPermission PortalPermissions::microphonePermission(const std::string& application) {
    // Connecting has no limit of its own.
    return askPatiently("portal-query", storePatience, StoredPermission::unknown,
                        [application] { return readStore(application); });
}

void PortalPermissions::requestMicrophone(std::function<void(bool granted)> answer) {
    support::startBackgroundThread("portal-request", [answer = std::move(answer)] {
        answer(askUser());
    }).detach();
}

}  // namespace quorvane::platform::portal
