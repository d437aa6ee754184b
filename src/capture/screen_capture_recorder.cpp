#include "capture/screen_capture_recorder.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "capture/capture_target.h"
#include "capture/recorder_audio_samples.h"
#include "capture/recording_quality.h"
#include "capture/stream_configuration.h"
#include "capture/writer_status_rule.h"
#include "cli/error_text.h"
#include "cli/recorder_error.h"
#include "sources/content.h"

namespace quorvane::capture {
namespace {

using control::RecordedAudioSource;
using control::RecorderMessage;
using platform::MovieWriterInput;
using platform::MovieWriterStatus;
using platform::SampleBufferPtr;
using platform::StreamOutputType;
using support::MutexLock;
using namespace std::chrono_literals;

constexpr auto startTimeout = 15s;
constexpr auto stopFallbackDelay = 90s;
constexpr auto meterEmissionPeriod = 100ms;
constexpr auto levelStaleness = 1s;

// One buffer of the pool holds a quarter second of 48 kHz stereo floats.
constexpr std::size_t largestPooledSilence = std::size_t{96} << 10;  // bytes

constexpr platform::AudioInputSettings audioSettings{
    .sampleRate = 48000, .channels = 2, .bitRate = 192000, .expectsMediaDataInRealTime = true};

// Lenient on purpose: only a frame that says, with a number, that it is not complete is dropped.
bool carriesPicture(const platform::SampleBuffer& sampleBuffer) {
    const auto attachments = sampleBuffer.sampleAttachments();
    if (attachments.empty()) return true;
    const auto* status = std::get_if<std::int64_t>(&attachments.front().status);
    return status == nullptr ||
           *status == static_cast<std::int64_t>(platform::FrameStatus::complete);
}

RecorderMessage message(RecorderMessage::Kind kind) {
    RecorderMessage result;
    result.kind = kind;
    return result;
}

}  // namespace

ScreenCaptureRecorder::ScreenCaptureRecorder(cli::RecordingRequest request,
                                             platform::Platform& platform,
                                             control::RecorderEvents& events)
    : request_(std::move(request)),
      platform_(platform),
      events_(events),
      healthTelemetry_(health::RecordingHealthTelemetry::open(
          request_.healthPath, request_.systemAudioEnabled, request_.microphoneEnabled,
          {platform.dispatch.clock(), platform.files, platform.process})),
      ownedSampleQueue_(platform.dispatch.makeSerialQueue("quorvane.samples")),
      sampleQueue_(*ownedSampleQueue_),
      silencePool_(support::makeMemoryPool(largestPooledSilence)),
      audioState_(request_.microphoneEnabled, request_.systemAudioEnabled) {}

support::Async<> ScreenCaptureRecorder::start() {
    // Its answer does not matter: asking connects the process to the display service, where a
    // platform needs that before the first query.
    (void)platform_.shareableContent.mainDisplayID();
    const auto content = co_await sources::currentShareableContent(platform_);
    auto [captured, display] = captureTarget(request_, content);
    const auto filter = platform_.capture.makeContentFilter(std::move(captured));
    const auto configuration = streamConfiguration(
        request_, display, filter, microphoneCaptureDeviceID(request_, platform_.audioDevices));
    const auto stream = platform_.capture.makeStream(filter, configuration, weak_from_this());
    configureWriter(configuration.width, configuration.height);
    stream->addOutput(weak_from_this(), StreamOutputType::screen, ownedSampleQueue_);
    if (request_.systemAudioEnabled)
        stream->addOutput(weak_from_this(), StreamOutputType::audio, ownedSampleQueue_);
    if (request_.microphoneEnabled)
        stream->addOutput(weak_from_this(), StreamOutputType::microphone, ownedSampleQueue_);
    {
        MutexLock lock(stateLock_);
        stream_ = stream;
    }
    co_await startCapture(*stream);
    events_.readCommands([weak = weak_from_this()](const control::RecorderCommand& command) {
        if (const auto self = weak.lock()) self->applyAudioCommand(command);
    });
}

void ScreenCaptureRecorder::configureWriter(int width, int height) {
    const auto writer = platform_.movieWriters.makeMovieWriter(request_.outputPath);
    writer->setShouldOptimizeForNetworkUse(true);
    const auto rate = frameRate(request_.videoQuality);
    videoInput_ = writer->addVideoInput({.width = width,
                                         .height = height,
                                         .averageBitRate = static_cast<int>(videoBitRate(
                                             width, height, rate, request_.videoQuality)),
                                         .expectedSourceFrameRate = rate,
                                         .allowFrameReordering = false,
                                         .expectsMediaDataInRealTime = true});
    if (videoInput_ == nullptr)
        throw cli::RecorderError::unavailable(
            "Could not configure video encoding for this recording size.");
    writer_ = writer;
    if (request_.systemAudioEnabled) {
        systemAudioInput_ = writer->addAudioInput(audioSettings);
        if (systemAudioInput_ == nullptr)
            throw cli::RecorderError::unavailable("Could not configure system audio encoding.");
    }
    if (request_.microphoneEnabled) {
        microphoneInput_ = writer->addAudioInput(audioSettings);
        if (microphoneInput_ == nullptr)
            throw cli::RecorderError::unavailable("Could not configure microphone encoding.");
    }
}

support::Async<> ScreenCaptureRecorder::startCapture(platform::CaptureStream& stream) {
    // The deadline and the stream's completion race for the one waiter; the loser does nothing.
    struct Start {
        explicit Start(support::Continuation<> continuation) : waiter(std::move(continuation)) {}
        std::optional<support::Continuation<>> take() {
            MutexLock lock(mutex);
            return std::exchange(waiter, std::nullopt);
        }
        support::Mutex mutex;
        std::optional<support::Continuation<>> waiter QUORVANE_GUARDED_BY(mutex);
    };
    co_await support::suspend<void>(
        platform_.dispatch.mainQueue(), [&](support::Continuation<> waiting) {
            auto start = std::make_shared<Start>(std::move(waiting));
            auto timeout = platform_.dispatch.schedule(
                platform_.dispatch.globalQueue(), startTimeout, [start] {
                    if (auto waiter = start->take())
                        waiter->resumeThrowing(
                            cli::unavailable("ScreenCaptureKit did not start recording in time."));
                });
            stream.startCapture([start, timeout](const std::exception_ptr& error) {
                auto waiter = start->take();
                if (!waiter) return;
                timeout->cancel();
                if (error) return waiter->resumeThrowing(error);
                waiter->resume();
            });
        });
}

void ScreenCaptureRecorder::stop() {
    std::shared_ptr<platform::CaptureStream> stream;
    {
        MutexLock lock(stateLock_);
        if (std::exchange(stopStarted_, true)) return;
        stream = stream_;
    }
    events_.send(message(RecorderMessage::Kind::finishing));
    if (!stream) return complete(nullptr);

    auto fallback = platform_.dispatch.schedule(
        platform_.dispatch.globalQueue(), stopFallbackDelay, [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->complete(cli::unavailable("Timed out finalizing the recording."));
        });
    bool alreadyFinished = false;
    {
        MutexLock lock(stateLock_);
        alreadyFinished = finished_;
        if (!alreadyFinished) stopFallback_ = fallback;
    }
    if (alreadyFinished) fallback->cancel();
    stream->stopCapture([weak = weak_from_this()](const std::exception_ptr& error) {
        const auto self = weak.lock();
        if (!self) return;
        if (error) self->recordFailure(error);
        self->finishWriter();
    });
}

support::Async<> ScreenCaptureRecorder::waitUntilFinished() {
    if (isFinished()) co_return;
    co_await support::suspend<void>(platform_.dispatch.mainQueue(),
                                    [&](support::Continuation<> waiting) {
                                        {
                                            MutexLock lock(stateLock_);
                                            if (!finished_) {
                                                finishContinuation_ = std::move(waiting);
                                                return;
                                            }
                                        }
                                        waiting.resume();
                                    });
}

std::exception_ptr ScreenCaptureRecorder::failure() const {
    MutexLock lock(stateLock_);
    return failure_;
}

bool ScreenCaptureRecorder::hasMovie() const {
    MutexLock lock(stateLock_);
    return hasMovie_;
}

bool ScreenCaptureRecorder::isFinished() const {
    MutexLock lock(stateLock_);
    return finished_;
}

void ScreenCaptureRecorder::recordFailure(std::exception_ptr failure) {
    MutexLock lock(stateLock_);
    if (!finished_) failure_ = std::move(failure);
}

std::exception_ptr ScreenCaptureRecorder::writerErrorOr(const char* message) const {
    auto error = writer_ ? writer_->error() : nullptr;
    return error ? error : cli::unavailable(message);
}

void ScreenCaptureRecorder::didOutputSampleBuffer(const SampleBufferPtr& sampleBuffer,
                                                  StreamOutputType type) {
    sampleQueue_.assertCurrent();
    if (!sampleBuffer->isValid() || isFinished() || finishingWriter_) return;
    switch (type) {
        case StreamOutputType::microphone:
            if (healthTelemetry_) healthTelemetry_->recordAudioSample("microphone", *sampleBuffer);
            return appendAudioSample(sampleBuffer, microphoneInput_,
                                     RecordedAudioSource::microphone);
        case StreamOutputType::audio:
            if (healthTelemetry_) healthTelemetry_->recordAudioSample("system", *sampleBuffer);
            return appendAudioSample(sampleBuffer, systemAudioInput_, RecordedAudioSource::system);
        case StreamOutputType::screen:
            if (carriesPicture(*sampleBuffer)) appendScreenSample(sampleBuffer);
            return;
    }
}

void ScreenCaptureRecorder::appendScreenSample(const SampleBufferPtr& sampleBuffer) {
    const auto time = sampleBuffer->presentationTime();
    if (!time || !writer_) return;
    if (writer_->status() == MovieWriterStatus::unknown) {
        if (!writer_->startWriting()) {
            recordFailure(writerErrorOr("Could not start writing the recording."));
            return finishWriter();
        }
        writer_->startSession(*time);
        sessionStartTime_ = time;
        MutexLock lock(stateLock_);
        hasMovie_ = true;
    }
    if (writer_->status() != MovieWriterStatus::writing) return;
    if (videoInput_ == nullptr || !videoInput_->isReadyForMoreMediaData()) return;
    append(sampleBuffer, *videoInput_);
    if (!hasAnnouncedStart_ && writer_->status() == MovieWriterStatus::writing)
        announceStart(*time);
}

void ScreenCaptureRecorder::announceStart(support::MediaTime firstPicture) {
    hasAnnouncedStart_ = true;
    const auto& clock = platform_.dispatch.clock();
    const auto latency = std::max(clock.hostTime() - firstPicture, 0ns);
    auto started = message(RecorderMessage::Kind::started);
    // Dates the recording from when its first picture was captured, not from when it was written.
    started.wallClock = support::secondsSince1970(clock.wallTime() - latency);
    events_.send(started);
}

void ScreenCaptureRecorder::appendAudioSample(const SampleBufferPtr& sampleBuffer,
                                              MovieWriterInput* input, RecordedAudioSource source) {
    if (input == nullptr || !sessionStartTime_) return;
    const auto time = sampleBuffer->presentationTime();
    if (!time || *time < *sessionStartTime_ || !writer_ ||
        writer_->status() != MovieWriterStatus::writing || !input->isReadyForMoreMediaData())
        return;
    if (audioState_.isEnabled(source)) {
        append(sampleBuffer, *input);
    } else {
        const auto silent = RecorderAudioSamples::silence(*sampleBuffer, silencePool_);
        if (!silent) {
            // What was muted is never written, even if that ends the recording.
            recordFailure(cli::unavailable("Could not mute the audio input safely."));
            return stop();
        }
        append(silent, *input);
    }
    updateMeter(*sampleBuffer, source);
}

void ScreenCaptureRecorder::append(const SampleBufferPtr& sampleBuffer, MovieWriterInput& input) {
    if (input.append(sampleBuffer)) return;
    recordFailure(writerErrorOr("Could not append media to the recording."));
    // The stream is never stopped from its own callback.
    platform_.dispatch.mainQueue().post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->stop();
    });
}

