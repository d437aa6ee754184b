// Exports by FFmpeg's libraries. Both presets carry the picture over packet by packet: there is no
// better quality, and nothing is faster.
#pragma once

#include "platform/export_session.h"

namespace quorvane::platform::libav {

// Compositions consist of whole tracks of one file, from its begin on. Exported are the first
// picture track and all audio tracks, these as one of AAC, 48 kHz, stereo, 192 kbit/s.
// Threads: any. Errors: PlatformError of the domain "libav", or "POSIX" for the new file.
class LibavExportService final : public ExportService {
  public:
    std::shared_ptr<Composition> makeComposition() override;
    std::vector<ExportPreset> exportPresets(const Composition& compatibleWith) override;
    // Null for a composition without sound.
    std::shared_ptr<ExportSession> makeExportSession(std::shared_ptr<const Composition> composition,
                                                     ExportPreset preset) override;
};

}  // namespace quorvane::platform::libav
