// The capture service of Linux: pictures from a display server and sound from a sound server, as
// one stream.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/capture_stream.h"
#include "platform/linux/audio_source.h"
#include "platform/linux/screen_source.h"

namespace quorvane::platform {

// How the sources of one stream are made, each by its adapter. None of them connects to anything
// before its start.
struct LinuxCaptureSources {
    std::function<std::unique_ptr<ScreenSource>(const ContentFilter&, const StreamConfiguration&)>
        screen;
    std::function<std::unique_ptr<AudioSource>()> systemAudio;
    // The device's identifier; without one the default source.
    std::function<std::unique_ptr<AudioSource>(const std::optional<std::string>&)> microphone;
};

class LinuxCaptureService final : public CaptureService {
  public:
    // The clock outlives the service and its streams.
    LinuxCaptureService(LinuxCaptureSources sources, const support::Clock& clock)
        : sources_(std::move(sources)), clock_(clock) {}

    ContentFilter makeContentFilter(CapturedContent content) override;
    std::shared_ptr<CaptureStream> makeStream(const ContentFilter& filter,
                                              const StreamConfiguration& configuration,
                                              std::weak_ptr<StreamDelegate> delegate) override;

  private:
    LinuxCaptureSources sources_;
    const support::Clock& clock_;
};

}  // namespace quorvane::platform
