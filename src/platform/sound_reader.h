// The port to the sound of media files, as samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace quorvane::platform {

// The first sound track of a file as it plays: from the media's begin on, without a gap, in one
// channel. Threads: one at a time.
class SoundReader {
  public:
    virtual ~SoundReader() = default;
    // Fills the samples with those that follow and says how many there were: fewer than asked for
    // at the end only, 0 from then on. Works while it is called. Throws PlatformError.
    virtual std::size_t read(std::span<std::int16_t> samples) = 0;
};

class SoundReaders {
  public:
    virtual ~SoundReaders() = default;
    // The rate in Hz. Throws PlatformError when the file is missing, no media, or without sound.
    virtual std::unique_ptr<SoundReader> openSound(const std::string& path, int sampleRate) = 0;
};

}  // namespace quorvane::platform
