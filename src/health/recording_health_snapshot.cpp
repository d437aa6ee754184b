#include "health/recording_health_snapshot.h"

namespace quorvane::health {

void encode(const RecordingHealthSnapshot& snapshot, support::JsonObject& object) {
    object.member("type", snapshot.type);
    object.member("timestamp", snapshot.timestamp);
    object.member("elapsedMs", snapshot.elapsedMs);
    object.member("event", snapshot.event);
    object.member("source", snapshot.source);
    object.member("samplePtsMs", snapshot.samplePtsMs);
    object.member("systemAudioEnabled", snapshot.systemAudioEnabled);
    object.member("microphoneEnabled", snapshot.microphoneEnabled);
    object.member("hasSystemAudioSamples", snapshot.hasSystemAudioSamples);
    object.member("hasMicrophoneSamples", snapshot.hasMicrophoneSamples);
    object.member("systemAudioSampleCount", snapshot.systemAudioSampleCount);
    object.member("microphoneSampleCount", snapshot.microphoneSampleCount);
    object.member("lastSystemAudioSampleElapsedMs", snapshot.lastSystemAudioSampleElapsedMs);
    object.member("lastMicrophoneSampleElapsedMs", snapshot.lastMicrophoneSampleElapsedMs);
}

}  // namespace quorvane::health
