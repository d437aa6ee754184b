#include "simulation/sim_platform.h"

#include <nlohmann/json.hpp>

#include "platform/platform_error.h"

namespace quorvane::simulation {

using platform::MovieWriterStatus;
using platform::SampleBufferPtr;
using platform::StreamOutputType;

class SimProcess::Source final : public platform::EventSource {
  public:
    Source(SimProcess& owner, std::string name, support::Queue& queue,
           std::function<void()> handler)
        : owner_(owner), name_(std::move(name)), queue_(queue), handler_(std::move(handler)) {
        owner_.sources_.emplace(name_, this);
        ++owner_.liveSources;
    }
    ~Source() override { Source::cancel(); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    void cancel() override {
        const auto [first, last] = owner_.sources_.equal_range(name_);
        for (auto each = first; each != last; ++each) {
            if (each->second == this) {
                owner_.sources_.erase(each);
                --owner_.liveSources;
                owner_.cancelled.push_back(name_);
                return;
            }
        }
    }
    void fire() { queue_.post(handler_); }

  private:
    SimProcess& owner_;
    std::string name_;
    support::Queue& queue_;
    std::function<void()> handler_;
};

namespace {

const char* nameOf(platform::Signal signal) {
    return signal == platform::Signal::interrupt ? "interrupt" : "terminate";
}

}  // namespace

std::unique_ptr<platform::EventSource> SimProcess::signalSource(platform::Signal signal,
                                                                support::Queue& queue,
                                                                std::function<void()> handler) {
    faults_.strike();
    return std::make_unique<Source>(*this, nameOf(signal), queue, std::move(handler));
}

std::unique_ptr<platform::EventSource> SimProcess::parentExitSource(support::Queue& queue,
                                                                    std::function<void()> handler) {
    faults_.strike();
    return std::make_unique<Source>(*this, "parent", queue, std::move(handler));
}

void SimProcess::readStandardInput(std::size_t /*largestRead*/,
                                   std::function<void(std::span<const std::byte>)> onBytes) {
    onInput_ = std::move(onBytes);
    inputThread_ = dispatch_.makeSerialQueue("input");
}

void SimProcess::writeStandardOutput(std::string_view line, std::chrono::milliseconds patience) {
    lines.push_back({std::string(line), dispatch_.elapsed(), patience});
}

void SimProcess::fire(const std::string& name) {
    const auto [first, last] = sources_.equal_range(name);
    for (auto each = first; each != last; ++each)
        each->second->fire();
}
void SimProcess::raise(platform::Signal signal) {
    fire(nameOf(signal));
}
void SimProcess::endParent() {
    fire("parent");
}

void SimProcess::sendInput(const std::string& text) {
    if (!onInput_) return;
    inputThread_->post([this, text] { onInput_(std::as_bytes(std::span(text))); });
}

std::vector<std::string> SimProcess::kinds() const {
    std::vector<std::string> kinds;
    for (const auto& line : lines)
        kinds.push_back(nlohmann::json::parse(line.text).at("kind").get<std::string>());
    return kinds;
}

void SimContent::getShareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                                     Completion completion) {
    query = {excludingDesktopWindows, onScreenWindowsOnly};
    auto failure = faults_.strikes() ? FaultPlan::error() : error;
    dispatch_.globalQueue().post([this, failure, completion = std::move(completion)] {
        completion(failure, failure ? platform::ShareableContent{} : content);
    });
}

class SimCaptureStream final : public platform::CaptureStream {
  public:
    explicit SimCaptureStream(SimCapture& owner) : owner_(owner) {}

    void addOutput(std::weak_ptr<platform::StreamOutput> output, StreamOutputType type,
                   std::shared_ptr<support::Queue> queue) override {
        if (owner_.faults_.strikes()) std::rethrow_exception(FaultPlan::error());
        owner_.outputs.push_back(type);
        owner_.receivers_[type] = {std::move(output), std::move(queue)};
    }
    void startCapture(Completion completion) override {
        auto script = owner_.startScript;
        if (owner_.faults_.strikes()) script.error = FaultPlan::error();
        run(script, [&owner = owner_, script, completion = std::move(completion)] {
            if (!script.error) owner.started = true;
            completion(script.error);
        });
    }
    void stopCapture(Completion completion) override {
        ++owner_.stops;
        auto script = owner_.stopScript;
        if (owner_.faults_.strikes()) script.error = FaultPlan::error();
        run(script, [&owner = owner_, script, completion = std::move(completion)] {
            owner.stopped = true;
            completion(script.error);
        });
    }

  private:
    void run(const Scripted& script, support::Task task) {
        if (!script.after) return;
        owner_.dispatch_.schedule(owner_.dispatch_.globalQueue(), *script.after, std::move(task));
    }

    SimCapture& owner_;
};

platform::ContentFilter SimCapture::makeContentFilter(platform::CapturedContent content) {
    const auto* display = std::get_if<platform::DisplayContent>(&content);
    const auto rect = display != nullptr ? display->display.frame : support::Rect{};
    return {.content = std::move(content), .contentRect = rect, .pointPixelScale = pointPixelScale};
}

std::shared_ptr<platform::CaptureStream> SimCapture::makeStream(
    const platform::ContentFilter& /*filter*/,
    const platform::StreamConfiguration& streamConfiguration,
    std::weak_ptr<platform::StreamDelegate> delegate) {
    configuration = streamConfiguration;
    delegate_ = std::move(delegate);
    return std::make_shared<SimCaptureStream>(*this);
}

void SimCapture::deliver(SampleBufferPtr sample, StreamOutputType type) {
    const auto receiver = receivers_.find(type);
    if (receiver == receivers_.end() || stopped) return;
    receiver->second.second->post(
        [output = receiver->second.first, sample = std::move(sample), type] {
            if (const auto target = output.lock()) target->didOutputSampleBuffer(sample, type);
        });
}

void SimCapture::deliverPicture() {
    deliver(std::make_shared<SimPicture>(dispatch_.clock().hostTime()), StreamOutputType::screen);
}

void SimCapture::deliverSound(StreamOutputType type, float value) {
    deliver(steadySound(dispatch_.clock().hostTime(), value), type);
}

void SimCapture::endWithError(std::exception_ptr error) {
    stopped = true;
    dispatch_.globalQueue().post([delegate = delegate_, error = std::move(error)] {
        if (const auto target = delegate.lock()) target->didStopWithError(error);
    });
}

class SimMovieWriter final : public platform::MovieWriter {
  public:
    explicit SimMovieWriter(SimMovieWriters& owner) : owner_(owner) {}

