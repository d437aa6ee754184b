#include "control/messages.h"

#include <nlohmann/json.hpp>

namespace quorvane::control {

std::optional<RecorderCommand> decodeRecorderCommand(std::string_view line) {
    const auto document = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!document.is_object()) return std::nullopt;
    const auto id = document.find("id");
    const auto source = document.find("source");
    const auto enabled = document.find("enabled");
    const auto end = document.end();
    if (id == end || !id->is_string() || source == end || !source->is_string() || enabled == end ||
        !enabled->is_boolean())
        return std::nullopt;
    RecorderCommand command;
    command.id = id->get<std::string>();
    command.enabled = enabled->get<bool>();
    if (*source == "microphone") {
        command.source = RecordedAudioSource::microphone;
    } else if (*source == "system") {
        command.source = RecordedAudioSource::system;
    } else {
        return std::nullopt;
    }
    return command;
}

std::string_view text(RecorderMessage::Kind kind) {
    switch (kind) {
        case RecorderMessage::Kind::started:
            return "started";
        case RecorderMessage::Kind::levels:
            return "levels";
        case RecorderMessage::Kind::audioState:
            return "audioState";
        case RecorderMessage::Kind::finishing:
            return "finishing";
        case RecorderMessage::Kind::processing:
            return "processing";
        case RecorderMessage::Kind::warning:
            return "warning";
        case RecorderMessage::Kind::heartbeat:
            return "heartbeat";
    }
    return "";
}

void encode(const RecorderMessage& message, support::JsonObject& object) {
    object.member("kind", text(message.kind));
    object.member("wallClock", message.wallClock);
    object.member("microphoneLevel", message.microphoneLevel);
    object.member("systemLevel", message.systemLevel);
    object.member("microphoneEnabled", message.microphoneEnabled);
    object.member("systemEnabled", message.systemEnabled);
    object.member("commandID", message.commandID);
    object.member("error", message.error);
}

}  // namespace quorvane::control
