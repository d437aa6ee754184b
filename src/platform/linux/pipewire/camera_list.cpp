#include "platform/linux/pipewire/camera_list.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <pipewire/keys.h>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/object_properties.h"
#include "platform/linux/pipewire/sound_graph.h"

namespace quorvane::platform::pipewire {
namespace {

// Nobody is blocked meanwhile; a server that is being started for this question needs some of it.
constexpr auto answerPatience = std::chrono::seconds(5);
constexpr const char* effectiveCamera = "default.video.source";
constexpr const char* chosenCamera = "default.configured.video.source";

// "0x046d" and "1133" are the same number; nothing for what is none.
std::optional<unsigned> numberFrom(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x")) {
        text.remove_prefix(2);
        base = 16;
    }
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

template <class Number>
std::optional<Number> wholeNumber(const std::string& text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// Asks in rounds: what there is; the defaults and the cameras' own properties; their devices'.
class CameraQuery {
  public:
    CameraDevices run() {
        timer_->start(answerPatience);
        connection_.sync();
        connection_.run();
        return isAnswered_ ? cameras() : CameraDevices();
    }

  private:
    struct Camera {
        SoundNode node;
        std::unique_ptr<ObjectProperties> own;
        std::unique_ptr<ObjectProperties> device;

        std::string property(const std::string& key) const {
            const auto value = (*own)[key];
            return value.empty() && device ? (*device)[key] : value;
        }
        bool isCamera() const {
            const auto role = (*own)[PW_KEY_MEDIA_ROLE];
            return role.empty() || role == "Camera";
        }
        int priority() const {
            return wholeNumber<int>((*own)[PW_KEY_PRIORITY_SESSION]).value_or(0);
        }
    };

    void onDone() {
        ++answers_;
        if (answers_ == 1) {
            for (const SoundNode* node : graph_.nodesOfClass("Video/Source"))
                found_.push_back({*node, bind(ObjectProperties::Kind::node, node->id), nullptr});
        } else if (answers_ == 2) {
            for (auto& camera : found_) {
                const auto id = wholeNumber<std::uint32_t>((*camera.own)[PW_KEY_DEVICE_ID]);
                if (id) camera.device = bind(ObjectProperties::Kind::device, *id);
            }
        } else {
            isAnswered_ = true;
            connection_.quit();
            return;
        }
        connection_.sync();
    }

    std::unique_ptr<ObjectProperties> bind(ObjectProperties::Kind kind, std::uint32_t id) {
        return std::make_unique<ObjectProperties>(connection_, graph_.registry(), kind, id);
    }

    CameraDevices cameras() const {
        CameraDevices result;
        int highest = 0;
        for (const auto& camera : found_) {
            if (!camera.isCamera() || camera.node.name.empty()) continue;
            result.devices.push_back(
                {camera.node.name, camera.node.description,
                 modelIDFrom([&](const std::string& key) { return camera.property(key); })});
            if (!result.defaultDevice || camera.priority() > highest) {
                highest = camera.priority();
                result.defaultDevice = result.devices.back();
            }
        }
        // The effective one has the last word.
        for (const char* key : {chosenCamera, effectiveCamera}) {
            const auto name = graph_.defaultName(key);
            for (const auto& device : result.devices) {
                if (device.uniqueID == name) result.defaultDevice = device;
            }
        }
        return result;
    }

    Connection connection_{ConnectionUse::query, {[this](int) { onDone(); }, nullptr}};
    SoundGraph graph_{connection_, {}};
    std::unique_ptr<Timer> timer_ = connection_.makeTimer([this] { connection_.quit(); });
    std::vector<Camera> found_;
    int answers_ = 0;
    bool isAnswered_ = false;
};

}  // namespace

CameraDevices listCameras() {
    try {
        return CameraQuery().run();
    } catch (const std::exception&) {
        return {};
    }
}

std::string modelIDFrom(const std::function<std::string(const std::string& key)>& property) {
    const auto vendor = numberFrom(property(PW_KEY_DEVICE_VENDOR_ID));
    const auto product = numberFrom(property(PW_KEY_DEVICE_PRODUCT_ID));
    if (!vendor || !product) return property(PW_KEY_DEVICE_PRODUCT_NAME);
    char text[32];
    std::snprintf(text, sizeof text, "%04x:%04x", *vendor, *product);
    return text;
}

}  // namespace quorvane::platform::pipewire
