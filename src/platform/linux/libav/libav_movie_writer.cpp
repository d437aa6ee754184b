#include "platform/linux/libav/libav_movie_writer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/libav/audio_encoder.h"
#include "platform/linux/libav/bounded_queue.h"
#include "platform/linux/libav/movie_storage.h"
#include "platform/linux/libav/video_encoder.h"
#include "platform/platform_error.h"
#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform::libav {
namespace {

using namespace std::chrono_literals;
using support::MediaTime;
using support::MutexLock;

// As many pictures as a capture stream has, so that it never runs out of room here.
constexpr std::size_t videoQueueLength = 6;
// What comes at once after whoever appends was held up, as by a disk that had to spin up before the
// file could be made.
constexpr auto audioQueueDuration = 30s;
constexpr std::size_t audioQueueLength = 6144;  // buffers; 30 s in buffers of 235 frames
// Parts of the backlog in front of the disk: sound still goes on when pictures no longer do.
constexpr double videoBacklog = 1.0;
constexpr double audioBacklog = 1.25;

// A track without sound for this long goes on as silence. Sound that comes later than that is lost,
// so it is more than a sound server's latency and whatever holds up those who append.
constexpr auto silenceLag = 5s;
constexpr auto silencePeriod = 100ms;
// A little longer than a capture waits for its last sounds.
constexpr auto lastSoundsWait = 120ms;
// A sound that claims to come from beyond this in the future has a time that means nothing.
constexpr auto farFuture = 10s;

// A picture that stands is encoded again after this: the format holds durations up to 13 h, and
// libavformat's muxer up to 6.6 h.
constexpr auto longestStanding = 1h;
constexpr auto standingCheck = 1s;
// How often encoded pictures look whether the disk has caught up.
constexpr auto roomCheck = 20ms;

// How long the end of the process may be held up by a disk that does not answer.
constexpr auto patience = 5s;

// The movie's length is a whole number of these, which are whole numbers of ticks (90000/s) and of
// frames (48000/s), so that all tracks end at the same moment.
using EndUnit = std::chrono::duration<std::int64_t, std::ratio<1, 6000>>;
using VideoTicks = std::chrono::duration<std::int64_t, std::ratio<1, VideoEncoder::timescale>>;

VideoTicks ticksBetween(MediaTime begin, MediaTime time) {
    return std::chrono::round<VideoTicks>(time - begin);
}

}  // namespace

// Everything of the writer but the ownership of its threads. Lives until the last of them has
// ended.
class LibavMovieWriter::Core : public std::enable_shared_from_this<Core> {
  public:
    Core(std::string path, const support::Clock& clock, const MovieFileOptions& options)
        : path_(std::move(path)), clock_(clock), file_(clock, options) {}

    MovieWriterStatus status() const {
        MutexLock lock(mutex_);
        return status_;
    }
    std::exception_ptr error() const {
        MutexLock lock(mutex_);
        return error_;
    }

    MovieWriterInput* addVideoInput(const VideoInputSettings& settings);
    MovieWriterInput* addAudioInput(const AudioInputSettings& settings);
    bool startWriting();
    void startSession(MediaTime sourceTime);
    void finishWriting(std::function<void()> completion);
    void cancelWriting();
    // The writer is gone.
    void shutDown();

  private:
    struct Worker {
        std::thread thread;
        bool done = false;
    };

    class VideoInput final : public MovieWriterInput {
      public:
        explicit VideoInput(Core& core) : core_(core) {}
        bool isReadyForMoreMediaData() const override { return core_.isReadyForPicture(); }
        bool append(const SampleBufferPtr& sample) override { return core_.appendPicture(sample); }
        void markAsFinished() override { core_.endMovie(); }

      private:
        Core& core_;
    };

    class AudioInput final : public MovieWriterInput {
      public:
        AudioInput(Core& core, const AudioInputSettings& settings, std::size_t track)
            : encoder(settings, [&core, track](
                                    const EncodedSample& each) { core.file_.append(track, each); }),
              core_(core),
              queue(audioQueueLength) {}
        bool isReadyForMoreMediaData() const override { return core_.isReadyForSound(*this); }
        bool append(const SampleBufferPtr& sample) override {
            return core_.appendSound(*this, sample);
        }
        void markAsFinished() override { core_.endSound(*this); }

        AudioEncoder encoder;  // the sound thread's

      private:
        friend class Core;
        Core& core_;
        // Guarded by the core's mutex.
        BoundedQueue<SampleBufferPtr> queue;
        std::chrono::nanoseconds queued{0};
        std::optional<MediaTime> soundEnd;  // of what was appended
        bool ended = false;
    };

