#include "platform/linux/linux_capture.h"

#include <deque>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform {
namespace {

support::Rect contentRect(const CapturedContent& content) {
    if (const auto* window = std::get_if<WindowContent>(&content)) return window->window.frame;
    if (const auto* application = std::get_if<ApplicationContent>(&content))
        return application->display.frame;
    return std::get<DisplayContent>(content).display.frame;
}

// Where the samples of one type go.
struct Output {
    std::weak_ptr<StreamOutput> output;
    StreamOutputType type = StreamOutputType::screen;
    std::shared_ptr<support::Queue> queue;

    void deliver(SampleBufferPtr sample) const {
        queue->post([output = output, type = type, sample = std::move(sample)] {
            if (const auto receiver = output.lock()) receiver->didOutputSampleBuffer(sample, type);
        });
    }
};

// Starts and stops the sources, one operation after the other, on a thread that nobody waits for:
// a display or sound server that hangs must hold up neither the recorder nor the process's end.
class SourceWorker : public std::enable_shared_from_this<SourceWorker> {
  public:
    void begin() {
        support::startBackgroundThread("capture-control", [self = shared_from_this()] {
            self->run();
        }).detach();
    }
    void post(support::Task task) QUORVANE_EXCLUDES(mutex_) {
        {
            support::MutexLock lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        changed_.notify_one();
    }
    // Stops the sources behind everything that is posted already, and ends the thread.
    void end() {
        post([this] {
            stopSources(support::MediaTime::min());
            ended_ = true;
        });
    }

    // The rest runs on the worker's thread alone.
    void start(const std::vector<std::pair<Output, std::function<std::unique_ptr<AudioSource>()>>>&
                   audioOutputs,
               const std::vector<Output>& screenOutputs,
               const std::function<std::unique_ptr<ScreenSource>()>& makeScreen,
               std::function<void(std::exception_ptr)> onEnded) {
        // Sound first: it takes a moment to be linked, and what comes before the first picture is
        // not recorded anyway.
        for (const auto& [output, makeSource] : audioOutputs) {
            auto source = makeSource();
            source->start(
                [output = output](SampleBufferPtr sample) { output.deliver(std::move(sample)); });
            audio_.push_back(std::move(source));
        }
        screen_ = makeScreen();
        screen_->start({.onPicture =
                            [screenOutputs](const SampleBufferPtr& sample) {
                                for (const auto& output : screenOutputs)
                                    output.deliver(sample);
                            },
                        .onEnded = std::move(onEnded)});
    }

    void stopSources(support::MediaTime end) {
        if (const auto screen = std::exchange(screen_, nullptr)) screen->stop();
        // At the same time, because each may wait for its last samples.
        std::vector<std::thread> stopping;
        stopping.reserve(audio_.size());
        for (const auto& source : audio_) {
            try {
                stopping.push_back(support::startBackgroundThread(
                    "capture-stop", [&source, end] { source->stop(end); }));
            } catch (const std::system_error&) {
                source->stop(end);  // no thread to be had: one after the other then
            }
        }
        for (auto& thread : stopping)
            thread.join();
        audio_.clear();
    }

  private:
    void run() {
        while (!ended_) {
            support::Task task;
            {
                support::MutexLock lock(mutex_);
                while (tasks_.empty())
                    changed_.wait(mutex_);
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }

    support::Mutex mutex_;
    support::Condition changed_;
    std::deque<support::Task> tasks_ QUORVANE_GUARDED_BY(mutex_);

    std::unique_ptr<ScreenSource> screen_;
    std::vector<std::unique_ptr<AudioSource>> audio_;
    bool ended_ = false;
};

class LinuxCaptureStream final : public CaptureStream {
  public:
    LinuxCaptureStream(LinuxCaptureSources sources, const support::Clock& clock,
                       ContentFilter filter, StreamConfiguration configuration,
                       std::weak_ptr<StreamDelegate> delegate)
        : sources_(std::move(sources)),
          clock_(clock),
          filter_(std::move(filter)),
          configuration_(std::move(configuration)),
          delegate_(std::move(delegate)),
          worker_(std::make_shared<SourceWorker>()) {
        worker_->begin();
    }
    ~LinuxCaptureStream() override { worker_->end(); }
    LinuxCaptureStream(const LinuxCaptureStream&) = delete;
    LinuxCaptureStream& operator=(const LinuxCaptureStream&) = delete;

    void addOutput(std::weak_ptr<StreamOutput> output, StreamOutputType type,
                   std::shared_ptr<support::Queue> queue) override {
        Output added{std::move(output), type, std::move(queue)};
        switch (type) {
            case StreamOutputType::screen:
                screenOutputs_.push_back(std::move(added));
                break;
            case StreamOutputType::audio:
                audioOutputs_.emplace_back(std::move(added), sources_.systemAudio);
                break;
            case StreamOutputType::microphone:
                audioOutputs_.emplace_back(
                    std::move(added),
                    [make = sources_.microphone,
                     device = configuration_.microphoneCaptureDeviceID] { return make(device); });
                break;
        }
    }

    void startCapture(Completion completion) override {
        worker_->post(
            [worker = worker_.get(), audioOutputs = audioOutputs_, screenOutputs = screenOutputs_,
             makeScreen = [make = sources_.screen, filter = filter_,
                           configuration = configuration_] { return make(filter, configuration); },
             delegate = delegate_, completion = std::move(completion)] {
                std::exception_ptr error;
                try {
                    worker->start(audioOutputs, screenOutputs, makeScreen,
                                  [delegate](const std::exception_ptr& reason) {
                                      if (const auto receiver = delegate.lock())
                                          receiver->didStopWithError(reason);
                                  });
                } catch (...) {
                    error = std::current_exception();
                    worker->stopSources(support::MediaTime::min());
                }
                completion(error);
            });
    }

    void stopCapture(Completion completion) override {
        worker_->post(
            [worker = worker_.get(), end = clock_.hostTime(), completion = std::move(completion)] {
                worker->stopSources(end);
                completion(nullptr);
            });
    }

  private:
    const LinuxCaptureSources sources_;
    const support::Clock& clock_;
    const ContentFilter filter_;
    const StreamConfiguration configuration_;
    const std::weak_ptr<StreamDelegate> delegate_;
    const std::shared_ptr<SourceWorker> worker_;

    // Complete before the start.
    std::vector<Output> screenOutputs_;
    std::vector<std::pair<Output, std::function<std::unique_ptr<AudioSource>()>>> audioOutputs_;
};

}  // namespace

ContentFilter LinuxCaptureService::makeContentFilter(CapturedContent content) {
    const auto rect = contentRect(content);
    // A point is a pixel on X11.
    return {.content = std::move(content), .contentRect = rect, .pointPixelScale = 1};
}

std::shared_ptr<CaptureStream> LinuxCaptureService::makeStream(
    const ContentFilter& filter, const StreamConfiguration& configuration,
    std::weak_ptr<StreamDelegate> delegate) {
    return std::make_shared<LinuxCaptureStream>(sources_, clock_, filter, configuration,
                                                std::move(delegate));
}

}  // namespace quorvane::platform
