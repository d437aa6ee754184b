// A log, one JSON line each, of when audio buffers arrive: it tells a silent recording from one
// whose sound never came. The parent reads it afterwards or while it grows.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_manager.h"
#include "platform/process.h"
#include "platform/sample_buffer.h"
#include "support/dispatch.h"
#include "support/mutex.h"

namespace quorvane::health {

// The least time between two lines of one source, after its first.
constexpr std::int64_t recordingHealthSampleIntervalMs = 2000;

// The first line is "started", the last "finished"; a process that dies leaves a log without it.
// Threads: any. Errors: none, the recording goes on whatever becomes of the log.
class RecordingHealthTelemetry {
  public:
    // What it works on; outlives it.
    struct Services {
        const support::Clock& clock;
        platform::FileManager& files;
        platform::Process& process;
    };

    // Empties or creates the file, makes the folders above it, and writes the first line. Null
    // without a path, or when the file cannot be opened, which costs one line on standard error.
    static std::unique_ptr<RecordingHealthTelemetry> open(const std::optional<std::string>& path,
                                                          bool systemAudioEnabled,
                                                          bool microphoneEnabled,
                                                          const Services& services);

    // Counts a buffer of the source "system" or "microphone"; any other source is ignored.
    // Allocates and formats nothing but for the source's first buffer and one in two seconds.
    void recordAudioSample(std::string_view source, const platform::SampleBuffer& sampleBuffer)
        QUORVANE_EXCLUDES(lock_);
    // Writes the last line and closes the file; a second call does nothing.
    void finish() QUORVANE_EXCLUDES(lock_);

  private:
    // What is known of one source.
    struct Source {
        bool hasSamples = false;
        std::int64_t sampleCount = 0;
        std::optional<std::int64_t> lastSampleElapsedMs;
        std::optional<std::int64_t> lastHealthEventElapsedMs;  // of its last line
    };

    RecordingHealthTelemetry(const Services& services, bool systemAudioEnabled,
                             bool microphoneEnabled);

    std::int64_t currentElapsedMs() const;
    void writeLocked(std::string_view event, std::optional<std::string_view> source,
                     std::optional<std::int64_t> samplePtsMs, std::optional<std::int64_t> elapsedMs)
        QUORVANE_REQUIRES(lock_);
    // The source of that name; null for another name.
    Source* find(std::string_view source) QUORVANE_REQUIRES(lock_);

    platform::Process& process_;
    const support::Clock& clock_;
    // On the host clock, so that setting the system's time cannot change what has elapsed.
    const support::MediaTime start_;
    const bool systemAudioEnabled_;
    const bool microphoneEnabled_;

    support::Mutex lock_;
    std::unique_ptr<platform::LogFile> file_ QUORVANE_GUARDED_BY(lock_);
    Source systemAudio_ QUORVANE_GUARDED_BY(lock_);
    Source microphone_ QUORVANE_GUARDED_BY(lock_);
    bool closed_ QUORVANE_GUARDED_BY(lock_) = false;
};

}  // namespace quorvane::health
