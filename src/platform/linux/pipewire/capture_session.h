// Capturing over one connection: waits for the device, captures from it, notices when it goes and
// when it comes back.
// What is let through: sound only from a device that the target means. The session manager links
// the streams, but what it linked is checked here, before the first sample: a chosen microphone is
// never replaced by another one, no monitor is taken for a microphone, and no microphone for the
// system's sound.
// Threads: the one that made it, except finish().
#pragma once

#include <functional>
#include <memory>

#include "platform/linux/pipewire/sound_stream.h"
#include "support/media_time.h"

namespace quorvane::platform::pipewire {

class SoundDelivery;

class CaptureSession {
  public:
    // onReady is called once, when the server has taken the stream (or, without a device, has
    // answered). Throws PlatformError when there is no server.
    CaptureSession(const SoundTarget& target, SoundDelivery& delivery,
                   std::function<void()> onReady);
    ~CaptureSession();
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;

    // Returns when the server is gone or the session is finished.
    void run();
    // Ends run() when the sound up to this time was delivered, at the latest after 100 ms.
    // Any thread; at most once.
    void finish(support::MediaTime end);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::platform::pipewire
