#include "simulation/sim_export.h"

#include <algorithm>
#include <utility>

#include "platform/platform_error.h"

namespace quorvane::simulation {

using platform::ExportStatus;
using platform::MediaType;

class SimAssetTrack final : public platform::MediaAssetTrack {
  public:
    SimAssetTrack(SimMediaAssets& owner, MediaType type, std::string name)
        : owner_(owner), type_(type), name_(std::move(name)) {}
    MediaType mediaType() const override { return type_; }
    platform::AffineTransform loadPreferredTransform() const override {
        owner_.faults_.strike();
        return owner_.transform;
    }
    const std::string& name() const { return name_; }

  private:
    SimMediaAssets& owner_;
    const MediaType type_;
    const std::string name_;
};

class SimMediaAsset final : public platform::MediaAsset {
  public:
    SimMediaAsset(SimMediaAssets& owner, std::string path, const SimFile& file)
        : owner_(owner), path_(std::move(path)), file_(file) {}
    std::vector<platform::MediaAssetTrackPtr> loadTracks(MediaType mediaType) const override {
        owner_.faults_.strike();
        const bool isVideo = mediaType == MediaType::video;
        std::vector<platform::MediaAssetTrackPtr> tracks;
        for (int number = 1; number <= (isVideo ? file_.videoTracks : file_.audioTracks); ++number)
            tracks.push_back(std::make_shared<SimAssetTrack>(
                owner_, mediaType,
                (isVideo ? "video " : "audio ") + std::to_string(number) + " of " + path_));
        return tracks;
    }
    std::chrono::nanoseconds loadDuration() const override {
        owner_.faults_.strike();
        return owner_.duration;
    }

  private:
    SimMediaAssets& owner_;
    const std::string path_;
    const SimFile file_;
};

std::unique_ptr<platform::MediaAsset> SimMediaAssets::openAsset(const std::string& path) {
    faults_.strike();
    const auto found = files_.files.find(path);
    if (found == files_.files.end()) throw platform::posixError(ENOENT, "Could not open " + path);
    return std::make_unique<SimMediaAsset>(*this, path, found->second);
}

class SimCompositionTrack final : public platform::CompositionTrack {
  public:
    SimCompositionTrack(SimExports& owner, std::size_t index) : owner_(owner), index_(index) {}
    int trackID() const override { return record().trackID; }
    void insertTimeRange(const platform::TimeRange& range,
                         const platform::MediaAssetTrackPtr& source,
                         std::chrono::nanoseconds at) override {
        owner_.faults_.strike();
        record().range = range;
        record().at = at;
        record().source = dynamic_cast<const SimAssetTrack&>(*source).name();
    }
    void setPreferredTransform(const platform::AffineTransform& transform) override {
        record().transform = transform;
    }

  private:
    SimExports::Track& record() const { return owner_.tracks[index_]; }

    SimExports& owner_;
    const std::size_t index_;
};

class SimComposition final : public platform::Composition {
  public:
    explicit SimComposition(SimExports& owner) : owner_(owner) {}
    platform::CompositionTrack* addTrack(MediaType mediaType) override {
        const auto existing =
            std::count_if(owner_.tracks.begin(), owner_.tracks.end(),
                          [&](const auto& track) { return track.mediaType == mediaType; });
        const bool refused = mediaType == MediaType::video ? owner_.refusesVideoTracks
                                                           : existing >= owner_.audioTracksAllowed;
        if (refused || owner_.faults_.strikes()) return nullptr;
        owner_.tracks.push_back(
            {mediaType, static_cast<int>(owner_.tracks.size()) + 101, {}, {}, "", {}});
        return tracks_
            .emplace_back(std::make_unique<SimCompositionTrack>(owner_, owner_.tracks.size() - 1))
            .get();
    }

  private:
    SimExports& owner_;
    std::vector<std::unique_ptr<SimCompositionTrack>> tracks_;
};

class SimExportSession final : public platform::ExportSession {
  public:
    explicit SimExportSession(SimExports& owner) : owner_(owner) {}

    std::vector<platform::FileType> supportedFileTypes() const override { return owner_.fileTypes; }
    void setOutputPath(const std::string& path) override { owner_.outputPath = path; }
    void setOutputFileType(platform::FileType type) override { owner_.fileType = type; }
    void setAudioMix(platform::AudioMix mix) override { owner_.mix = std::move(mix); }
    void setShouldOptimizeForNetworkUse(bool optimize) override { owner_.optimized = optimize; }
    void exportAsynchronously(std::function<void()> completion) override {
        ++owner_.exports;
        begin_ = owner_.dispatch_.elapsed();
        status_ = ExportStatus::exporting;
        owner_.files_.files[owner_.outputPath] = {"part", 0, 0};
        const bool fault = owner_.faults_.strikes();
        owner_.dispatch_.schedule(owner_.dispatch_.globalQueue(), owner_.takes,
                                  [this, fault, completion = std::move(completion)] {
                                      end(fault);
                                      completion();
                                  });
    }
    ExportStatus status() const override { return status_; }
    float progress() const override {
        const auto elapsed =
            begin_ ? owner_.dispatch_.elapsed() - *begin_ : std::chrono::nanoseconds(0);
        if (owner_.progress) return owner_.progress(elapsed);
        using Seconds = std::chrono::duration<float>;
        return std::min(Seconds(elapsed) / Seconds(owner_.takes), 1.0F);
    }
    std::exception_ptr error() const override { return error_; }

  private:
    void end(bool fault) {
        status_ = fault ? ExportStatus::failed : owner_.endsAs;
        error_ = fault ? FaultPlan::error() : owner_.error;
        if (status_ == ExportStatus::completed)
            owner_.files_.files[owner_.outputPath] = {"mixed", 1, 1};
    }

    SimExports& owner_;
    std::optional<std::chrono::nanoseconds> begin_;
    ExportStatus status_ = ExportStatus::unknown;
    std::exception_ptr error_;
};

std::shared_ptr<platform::Composition> SimExports::makeComposition() {
    return std::make_shared<SimComposition>(*this);
}

std::vector<platform::ExportPreset> SimExports::exportPresets(
    const platform::Composition& /*compatibleWith*/) {
    return presets;
}

std::shared_ptr<platform::ExportSession> SimExports::makeExportSession(
    std::shared_ptr<const platform::Composition> /*composition*/,
    platform::ExportPreset chosenPreset) {
    preset = chosenPreset;
    if (refusesSession || faults_.strikes()) return nullptr;
    return std::make_shared<SimExportSession>(*this);
}

}  // namespace quorvane::simulation