void ScreenCaptureRecorder::updateMeter(const platform::SampleBuffer& sampleBuffer,
                                        RecordedAudioSource source) {
    // The host clock, so that setting the system's time cannot silence the meter.
    const auto now = platform_.dispatch.clock().hostTime();
    auto& meter = source == RecordedAudioSource::microphone ? microphoneMeter_ : systemMeter_;
    meter.level = audioState_.isEnabled(source) ? RecorderAudioSamples::level(sampleBuffer) : 0.0F;
    meter.at = now;
    if (lastMeterEmission_ && now - *lastMeterEmission_ < meterEmissionPeriod) return;
    lastMeterEmission_ = now;
    const auto fresh = [now](const Meter& each) {
        return each.at && now - *each.at < levelStaleness ? each.level : 0.0F;
    };
    auto levels = message(RecorderMessage::Kind::levels);
    levels.microphoneLevel = fresh(microphoneMeter_);
    levels.systemLevel = fresh(systemMeter_);
    events_.send(levels);
}

void ScreenCaptureRecorder::applyAudioCommand(const control::RecorderCommand& command) {
    sampleQueue_.post([weak = weak_from_this(), command] {
        const auto self = weak.lock();
        if (!self) return;
        self->sampleQueue_.assertCurrent();
        const bool live = !self->finishingWriter_ && !self->isFinished();
        const bool applied = live && self->audioState_.apply(command);
        auto reply = message(RecorderMessage::Kind::audioState);
        reply.microphoneEnabled = self->audioState_.microphoneEnabled();
        reply.systemEnabled = self->audioState_.systemEnabled();
        reply.commandID = command.id;
        if (!applied) reply.error = "Choose this input before starting a recording.";
        self->events_.send(reply);
    });
}

