// One line of the health log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/json.h"

namespace quorvane::health {

struct RecordingHealthSnapshot {
    std::string_view type = "recorder-health";
    std::string timestamp;       // ISO 8601 in UTC, whole seconds
    std::int64_t elapsedMs = 0;  // since the log was opened, as every other time here
    std::string_view event;      // "started", "first-audio-sample", "audio-sample" or "finished"
    std::optional<std::string_view> source;   // "system" or "microphone", of the sample events
    std::optional<std::int64_t> samplePtsMs;  // the buffer's own time, on the host clock
    bool systemAudioEnabled = false;
    bool microphoneEnabled = false;
    bool hasSystemAudioSamples = false;
    bool hasMicrophoneSamples = false;
    std::int64_t systemAudioSampleCount = 0;  // buffers
    std::int64_t microphoneSampleCount = 0;
    std::optional<std::int64_t> lastSystemAudioSampleElapsedMs;
    std::optional<std::int64_t> lastMicrophoneSampleElapsedMs;
};

void encode(const RecordingHealthSnapshot& snapshot, support::JsonObject& object);

}  // namespace quorvane::health
