// Every port of the program, simulated: each does at once what it should, unless a test scripts
// otherwise, and can be made to fail at any of its calls.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "simulation/fault_plan.h"
#include "simulation/sim_dispatch.h"
#include "simulation/sim_export.h"
#include "simulation/sim_files.h"
#include "simulation/sim_recognition.h"
#include "simulation/sim_samples.h"
#include "simulation/sim_speech.h"
#include "simulation/sim_user_locale.h"
#include "simulation/sim_webcam.h"

namespace quorvane::simulation {

class SimProcess final : public platform::Process {
  public:
    SimProcess(SimDispatch& dispatch, FaultPlan& faults) : dispatch_(dispatch), faults_(faults) {}

    void ignoreSignal(platform::Signal signal) override {
        ignored.push_back(signal);
        if (onIgnoreSignal) onIgnoreSignal();
    }
    std::unique_ptr<platform::EventSource> signalSource(platform::Signal signal,
                                                        support::Queue& queue,
                                                        std::function<void()> handler) override;
    std::unique_ptr<platform::EventSource> parentExitSource(support::Queue& queue,
                                                            std::function<void()> handler) override;
    void readStandardInput(std::size_t largestRead,
                           std::function<void(std::span<const std::byte>)> onBytes) override;
    void writeStandardOutput(std::string_view line, std::chrono::milliseconds patience) override;
    void writeStandardError(std::string_view line) override { warnings.emplace_back(line); }

    void raise(platform::Signal signal);
    void endParent();
    void sendInput(const std::string& text);
    // The kinds of the lines written so far, in order.
    std::vector<std::string> kinds() const;

    struct Line {
        std::string text;  // with its line feed
        std::chrono::nanoseconds at;
        std::chrono::milliseconds patience;
    };
    std::vector<Line> lines;
    std::vector<std::string> warnings;  // with their line feeds
    std::vector<platform::Signal> ignored;
    std::function<void()> onIgnoreSignal;
    int liveSources = 0;
    std::vector<std::string> cancelled;  // "interrupt", "terminate", "parent"

  private:
    class Source;
    void fire(const std::string& name);

    SimDispatch& dispatch_;
    FaultPlan& faults_;
    std::multimap<std::string, Source*> sources_;
    std::function<void(std::span<const std::byte>)> onInput_;
    std::shared_ptr<support::Queue> inputThread_;
};

class SimContent final : public platform::ShareableContentSource {
  public:
    SimContent(SimDispatch& dispatch, FaultPlan& faults) : dispatch_(dispatch), faults_(faults) {}
    std::uint32_t mainDisplayID() override { return 1; }
    void getShareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                             Completion completion) override;

    platform::ShareableContent content;
    std::exception_ptr error;
    // How the content was asked for last.
    struct Query {
        bool excludingDesktopWindows = false;
        bool onScreenWindowsOnly = false;
        bool operator==(const Query&) const = default;
    };
    std::optional<Query> query;

  private:
    SimDispatch& dispatch_;
    FaultPlan& faults_;
};

// How a scripted completion comes.
struct Scripted {
    std::optional<std::chrono::nanoseconds> after = std::chrono::nanoseconds(0);  // nothing: never
    std::exception_ptr error;
};

class SimCaptureStream;

class SimCapture final : public platform::CaptureService {
  public:
    SimCapture(SimDispatch& dispatch, FaultPlan& faults) : dispatch_(dispatch), faults_(faults) {}
    platform::ContentFilter makeContentFilter(platform::CapturedContent content) override;
    std::shared_ptr<platform::CaptureStream> makeStream(
        const platform::ContentFilter& filter, const platform::StreamConfiguration& configuration,
        std::weak_ptr<platform::StreamDelegate> delegate) override;

    float pointPixelScale = 1;
    Scripted startScript;
    Scripted stopScript;
    std::vector<platform::StreamOutputType> outputs;
    platform::StreamConfiguration configuration;
    int stops = 0;
    bool started = false;
    bool stopped = false;

    // Posts a sample as the service does; nothing once the capture has stopped.
    void deliver(platform::SampleBufferPtr sample, platform::StreamOutputType type);
    void deliverPicture();
    void deliverSound(platform::StreamOutputType type, float value);
    // The stream stops by itself.
    void endWithError(std::exception_ptr error);