    bool isReadyForPicture() const;
    bool appendPicture(const SampleBufferPtr& sample);
    void endMovie();
    MediaTime endOfCapture(MediaTime now) const QUORVANE_REQUIRES(mutex_);
    bool isReadyForSound(const AudioInput& input) const;
    bool hasRoom(const AudioInput& input) const QUORVANE_REQUIRES(mutex_);
    bool appendSound(AudioInput& input, const SampleBufferPtr& sample);
    void endSound(AudioInput& input);

    // Whether samples still become a movie.
    bool isWriting() const QUORVANE_REQUIRES(mutex_) {
        return status_ == MovieWriterStatus::writing && !failure_;
    }
    // What failed behind the inputs becomes the writer's error where its user looks: at an append
    // that is refused, or at the end.
    void surfaceFailure() QUORVANE_REQUIRES(mutex_);

    void startWorker(const char* name, void (Core::*work)());
    void encodePictures();
    void encodeSound();
    void writeFile();
    void fail(std::exception_ptr error);
    // An encoder has failed: what is encoded already still becomes a movie.
    void failEncoding();

    const std::string path_;
    const support::Clock& clock_;
    MovieFile file_;

    // Constant after startWriting().
    std::optional<VideoEncoder> videoEncoder_;  // then the picture thread's
    std::size_t videoTrack_ = 0;
    VideoInput videoInput_{*this};
    std::vector<std::unique_ptr<AudioInput>> audioInputs_;
    std::vector<isobmff::TrackDescription> tracks_;

    mutable support::Mutex mutex_;
    support::Condition pictureCame_;
    support::Condition soundCame_;
    support::Condition workerEnded_;
    MovieWriterStatus status_ QUORVANE_GUARDED_BY(mutex_) = MovieWriterStatus::unknown;
    std::exception_ptr error_ QUORVANE_GUARDED_BY(mutex_);
    std::exception_ptr failure_ QUORVANE_GUARDED_BY(mutex_);  // not seen from outside yet
    BoundedQueue<SampleBufferPtr> pictures_ QUORVANE_GUARDED_BY(mutex_){videoQueueLength};
    std::optional<MediaTime> sessionBegin_ QUORVANE_GUARDED_BY(mutex_);
    // When startSession() was called. What has come since the session's begin may wait for it.
    MediaTime sessionStarted_ QUORVANE_GUARDED_BY(mutex_){};
    std::optional<MediaTime> lastPicture_ QUORVANE_GUARDED_BY(mutex_);
    std::optional<MediaTime> end_ QUORVANE_GUARDED_BY(mutex_);  // no sample follows
    std::function<void()> completion_ QUORVANE_GUARDED_BY(mutex_);
    bool fileDone_ QUORVANE_GUARDED_BY(mutex_) = false;
    std::vector<std::unique_ptr<Worker>> workers_ QUORVANE_GUARDED_BY(mutex_);
};

MovieWriterInput* LibavMovieWriter::Core::addVideoInput(const VideoInputSettings& settings) {
    if (status() != MovieWriterStatus::unknown || videoEncoder_) return nullptr;
    try {
        videoEncoder_.emplace(settings,
                              static_cast<int>(std::max(1U, std::thread::hardware_concurrency())));
    } catch (const PlatformError&) {
        return nullptr;
    }
    videoTrack_ = tracks_.size();
    tracks_.push_back(videoEncoder_->description());
    return &videoInput_;
}

MovieWriterInput* LibavMovieWriter::Core::addAudioInput(const AudioInputSettings& settings) {
    if (status() != MovieWriterStatus::unknown) return nullptr;
    try {
        audioInputs_.push_back(std::make_unique<AudioInput>(*this, settings, tracks_.size()));
    } catch (const PlatformError&) {
        return nullptr;
    }
    tracks_.push_back(audioInputs_.back()->encoder.description());
    return audioInputs_.back().get();
}

bool LibavMovieWriter::Core::startWriting() {
    if (status() != MovieWriterStatus::unknown) return false;
    try {
        file_.create(path_, tracks_);
    } catch (const PlatformError&) {
        MutexLock lock(mutex_);
        status_ = MovieWriterStatus::failed;
        error_ = std::current_exception();
        return false;
    }
    {
        MutexLock lock(mutex_);
        status_ = MovieWriterStatus::writing;
    }
    try {
        startWorker("movie file", &Core::writeFile);
        if (videoEncoder_) startWorker("movie pictures", &Core::encodePictures);
        if (!audioInputs_.empty()) startWorker("movie sound", &Core::encodeSound);
    } catch (const std::system_error& error) {
        fail(std::make_exception_ptr(
            posixError(error.code().value(), "Could not start writing " + path_)));
        file_.cancel();
        bool fileHasThread = false;
        {
            MutexLock lock(mutex_);
            surfaceFailure();
            fileHasThread = !workers_.empty();
        }
        if (!fileHasThread) writeFile();  // which only removes it
        return false;
    }
    return true;
}