    MovieWriterStatus status() const override { return owner_.status; }
    std::exception_ptr error() const override { return owner_.error; }
    void setShouldOptimizeForNetworkUse(bool optimize) override { owner_.optimized = optimize; }

    platform::MovieWriterInput* addVideoInput(
        const platform::VideoInputSettings& settings) override {
        if (owner_.refusesVideo || owner_.faults_.strikes()) return nullptr;
        auto& input = owner_.inputs.emplace_back();
        input.name = "video";
        input.videoSettings = settings;
        return add(input);
    }
    platform::MovieWriterInput* addAudioInput(
        const platform::AudioInputSettings& settings) override {
        const int number = ++audioInputs_;
        if (number >= owner_.refusesAudioFrom || owner_.faults_.strikes()) return nullptr;
        auto& input = owner_.inputs.emplace_back();
        input.name = "audio " + std::to_string(number);
        input.audioSettings = settings;
        return add(input);
    }
    bool startWriting() override {
        if (owner_.startDeclines) return false;
        if (owner_.startFails || owner_.faults_.strikes()) {
            fail(owner_);
            return false;
        }
        owner_.status = MovieWriterStatus::writing;
        owner_.movieExists = true;
        owner_.files_.files[owner_.path] = {"recorded", 1, audioInputs_};
        return true;
    }
    void startSession(support::MediaTime sourceTime) override { owner_.sessionStart = sourceTime; }
    void finishWriting(std::function<void()> completion) override {
        ++owner_.finishes;
        const bool fails = owner_.completesAsFailed || owner_.faults_.strikes();
        if (!owner_.finishAfter) return;
        owner_.dispatch_.schedule(owner_.dispatch_.globalQueue(), *owner_.finishAfter,
                                  [&owner = owner_, fails, completion = std::move(completion)] {
                                      if (fails) {
                                          fail(owner);
                                      } else {
                                          owner.status = MovieWriterStatus::completed;
                                      }
                                      completion();
                                  });
    }
    void cancelWriting() override {
        ++owner_.cancels;
        owner_.status = MovieWriterStatus::cancelled;
    }

  private:
    class Input final : public platform::MovieWriterInput {
      public:
        Input(SimMovieWriter& writer, SimMovieWriters::Input& record)
            : writer_(writer), record_(record) {}
        bool isReadyForMoreMediaData() const override { return record_.ready; }
        bool append(const SampleBufferPtr& sample) override {
            if (writer_.owner_.appendFails || writer_.owner_.faults_.strikes()) {
                fail(writer_.owner_);
                return false;
            }
            record_.samples.push_back(sample);
            return true;
        }
        void markAsFinished() override { record_.finished = true; }

      private:
        SimMovieWriter& writer_;
        SimMovieWriters::Input& record_;
    };

    platform::MovieWriterInput* add(SimMovieWriters::Input& record) {
        return &inputs_.emplace_back(*this, record);
    }
    static void fail(SimMovieWriters& owner) {
        owner.status = MovieWriterStatus::failed;
        if (owner.hasErrors) owner.error = FaultPlan::error();
    }

    SimMovieWriters& owner_;
    std::deque<Input> inputs_;
    int audioInputs_ = 0;
};

std::shared_ptr<platform::MovieWriter> SimMovieWriters::makeMovieWriter(const std::string& at) {
    if (movieExists || faults_.strikes()) std::rethrow_exception(FaultPlan::error());
    path = at;
    return std::make_shared<SimMovieWriter>(*this);
}

void SimPermissions::requestScreenCaptureAccess() {
    asked.emplace_back("screen");
    screenGranted = userGrants;
}

void SimPermissions::requestMicrophoneAccess(Answer answer) {
    asked.emplace_back("microphone");
    const auto decide = [this, answer = std::move(answer)] {
        microphone = userGrants ? platform::MicrophoneAuthorization::authorized
                                : platform::MicrophoneAuthorization::denied;
        answer(userGrants);
    };
    if (userTakes.count() == 0) return decide();
    dispatch_.schedule(dispatch_.globalQueue(), userTakes, decide);
}

SimPlatform::SimPlatform(std::uint64_t seed, FaultPlan plan)
    : faults(plan),
      dispatch(seed),
      process(dispatch, faults),
      content(dispatch, faults),
      capture(dispatch, faults),
      files(faults),
      writers(dispatch, files, faults),
      permissions(dispatch),
      assets(files, faults),
      exports(dispatch, files, faults),
      cameras(dispatch),
      application(dispatch),
      ports{dispatch, process,        content,           capture, writers,    assets,
            devices,  permissions,    exports,           files,   random,     userLocale,
            images,   textRecognizer, speechRecognizers, cameras, application} {
    content.content.displays = {{1, 1920, 1080, {0, 0, 1920, 1080}}};
}

}  // namespace quorvane::simulation
