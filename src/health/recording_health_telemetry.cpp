#include "health/recording_health_telemetry.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

#include "cli/error_text.h"
#include "health/recording_health_snapshot.h"
#include "support/path.h"

namespace quorvane::health {
namespace {

using support::MutexLock;

// Halves away from zero.
std::int64_t roundedMilliseconds(std::chrono::nanoseconds time) {
    constexpr std::int64_t millisecond = 1'000'000;
    const auto half = time.count() < 0 ? -millisecond / 2 : millisecond / 2;
    return (time.count() + half) / millisecond;
}

// "2026-03-01T09:30:05Z".
std::string internetDateTime(support::WallTime time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto day = std::chrono::floor<std::chrono::days>(seconds);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(seconds - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

}  // namespace

std::unique_ptr<RecordingHealthTelemetry> RecordingHealthTelemetry::open(
    const std::optional<std::string>& path, bool systemAudioEnabled, bool microphoneEnabled,
    const Services& services) {
    if (!path || path->empty()) return nullptr;
    std::unique_ptr<RecordingHealthTelemetry> telemetry(
        new RecordingHealthTelemetry(services, systemAudioEnabled, microphoneEnabled));
    MutexLock lock(telemetry->lock_);
    try {
        services.files.createDirectory(support::deletingLastPathComponent(*path));
        telemetry->file_ = services.files.createLogFile(*path);
    } catch (...) {
        services.process.writeStandardError(
            fmt::format("Warning: could not open recorder health file at {}: {}\n", *path,
                        cli::localizedDescription(std::current_exception())));
        return nullptr;
    }
    telemetry->writeLocked("started", std::nullopt, std::nullopt, std::nullopt);
    return telemetry;
}

RecordingHealthTelemetry::RecordingHealthTelemetry(const Services& services,
                                                   bool systemAudioEnabled, bool microphoneEnabled)
    : process_(services.process),
      clock_(services.clock),
      start_(clock_.hostTime()),
      systemAudioEnabled_(systemAudioEnabled),
      microphoneEnabled_(microphoneEnabled) {}

std::int64_t RecordingHealthTelemetry::currentElapsedMs() const {
    return std::max<std::int64_t>(roundedMilliseconds(clock_.hostTime() - start_), 0);
}

RecordingHealthTelemetry::Source* RecordingHealthTelemetry::find(std::string_view source) {
    if (source == "system") return &systemAudio_;
    if (source == "microphone") return &microphone_;
    return nullptr;
}

void RecordingHealthTelemetry::recordAudioSample(std::string_view source,
                                                 const platform::SampleBuffer& sampleBuffer) {
    std::optional<std::int64_t> samplePtsMs;
    if (const auto time = sampleBuffer.presentationTime())
        samplePtsMs = roundedMilliseconds(time->time_since_epoch());
    MutexLock lock(lock_);
    if (closed_) return;
    auto* state = find(source);
    if (state == nullptr) return;
    const auto now = currentElapsedMs();
    const bool hadSamples = std::exchange(state->hasSamples, true);
    ++state->sampleCount;
    state->lastSampleElapsedMs = now;
    if (hadSamples &&
        now - state->lastHealthEventElapsedMs.value_or(0) < recordingHealthSampleIntervalMs)
        return;
    state->lastHealthEventElapsedMs = now;
    writeLocked(state->sampleCount == 1 ? "first-audio-sample" : "audio-sample", source,
                samplePtsMs, now);
}

void RecordingHealthTelemetry::finish() {
    // Closed after the lock is released, because closing may wait for the disk.
    std::unique_ptr<platform::LogFile> file;
    MutexLock lock(lock_);
    if (std::exchange(closed_, true)) return;
    writeLocked("finished", std::nullopt, std::nullopt, std::nullopt);
    file = std::move(file_);
}

void RecordingHealthTelemetry::writeLocked(std::string_view event,
                                           std::optional<std::string_view> source,
                                           std::optional<std::int64_t> samplePtsMs,
                                           std::optional<std::int64_t> elapsedMs) {
    if (!file_) return;
    try {
        RecordingHealthSnapshot snapshot;
        snapshot.timestamp = internetDateTime(clock_.wallTime());
        snapshot.elapsedMs = elapsedMs ? *elapsedMs : currentElapsedMs();
        snapshot.event = event;
        snapshot.source = source;
        snapshot.samplePtsMs = samplePtsMs;
        snapshot.systemAudioEnabled = systemAudioEnabled_;
        snapshot.microphoneEnabled = microphoneEnabled_;
        snapshot.hasSystemAudioSamples = systemAudio_.hasSamples;
        snapshot.hasMicrophoneSamples = microphone_.hasSamples;
        snapshot.systemAudioSampleCount = systemAudio_.sampleCount;
        snapshot.microphoneSampleCount = microphone_.sampleCount;
        snapshot.lastSystemAudioSampleElapsedMs = systemAudio_.lastSampleElapsedMs;
        snapshot.lastMicrophoneSampleElapsedMs = microphone_.lastSampleElapsedMs;
        file_->append(support::jsonText(snapshot, support::JsonOrder::sorted) + "\n");
    } catch (...) {
        process_.writeStandardError(
            fmt::format("Warning: could not write recorder health event: {}\n",
                        cli::localizedDescription(std::current_exception())));
    }
}

}  // namespace quorvane::health
