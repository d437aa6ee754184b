// The sound of media files, decoded and resampled by FFmpeg's libraries.
#pragma once

#include <memory>
#include <string>

#include "platform/sound_reader.h"

namespace quorvane::platform::libav {

// Gaps in a track are silence, and what its edit list or its codec leaves out is left out, so that
// a sample's place is its time. Damaged packets are silence, too; times more than an hour away
// from the sound before them are taken for damage. Threads: any. Errors: "POSIX" for a file that
// cannot be opened; "libav" for one that is no media, has no sound, ends before what its index
// promises, or has nothing in its sound track that can be decoded.
class LibavSoundReaders final : public SoundReaders {
  public:
    std::unique_ptr<SoundReader> openSound(const std::string& path, int sampleRate) override;
};

}  // namespace quorvane::platform::libav
