#include "platform/linux/libav/libav_media_asset.h"

#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

#include "platform/linux/libav/display_matrix.h"
#include "platform/linux/libav/movie_input.h"

namespace quorvane::platform::libav {
namespace {

class LibavMediaAsset final : public MediaAsset {
  public:
    explicit LibavMediaAsset(const std::string& path) {
        const MovieInput input(path);
        duration_ = input.duration();
        for (unsigned index = 0; index < input.context().nb_streams; ++index) {
            const auto& stream = input.stream(static_cast<int>(index));
            const auto kind = stream.codecpar->codec_type;
            const bool isCover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
            if ((kind != AVMEDIA_TYPE_VIDEO && kind != AVMEDIA_TYPE_AUDIO) || isCover) continue;
            tracks_.push_back(std::make_shared<LibavAssetTrack>(
                path, static_cast<int>(index),
                kind == AVMEDIA_TYPE_VIDEO ? MediaType::video : MediaType::audio,
                stream.codecpar->codec_id, displayTransform(stream)));
        }
    }

    std::vector<MediaAssetTrackPtr> loadTracks(MediaType mediaType) const override {
        std::vector<MediaAssetTrackPtr> tracks;
        for (const auto& track : tracks_) {
            if (track->mediaType() == mediaType) tracks.push_back(track);
        }
        return tracks;
    }
    std::chrono::nanoseconds loadDuration() const override { return duration_; }

  private:
    std::vector<MediaAssetTrackPtr> tracks_;
    std::chrono::nanoseconds duration_{0};
};

}  // namespace

std::unique_ptr<MediaAsset> LibavMediaAssets::openAsset(const std::string& path) {
    return std::make_unique<LibavMediaAsset>(path);
}

}  // namespace quorvane::platform::libav