void ScreenCaptureRecorder::didStopWithError(std::exception_ptr error) {
    recordFailure(error);
    auto warning = message(RecorderMessage::Kind::warning);
    warning.error = cli::localizedDescription(error);
    events_.send(warning);
    events_.send(message(RecorderMessage::Kind::finishing));
    finishWriter();
}

void ScreenCaptureRecorder::finishWriter() {
    // Behind every sample that is already queued.
    sampleQueue_.post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->sampleQueue_.assertCurrent();
        self->finishWriterOnQueue();
    });
}

void ScreenCaptureRecorder::finishWriterOnQueue() {
    if (finishingWriter_ || isFinished()) return;
    finishingWriter_ = true;
    if (!writer_) return complete(nullptr);
    const auto status = writer_->status();
    if (status == MovieWriterStatus::unknown) {
        writer_->cancelWriting();
        const auto earlier = failure();
        return complete(earlier ? earlier : cli::unavailable("No video frames were captured."));
    }
    if (!recorderShouldMarkInputsFinished(status)) {
        return complete(status == MovieWriterStatus::failed
                            ? writerErrorOr("Could not finalize the recording.")
                            : nullptr);
    }
    for (auto* input : {videoInput_, systemAudioInput_, microphoneInput_}) {
        if (input != nullptr) input->markAsFinished();
    }
    writer_->finishWriting([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->complete(self->writer_->status() == MovieWriterStatus::failed
                           ? self->writerErrorOr("Could not finalize the recording.")
                           : nullptr);
    });
}

void ScreenCaptureRecorder::complete(std::exception_ptr failure) {
    std::optional<support::Continuation<>> waiter;
    std::shared_ptr<support::WorkItem> fallback;
    {
        MutexLock lock(stateLock_);
        if (finished_) return;
        waiter = std::exchange(finishContinuation_, std::nullopt);
        fallback = std::exchange(stopFallback_, nullptr);
        if (failure) failure_ = std::move(failure);
        finished_ = true;
    }
    if (fallback) fallback->cancel();
    if (healthTelemetry_) healthTelemetry_->finish();
    if (waiter) waiter->resume();
}

}  // namespace quorvane::capture
