// Finished media files, read by libavformat.
#pragma once

#include <string>
#include <utility>

#include "platform/media_asset.h"

namespace quorvane::platform::libav {

// A track of a file, by what it takes to find it again.
class LibavAssetTrack final : public MediaAssetTrack {
  public:
    // The codec is the library's number for it.
    LibavAssetTrack(std::string path, int streamIndex, MediaType mediaType, int codec,
                    const AffineTransform& transform)
        : path_(std::move(path)),
          streamIndex_(streamIndex),
          mediaType_(mediaType),
          codec_(codec),
          transform_(transform) {}

    MediaType mediaType() const override { return mediaType_; }
    AffineTransform loadPreferredTransform() const override { return transform_; }
    const std::string& path() const { return path_; }
    int streamIndex() const { return streamIndex_; }
    int codec() const { return codec_; }

  private:
    const std::string path_;
    const int streamIndex_;
    const MediaType mediaType_;
    const int codec_;
    const AffineTransform transform_;
};

// Threads: any. Errors: "POSIX" for a file that cannot be opened, "libav" for one that is no media.
class LibavMediaAssets final : public MediaAssets {
  public:
    std::unique_ptr<MediaAsset> openAsset(const std::string& path) override;
};

}  // namespace quorvane::platform::libav
