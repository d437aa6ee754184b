// The port to exports: a composition of tracks becomes a new movie file.
#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/media_asset.h"

namespace quorvane::platform {

struct TimeRange {
    std::chrono::nanoseconds start{0};
    std::chrono::nanoseconds duration{0};

    bool operator==(const TimeRange&) const = default;
};

// One track of a composition. It lives as long as the composition.
class CompositionTrack {
  public:
    virtual ~CompositionTrack() = default;
    // Names the track within its composition.
    virtual int trackID() const = 0;
    // Puts a part of the source at that time of the composition. Throws PlatformError.
    virtual void insertTimeRange(const TimeRange& range, const MediaAssetTrackPtr& source,
                                 std::chrono::nanoseconds at) = 0;
    virtual void setPreferredTransform(const AffineTransform& transform) = 0;
};

// What a movie is to consist of. Threads: one at a time, and not while it is being exported.
class Composition {
  public:
    virtual ~Composition() = default;
    // Null when there can be no more tracks of that type.
    virtual CompositionTrack* addTrack(MediaType mediaType) = 0;
};

// How loud a track of a composition is in the mix, from a time on.
struct AudioMixInputParameters {
    int trackID = 0;
    float volume = 1;  // a factor
    std::chrono::nanoseconds at{0};

    bool operator==(const AudioMixInputParameters&) const = default;
};

struct AudioMix {
    std::vector<AudioMixInputParameters> inputParameters;
};

enum class ExportPreset { highestQuality, mediumQuality };
enum class FileType { mpeg4, quickTime };
enum class ExportStatus { unknown, waiting, exporting, completed, failed, cancelled };

// One export. The first video track is carried over, all audio tracks become one.
// Threads: the setters before exportAsynchronously(), one at a time; all else any.
class ExportSession {
  public:
    // An export that still runs is abandoned; its completion may never come.
    virtual ~ExportSession() = default;
    virtual std::vector<FileType> supportedFileTypes() const = 0;
    // The new file; nothing may be at its path when the export starts.
    virtual void setOutputPath(const std::string& path) = 0;
    virtual void setOutputFileType(FileType type) = 0;
    // Tracks that it does not name play at volume 1.
    virtual void setAudioMix(AudioMix mix) = 0;
    // The index stands in front of the media.
    virtual void setShouldOptimizeForNetworkUse(bool optimize) = 0;
    // The completion is called exactly once, on any thread, when the status is completed, failed or
    // cancelled. Completed: the file is whole and on the disk. Else a part of it may be there.
    virtual void exportAsynchronously(std::function<void()> completion) = 0;
    virtual ExportStatus status() const = 0;
    // From 0 to 1; never falls.
    virtual float progress() const = 0;
    // Why the export failed; null otherwise.
    virtual std::exception_ptr error() const = 0;
};

class ExportService {
  public:
    virtual ~ExportService() = default;
    virtual std::shared_ptr<Composition> makeComposition() = 0;
    virtual std::vector<ExportPreset> exportPresets(const Composition& compatibleWith) = 0;
    // Null when the composition cannot be exported by that preset.
    virtual std::shared_ptr<ExportSession> makeExportSession(
        std::shared_ptr<const Composition> composition, ExportPreset preset) = 0;
};

}  // namespace quorvane::platform
