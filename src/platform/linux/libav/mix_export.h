// Makes a new movie from an old one: the picture packet by packet as it is, all sound as one track.
// One thread reads, decodes and mixes the sound, some encode it, and the caller's writes the file,
// for which it reads the picture in step with the sound; what each waits for is bounded, so memory
// does not grow with the movie beyond the tables of contents.
#pragma once

#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/media_asset.h"
#include "support/mutex.h"

namespace quorvane::platform::libav {

class MovieInput;
class MovieOutput;
class ParallelSoundEncoder;

struct MixPlan {
    struct Sound {
        int stream = 0;
        float volume = 1;  // a factor
    };

    std::string input;
    std::optional<int> pictureStream;
    AffineTransform transform;           // of the picture
    std::vector<Sound> sounds;           // at least one
    std::chrono::nanoseconds length{0};  // of the sound at most
};

class MixExport {
  public:
    explicit MixExport(MixPlan plan);
    ~MixExport();
    MixExport(const MixExport&) = delete;
    MixExport& operator=(const MixExport&) = delete;

    // Does it all; the file at the path, which must not exist yet, is whole and on the disk then.
    // Called once. Throws PlatformError; a part of the file may be there then. Returns early,
    // without a whole file, when it was cancelled.
    void run(const std::string& outputPath);
    // run() is to return soon. Any thread.
    void cancel() QUORVANE_EXCLUDES(mutex_);
    bool isCancelled() const { return cancelled_; }
    // From 0 to 1, any thread: what has been written of the whole.
    float progress() const { return progress_; }

  private:
    void setRunning(ParallelSoundEncoder* encoder) QUORVANE_EXCLUDES(mutex_);
    void mixSound(ParallelSoundEncoder& encoder) const;
    void writeMovie(const std::string& outputPath, ParallelSoundEncoder& encoder);

    const MixPlan plan_;
    std::atomic<bool> cancelled_ = false;
    std::atomic<float> progress_ = 0;

    support::Mutex mutex_;
    ParallelSoundEncoder* running_ QUORVANE_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace quorvane::platform::libav
