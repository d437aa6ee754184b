// The port to the capture service: what is captured, how, and where the samples go.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/sample_buffer.h"
#include "platform/shareable_content.h"
#include "support/dispatch.h"
#include "support/geometry.h"

namespace quorvane::platform {

// A display without some windows.
struct DisplayContent {
    Display display;
    std::vector<Window> excludingWindows;
    // Windows that appear later under one of these are left out, too. None of them needs to exist.
    std::vector<std::uint32_t> excludedWindowIDs{};
};

// One window, whatever covers it.
struct WindowContent {
    Window window;
};

// The windows of some applications on a display.
struct ApplicationContent {
    Display display;
    std::vector<RunningApplication> including;
    std::vector<Window> exceptingWindows;
};

using CapturedContent = std::variant<DisplayContent, WindowContent, ApplicationContent>;

// What a capture service makes of the content: where it lies and how many pixels a point has.
struct ContentFilter {
    CapturedContent content;
    support::Rect contentRect;  // points, global
    float pointPixelScale = 1;
};

enum class CaptureResolution { automatic, best };

struct StreamConfiguration {
    support::Rect sourceRect;  // points, relative to the content; what lies outside it is black
    int width = 0;             // pixels of the delivered pictures
    int height = 0;
    bool ignoreShadowsSingleWindow = false;
    std::chrono::nanoseconds minimumFrameInterval{0};
    int queueDepth = 0;  // pictures that exist at once
    CaptureResolution captureResolution = CaptureResolution::automatic;
    bool showsCursor = false;
    bool capturesAudio = false;
    bool excludesCurrentProcessAudio = false;
    int sampleRate = 0;
    int channelCount = 0;
    bool captureMicrophone = false;
    std::optional<std::string> microphoneCaptureDeviceID;
};

enum class StreamOutputType { screen, audio, microphone };

class StreamOutput {
  public:
    virtual ~StreamOutput() = default;
    // Called as a task of the queue that the output was added with.
    virtual void didOutputSampleBuffer(const SampleBufferPtr& sampleBuffer,
                                       StreamOutputType type) = 0;
};

class StreamDelegate {
  public:
    virtual ~StreamDelegate() = default;
    // The stream stopped by itself. Called at most once, on a thread of the service.
    virtual void didStopWithError(std::exception_ptr error) = 0;
};

class CaptureStream {
  public:
    // Called exactly once, on any thread; a null error is success.
    using Completion = std::function<void(std::exception_ptr error)>;

    virtual ~CaptureStream() = default;
    // Before the start. Throws PlatformError when the service cannot deliver that type.
    virtual void addOutput(std::weak_ptr<StreamOutput> output, StreamOutputType type,
                           std::shared_ptr<support::Queue> queue) = 0;
    virtual void startCapture(Completion completion) = 0;
    // No sample is posted to an output's queue after the completion.
    virtual void stopCapture(Completion completion) = 0;
};

class CaptureService {
  public:
    virtual ~CaptureService() = default;
    virtual ContentFilter makeContentFilter(CapturedContent content) = 0;
    virtual std::shared_ptr<CaptureStream> makeStream(const ContentFilter& filter,
                                                      const StreamConfiguration& configuration,
                                                      std::weak_ptr<StreamDelegate> delegate) = 0;
};

}  // namespace quorvane::platform