  private:
    friend class SimCaptureStream;
    SimDispatch& dispatch_;
    FaultPlan& faults_;
    std::weak_ptr<platform::StreamDelegate> delegate_;
    std::map<platform::StreamOutputType,
             std::pair<std::weak_ptr<platform::StreamOutput>, std::shared_ptr<support::Queue>>>
        receivers_;
};

class SimMovieWriter;

class SimMovieWriters final : public platform::MovieWriterFactory {
  public:
    SimMovieWriters(SimDispatch& dispatch, SimFiles& files, FaultPlan& faults)
        : dispatch_(dispatch), files_(files), faults_(faults) {}
    std::shared_ptr<platform::MovieWriter> makeMovieWriter(const std::string& path) override;

    // What was written, and how the writer behaves.
    struct Input {
        std::string name;  // "video", "audio 1", "audio 2"
        std::vector<platform::SampleBufferPtr> samples;
        bool ready = true;
        bool finished = false;
        platform::VideoInputSettings videoSettings;
        platform::AudioInputSettings audioSettings;
    };
    std::deque<Input> inputs;  // references stay valid
    bool refusesVideo = false;
    int refusesAudioFrom = 99;  // the first audio input that is refused, from 1
    bool startFails = false;
    bool startDeclines = false;  // does not start, and does not fail either
    bool appendFails = false;
    bool hasErrors = true;  // a failed writer says why
    bool completesAsFailed = false;
    std::optional<std::chrono::nanoseconds> finishAfter = std::chrono::nanoseconds(0);
    platform::MovieWriterStatus status = platform::MovieWriterStatus::unknown;
    std::exception_ptr error;
    bool optimized = false;
    bool movieExists = false;  // something is at the path
    int finishes = 0;
    int cancels = 0;
    std::optional<support::MediaTime> sessionStart;
    std::string path;

  private:
    friend class SimMovieWriter;
    SimDispatch& dispatch_;
    SimFiles& files_;
    FaultPlan& faults_;
};

class SimAudioDevices final : public platform::AudioDevices {
  public:
    std::optional<platform::AudioInputDevice> defaultInputDevice() override { return device; }
    std::vector<platform::AudioInputDevice> inputDevices() override {
        return device ? std::vector{*device} : std::vector<platform::AudioInputDevice>();
    }
    std::optional<platform::AudioInputDevice> device = platform::AudioInputDevice{"mic-1", "Mic"};
};

class SimPermissions final : public platform::Permissions {
  public:
    explicit SimPermissions(SimDispatch& dispatch) : dispatch_(dispatch) {}
    bool preflightScreenCaptureAccess() override { return screenGranted; }
    platform::MicrophoneAuthorization microphoneAuthorizationStatus() override {
        return microphone;
    }
    void requestScreenCaptureAccess() override;
    void requestMicrophoneAccess(Answer answer) override;

    bool screenGranted = true;
    platform::MicrophoneAuthorization microphone = platform::MicrophoneAuthorization::authorized;
    // What the user says, and after how long.
    bool userGrants = true;
    std::chrono::nanoseconds userTakes{0};
    std::vector<std::string> asked;  // "screen", "microphone"

  private:
    SimDispatch& dispatch_;
};

// One display of 1920 by 1080 at the origin, no windows.
struct SimPlatform {
    explicit SimPlatform(std::uint64_t seed = 1, FaultPlan plan = FaultPlan());

    FaultPlan faults;
    SimDispatch dispatch;
    SimProcess process;
    SimContent content;
    SimCapture capture;
    SimFiles files;
    SimMovieWriters writers;
    SimAudioDevices devices;
    SimPermissions permissions;
    SimMediaAssets assets;
    SimExports exports;
    SimRandom random;
    SimUserLocale userLocale;
    SimImages images;
    SimTextRecognizer textRecognizer;
    SimSpeechRecognizers speechRecognizers;
    SimCameras cameras;
    SimApplication application;
    platform::Platform ports;
};

}  // namespace quorvane::simulation