void LibavMovieWriter::Core::startWorker(const char* name, void (Core::*work)()) {
    auto worker = std::make_unique<Worker>();
    auto* const state = worker.get();
    MutexLock lock(mutex_);
    workers_.push_back(std::move(worker));
    try {
        state->thread =
            support::startBackgroundThread(name, [self = shared_from_this(), state, work] {
                ((*self).*work)();
                MutexLock inner(self->mutex_);
                state->done = true;
                self->workerEnded_.notify_all();
            });
    } catch (...) {
        workers_.pop_back();
        throw;
    }
}

void LibavMovieWriter::Core::startSession(MediaTime sourceTime) {
    {
        MutexLock lock(mutex_);
        if (status_ != MovieWriterStatus::writing || sessionBegin_) return;
        sessionBegin_ = sourceTime;
        sessionStarted_ = clock_.hostTime();
    }
    file_.start(sourceTime);
    soundCame_.notify_one();
}

bool LibavMovieWriter::Core::isReadyForPicture() const {
    MutexLock lock(mutex_);
    if (status_ != MovieWriterStatus::writing || end_) return false;
    return failure_ || !pictures_.full();  // a failure is said by the append
}

bool LibavMovieWriter::Core::appendPicture(const SampleBufferPtr& sample) {
    {
        MutexLock lock(mutex_);
        surfaceFailure();
        if (status_ != MovieWriterStatus::writing || !sessionBegin_ || end_) return false;
        const auto time = sample->presentationTime();
        if (sample->picture() == nullptr || !time || pictures_.full()) return true;
        lastPicture_ = std::max(lastPicture_.value_or(*time), *time);
        pictures_.push(sample);
    }
    pictureCame_.notify_one();
    return true;
}

bool LibavMovieWriter::Core::hasRoom(const AudioInput& input) const {
    return !input.queue.full() && input.queued < audioQueueDuration;
}

bool LibavMovieWriter::Core::isReadyForSound(const AudioInput& input) const {
    {
        MutexLock lock(mutex_);
        if (status_ != MovieWriterStatus::writing || end_ || input.ended) return false;
        if (failure_) return true;  // the append then says it
        if (!hasRoom(input)) return false;
    }
    return file_.hasRoom(audioBacklog);
}

namespace {

// How long the buffer sounds, as it says.
std::chrono::nanoseconds durationOf(const SampleBuffer& buffer) {
    const auto* format = buffer.audioFormat();
    if (format == nullptr || format->sampleRate <= 0) return 0ns;
    const std::chrono::duration<double> seconds(static_cast<double>(buffer.sampleCount()) /
                                                format->sampleRate);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(seconds);
}

}  // namespace

bool LibavMovieWriter::Core::appendSound(AudioInput& input, const SampleBufferPtr& sample) {
    const auto now = clock_.hostTime();
    {
        MutexLock lock(mutex_);
        surfaceFailure();
        if (status_ != MovieWriterStatus::writing || !sessionBegin_ || end_ || input.ended)
            return false;
        const auto time = sample->presentationTime();
        if (!time || *time > now + farFuture || !hasRoom(input)) return true;
        const auto duration = durationOf(*sample);
        input.queued += duration;
        input.soundEnd = std::max(input.soundEnd.value_or(*time), *time + duration);
        input.queue.push(sample);
    }
    soundCame_.notify_one();
    return true;
}

void LibavMovieWriter::Core::endSound(AudioInput& input) {
    MutexLock lock(mutex_);
    input.ended = true;
}

// Capture is over. Its last sounds are waited for and cut where it stopped, so that they tell when
// that was; without any it was just now.
MediaTime LibavMovieWriter::Core::endOfCapture(MediaTime now) const {
    std::optional<MediaTime> end;
    for (const auto& input : audioInputs_) {
        if (input->soundEnd && *input->soundEnd > now - lastSoundsWait)
            end = std::max(end.value_or(*input->soundEnd), *input->soundEnd);
    }
    return std::min(end.value_or(now), now);
}

