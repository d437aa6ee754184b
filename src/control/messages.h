// The records that the recorder and its parent exchange, one JSON line each.
// Threads: values, any.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "support/json.h"

namespace quorvane::control {

enum class RecordedAudioSource { microphone, system };

// From the parent: mute (enabled false) or unmute a source.
struct RecorderCommand {
    std::string id;  // echoed in the reply
    RecordedAudioSource source = RecordedAudioSource::microphone;
    bool enabled = false;
};

// Nothing for a line that is not a JSON object with exactly these members' types; other members
// are ignored.
std::optional<RecorderCommand> decodeRecorderCommand(std::string_view line);

// To the parent. Which members a kind uses is in docs/protocol.md.
struct RecorderMessage {
    enum class Kind { started, levels, audioState, finishing, processing, warning, heartbeat };

    Kind kind = Kind::started;
    std::optional<double> wallClock;       // seconds since 1970
    std::optional<float> microphoneLevel;  // 0 to 1
    std::optional<float> systemLevel;      // 0 to 1
    std::optional<bool> microphoneEnabled;
    std::optional<bool> systemEnabled;
    std::optional<std::string> commandID;
    std::optional<std::string> error;
};

std::string_view text(RecorderMessage::Kind kind);
void encode(const RecorderMessage& message, support::JsonObject& object);

}  // namespace quorvane::control
