// The port to finished media files.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace quorvane::platform {

enum class MediaType { video, audio };

// Where a point of the picture is shown: (a x + c y + tx, b x + d y + ty).
struct AffineTransform {
    double a = 1;
    double b = 0;
    double c = 0;
    double d = 1;
    double tx = 0;  // pixels
    double ty = 0;  // pixels

    bool operator==(const AffineTransform&) const = default;
};

// One track of a file. Threads: any. Errors: PlatformError.
class MediaAssetTrack {
  public:
    virtual ~MediaAssetTrack() = default;
    virtual MediaType mediaType() const = 0;
    // How the picture is to be turned for display.
    virtual AffineTransform loadPreferredTransform() const = 0;
};

using MediaAssetTrackPtr = std::shared_ptr<const MediaAssetTrack>;

// Threads: any. Errors: PlatformError.
class MediaAsset {
  public:
    virtual ~MediaAsset() = default;
    // In the file's order; tracks outlive their asset.
    virtual std::vector<MediaAssetTrackPtr> loadTracks(MediaType mediaType) const = 0;
    // From the movie's begin to the end of its longest track.
    virtual std::chrono::nanoseconds loadDuration() const = 0;
};

class MediaAssets {
  public:
    virtual ~MediaAssets() = default;
    // Opens the file and reads its index. Throws PlatformError when it is missing or no media file.
    virtual std::unique_ptr<MediaAsset> openAsset(const std::string& path) = 0;
};

}  // namespace quorvane::platform