// The picture's end is the movie's.
void LibavMovieWriter::Core::endMovie() {
    const auto now = clock_.hostTime();
    {
        MutexLock lock(mutex_);
        if (status_ != MovieWriterStatus::writing || end_) return;
        const auto begin = sessionBegin_.value_or(now);
        auto length = std::max(std::chrono::round<EndUnit>(endOfCapture(now) - begin), EndUnit(0));
        // The last picture is seen, however late it was captured.
        if (lastPicture_)
            length =
                std::max(length, std::chrono::floor<EndUnit>(ticksBetween(begin, *lastPicture_)) +
                                     EndUnit(1));
        // Rounded up, so that it becomes the same number of frames and ticks when it is measured.
        end_ = begin + std::chrono::ceil<std::chrono::nanoseconds>(length);
    }
    pictureCame_.notify_one();
    soundCame_.notify_one();
}

void LibavMovieWriter::Core::finishWriting(std::function<void()> completion) {
    endMovie();
    {
        MutexLock lock(mutex_);
        if (!fileDone_ && !workers_.empty()) {
            completion_ = std::move(completion);
            return;
        }
        surfaceFailure();
    }
    completion();  // nothing is left to wait for
}

void LibavMovieWriter::Core::cancelWriting() {
    {
        MutexLock lock(mutex_);
        if (status_ != MovieWriterStatus::unknown && status_ != MovieWriterStatus::writing) return;
        status_ = MovieWriterStatus::cancelled;
    }
    pictureCame_.notify_one();
    soundCame_.notify_one();
    file_.cancel();
}

void LibavMovieWriter::Core::fail(std::exception_ptr error) {
    {
        MutexLock lock(mutex_);
        if (!isWriting()) return;
        failure_ = std::move(error);
    }
    pictureCame_.notify_one();
    soundCame_.notify_one();
}

void LibavMovieWriter::Core::surfaceFailure() {
    if (!failure_ || status_ != MovieWriterStatus::writing) return;
    status_ = MovieWriterStatus::failed;
    error_ = failure_;
}

void LibavMovieWriter::Core::failEncoding() {
    fail(std::current_exception());
    file_.endHere();
}

void LibavMovieWriter::Core::encodePictures() {
    try {
        const EncodedSampleSink sink = [this](const EncodedSample& each) {
            file_.append(videoTrack_, each);
        };
        VideoTicks lastTicks{-1};
        SampleBufferPtr last;
        MediaTime lastEncoded{};
        for (;;) {
            SampleBufferPtr picture;
            MediaTime begin{};
            std::optional<MediaTime> end;
            {
                MutexLock lock(mutex_);
                while (pictures_.empty() && !end_ && isWriting() &&
                       !(last && clock_.hostTime() - lastEncoded >= longestStanding))
                    pictureCame_.wait_for(mutex_, standingCheck);
                // Pictures wait for the disk in the queue, and new ones at their source: whatever
                // is dropped, it is not the last one, which nothing may follow for long.
                while (!end_ && isWriting() && !file_.hasRoom(videoBacklog))
                    pictureCame_.wait_for(mutex_, roomCheck);
                if (!isWriting()) return;
                begin = sessionBegin_.value_or(MediaTime{});
                if (!pictures_.empty()) {
                    picture = pictures_.pop();
                } else if (end_) {
                    end = sessionBegin_ ? *end_ : MediaTime{};
                }
            }
            if (end) {
                videoEncoder_->flush(sink);
                file_.endTrack(videoTrack_, ticksBetween(begin, *end).count());
                return;
            }
            // Times grow, and start with the session at the earliest.
            const auto taken = picture ? *picture->presentationTime() : clock_.hostTime();
            const auto time = std::max(ticksBetween(begin, taken), lastTicks + VideoTicks(1));
            if (picture) last = std::move(picture);
            videoEncoder_->encode(last, time.count(), sink);
            lastTicks = time;
            lastEncoded = taken;
        }
    } catch (...) {
        failEncoding();
    }
}

