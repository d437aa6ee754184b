// One recording from start to finished movie.
#pragma once

#include <exception>
#include <memory>
#include <optional>

#include "cli/recording_request.h"
#include "control/recorder_events.h"
#include "control/recording_audio_state.h"
#include "health/recording_health_telemetry.h"
#include "platform/platform.h"
#include "support/async.h"
#include "support/mutex.h"
#include "support/pooled_allocator.h"

namespace quorvane::capture {

// created -> starting -> capturing -> stopping -> finishing the writer -> finished. Every path ends
// in complete(); flags only go from false to true.
// Threads: start() and waitUntilFinished() on the main queue, stop() and applyAudioCommand() from
// any. Samples, commands and the writer's finalisation run on the recorder's serial sample queue.
// Platform callbacks hold the recorder weakly.
class ScreenCaptureRecorder final : public platform::StreamOutput,
                                    public platform::StreamDelegate,
                                    public std::enable_shared_from_this<ScreenCaptureRecorder> {
  public:
    // Platform and events outlive the recorder.
    ScreenCaptureRecorder(cli::RecordingRequest request, platform::Platform& platform,
                          control::RecorderEvents& events);

    // Returns once the stream has confirmed its start, and then reads the parent's commands.
    // Throws RecorderError or the platform's error; nothing is torn down and no file is written.
    support::Async<> start();
    // Asks for the end of the recording; a second call changes nothing.
    void stop() QUORVANE_EXCLUDES(stateLock_);
    // Returns once the movie is finished or abandoned. One waiter at a time.
    support::Async<> waitUntilFinished();
    // Why the recording failed; null when it succeeded. The last problem before the end counts.
    std::exception_ptr failure() const QUORVANE_EXCLUDES(stateLock_);
    // Whether there is a movie of its own, whole or not: a recorder that is stopped before there
    // is a stream ends without a failure and without one.
    bool hasMovie() const QUORVANE_EXCLUDES(stateLock_);

    // Applies a mute command between two audio buffers and answers it.
    void applyAudioCommand(const control::RecorderCommand& command);

    void didOutputSampleBuffer(const platform::SampleBufferPtr& sampleBuffer,
                               platform::StreamOutputType type) override;
    void didStopWithError(std::exception_ptr error) override;

  private:
    struct Meter {
        float level = 0;                       // 0 to 1
        std::optional<support::MediaTime> at;  // when it was set; nothing is long ago
    };

    void configureWriter(int width, int height);
    support::Async<> startCapture(platform::CaptureStream& stream);

    void appendScreenSample(const platform::SampleBufferPtr& sampleBuffer)
        QUORVANE_REQUIRES(sampleQueue_);
    void appendAudioSample(const platform::SampleBufferPtr& sampleBuffer,
                           platform::MovieWriterInput* input, control::RecordedAudioSource source)
        QUORVANE_REQUIRES(sampleQueue_);
    void append(const platform::SampleBufferPtr& sampleBuffer, platform::MovieWriterInput& input)
        QUORVANE_REQUIRES(sampleQueue_);
    void announceStart(support::MediaTime firstPicture) QUORVANE_REQUIRES(sampleQueue_);
    void updateMeter(const platform::SampleBuffer& sampleBuffer,
                     control::RecordedAudioSource source) QUORVANE_REQUIRES(sampleQueue_);

    void finishWriter();
    void finishWriterOnQueue() QUORVANE_REQUIRES(sampleQueue_);
    void complete(std::exception_ptr failure) QUORVANE_EXCLUDES(stateLock_);
    bool isFinished() const QUORVANE_EXCLUDES(stateLock_);
    // Does nothing once the recording is finished.
    void recordFailure(std::exception_ptr failure) QUORVANE_EXCLUDES(stateLock_);
    std::exception_ptr writerErrorOr(const char* message) const;

    // Constant after construction.
    const cli::RecordingRequest request_;
    platform::Platform& platform_;
    control::RecorderEvents& events_;
    const std::unique_ptr<health::RecordingHealthTelemetry> healthTelemetry_;  // null: no log
    const std::shared_ptr<support::Queue> ownedSampleQueue_;
    support::Queue& sampleQueue_;

    const support::MemoryPool silencePool_;

    // Set once by start(), before the stream delivers anything; self-synchronised objects.
    std::shared_ptr<platform::MovieWriter> writer_;
    platform::MovieWriterInput* videoInput_ = nullptr;
    platform::MovieWriterInput* systemAudioInput_ = nullptr;
    platform::MovieWriterInput* microphoneInput_ = nullptr;

    std::optional<support::MediaTime> sessionStartTime_ QUORVANE_ON(sampleQueue_);
    bool finishingWriter_ QUORVANE_ON(sampleQueue_) = false;
    bool hasAnnouncedStart_ QUORVANE_ON(sampleQueue_) = false;
    control::RecordingAudioState audioState_ QUORVANE_ON(sampleQueue_);
    Meter microphoneMeter_ QUORVANE_ON(sampleQueue_);
    Meter systemMeter_ QUORVANE_ON(sampleQueue_);
    std::optional<support::MediaTime> lastMeterEmission_ QUORVANE_ON(sampleQueue_);

    mutable support::Mutex stateLock_;
    // The one field that start() hands to stop(), which a signal may call meanwhile.
    std::shared_ptr<platform::CaptureStream> stream_ QUORVANE_GUARDED_BY(stateLock_);
    std::optional<support::Continuation<>> finishContinuation_ QUORVANE_GUARDED_BY(stateLock_);
    std::shared_ptr<support::WorkItem> stopFallback_ QUORVANE_GUARDED_BY(stateLock_);
    bool hasMovie_ QUORVANE_GUARDED_BY(stateLock_) = false;
    bool finished_ QUORVANE_GUARDED_BY(stateLock_) = false;
    bool stopStarted_ QUORVANE_GUARDED_BY(stateLock_) = false;
    std::exception_ptr failure_ QUORVANE_GUARDED_BY(stateLock_);
};

}  // namespace quorvane::capture