void LibavMovieWriter::Core::encodeSound() {
    try {
        bool started = false;
        std::vector<SampleBufferPtr> buffers(audioInputs_.size());
        for (;;) {
            // What was captured before this moment is in the queues by now, or never comes.
            const auto silentUpTo = clock_.hostTime() - silenceLag;
            bool any = false;
            std::optional<MediaTime> begin;
            MediaTime startedAt{};
            std::optional<MediaTime> end;
            {
                MutexLock lock(mutex_);
                if (!isWriting()) return;
                begin = sessionBegin_;
                startedAt = sessionStarted_;
                end = end_;
                for (std::size_t index = 0; begin && index < buffers.size(); ++index) {
                    auto& input = *audioInputs_[index];
                    if (input.queue.empty()) continue;
                    any = true;
                    buffers[index] = input.queue.pop();
                    input.queued = input.queue.empty() ? std::chrono::nanoseconds(0)
                                                       : input.queued - durationOf(*buffers[index]);
                }
            }
            if (!started && (begin || end)) {
                for (const auto& input : audioInputs_)
                    input->encoder.start(begin.value_or(*end));
                started = true;
            }
            if (end && !any) {
                for (std::size_t index = 0; index < audioInputs_.size(); ++index) {
                    // Tracks stand in the order of their inputs, but for the picture's.
                    const auto track = index + (videoEncoder_ && index >= videoTrack_ ? 1 : 0);
                    file_.endTrack(track, audioInputs_[index]->encoder.finish(*end));
                }
                return;
            }
            for (std::size_t index = 0; started && index < buffers.size(); ++index) {
                auto& encoder = audioInputs_[index]->encoder;
                if (const auto buffer = std::exchange(buffers[index], nullptr)) {
                    encoder.append(*buffer);
                } else if (silentUpTo > startedAt) {
                    encoder.fillUpTo(silentUpTo);
                }
            }
            if (any) continue;
            MutexLock lock(mutex_);
            const auto isEmpty = [](const auto& input) { return input->queue.empty(); };
            if (!end_ && isWriting() &&
                (!sessionBegin_ || std::ranges::all_of(audioInputs_, isEmpty)))
                soundCame_.wait_for(mutex_, silencePeriod);
        }
    } catch (...) {
        failEncoding();
    }
}

void LibavMovieWriter::Core::writeFile() {
    const auto finished = [this](const std::exception_ptr& error) {
        std::function<void()> completion;
        {
            MutexLock lock(mutex_);
            fileDone_ = true;
            if (completion_) surfaceFailure();
            if (status_ == MovieWriterStatus::writing && !failure_ && !error)
                status_ = MovieWriterStatus::completed;
            completion = std::exchange(completion_, nullptr);
        }
        if (completion) completion();
    };
    file_.run({.onFailed = [this](std::exception_ptr error) { fail(std::move(error)); },
               .onFinished = finished});
}

void LibavMovieWriter::Core::shutDown() {
    endMovie();
    std::vector<std::unique_ptr<Worker>> own;  // whoever is left behind keeps its record
    {
        MutexLock lock(mutex_);
        const auto deadline = std::chrono::steady_clock::now() + patience;
        // The last reference may go in a completion, on the file's own thread.
        const auto isLeft = [](const std::unique_ptr<Worker>& worker) {
            return !worker->done && worker->thread.get_id() != std::this_thread::get_id();
        };
        while (std::ranges::any_of(workers_, isLeft) &&
               workerEnded_.wait_until(mutex_, deadline) == std::cv_status::no_timeout) {
        }
        for (auto& worker : workers_) {
            if (!worker->done) {
                worker->thread.detach();
            } else {
                own.push_back(std::move(worker));
            }
        }
        std::erase(workers_, nullptr);
    }
    for (const auto& worker : own)
        worker->thread.join();
}

LibavMovieWriter::LibavMovieWriter(std::string path, const support::Clock& clock,
                                   const MovieFileOptions& options)
    : core_(std::make_shared<Core>(std::move(path), clock, options)) {}

LibavMovieWriter::~LibavMovieWriter() {
    core_->shutDown();
}

MovieWriterStatus LibavMovieWriter::status() const {
    return core_->status();
}
std::exception_ptr LibavMovieWriter::error() const {
    return core_->error();
}
void LibavMovieWriter::setShouldOptimizeForNetworkUse(bool /*optimize*/) {
    // The index comes to stand in front either way: it costs nothing here.
}
MovieWriterInput* LibavMovieWriter::addVideoInput(const VideoInputSettings& settings) {
    return core_->addVideoInput(settings);
}
MovieWriterInput* LibavMovieWriter::addAudioInput(const AudioInputSettings& settings) {
    return core_->addAudioInput(settings);
}
bool LibavMovieWriter::startWriting() {
    return core_->startWriting();
}
void LibavMovieWriter::startSession(support::MediaTime sourceTime) {
    core_->startSession(sourceTime);
}
void LibavMovieWriter::finishWriting(std::function<void()> completion) {
    core_->finishWriting(std::move(completion));
}
void LibavMovieWriter::cancelWriting() {
    core_->cancelWriting();
}

std::shared_ptr<MovieWriter> LibavMovieWriterFactory::makeMovieWriter(const std::string& path) {
    MovieStorage::refuseExisting(path);
    return std::make_shared<LibavMovieWriter>(path, clock_);
}

}  // namespace quorvane::platform::libav
