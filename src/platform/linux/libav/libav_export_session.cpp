#include "platform/linux/libav/libav_export_session.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <thread>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "platform/linux/libav/libav_error.h"
#include "platform/linux/libav/libav_media_asset.h"
#include "platform/linux/libav/mix_export.h"
#include "support/background_thread.h"
#include "support/mutex.h"

namespace quorvane::platform::libav {
namespace {

using support::MutexLock;

class LibavCompositionTrack final : public CompositionTrack {
  public:
    LibavCompositionTrack(int trackID, MediaType mediaType)
        : trackID_(trackID), mediaType_(mediaType) {}

    int trackID() const override { return trackID_; }
    void insertTimeRange(const TimeRange& range, const MediaAssetTrackPtr& source,
                         std::chrono::nanoseconds at) override {
        auto track = std::dynamic_pointer_cast<const LibavAssetTrack>(source);
        const bool isWhole = range.start.count() == 0 && at.count() == 0;
        if (!track || track->mediaType() != mediaType_ || !isWhole || source_)
            throw libavError(AVERROR(EINVAL), "add the track to the export");
        source_ = std::move(track);
        duration_ = range.duration;
    }
    void setPreferredTransform(const AffineTransform& transform) override {
        transform_ = transform;
    }

    MediaType mediaType() const { return mediaType_; }
    // Null while nothing has been inserted.
    const LibavAssetTrack* source() const { return source_.get(); }
    std::chrono::nanoseconds duration() const { return duration_; }
    const AffineTransform& transform() const { return transform_; }

  private:
    const int trackID_;
    const MediaType mediaType_;
    std::shared_ptr<const LibavAssetTrack> source_;
    std::chrono::nanoseconds duration_{0};
    AffineTransform transform_;
};

class LibavComposition final : public Composition {
  public:
    CompositionTrack* addTrack(MediaType mediaType) override {
        const auto trackID = static_cast<int>(tracks_.size()) + 1;
        return tracks_.emplace_back(std::make_unique<LibavCompositionTrack>(trackID, mediaType))
            .get();
    }
    // The tracks that something was inserted into.
    std::vector<const LibavCompositionTrack*> tracks(MediaType mediaType) const {
        std::vector<const LibavCompositionTrack*> result;
        for (const auto& track : tracks_) {
            if (track->mediaType() == mediaType && track->source() != nullptr)
                result.push_back(track.get());
        }
        return result;
    }

  private:
    std::vector<std::unique_ptr<LibavCompositionTrack>> tracks_;
};

float volumeOf(const LibavCompositionTrack& track, const AudioMix& mix) {
    float volume = 1;
    for (const auto& parameters : mix.inputParameters) {
        if (parameters.trackID == track.trackID()) volume = parameters.volume;
    }
    return volume;
}

class LibavExportSession final : public ExportSession {
  public:
    explicit LibavExportSession(std::shared_ptr<const LibavComposition> composition)
        : composition_(std::move(composition)) {}
    ~LibavExportSession() override {
        if (const auto running = current()) running->cancel();
        if (thread_.joinable()) thread_.join();
    }
    LibavExportSession(const LibavExportSession&) = delete;
    LibavExportSession& operator=(const LibavExportSession&) = delete;

    std::vector<FileType> supportedFileTypes() const override {
        const auto pictures = composition_->tracks(MediaType::video);
        if (!pictures.empty()) {
            const auto codec = static_cast<AVCodecID>(pictures.front()->source()->codec());
            const auto* format = av_guess_format("mp4", nullptr, nullptr);
            if (format == nullptr || avformat_query_codec(format, codec, FF_COMPLIANCE_NORMAL) != 1)
                return {};
        }
        return {FileType::mpeg4};
    }
    void setOutputPath(const std::string& path) override { outputPath_ = path; }
    void setOutputFileType(FileType type) override { fileType_ = type; }
    void setAudioMix(AudioMix mix) override { mix_ = std::move(mix); }
    void setShouldOptimizeForNetworkUse(bool /*optimize*/) override {
        // The index always stands in front: leaving room for it costs nothing.
    }
    void exportAsynchronously(std::function<void()> completion) override;
    ExportStatus status() const override {
        MutexLock lock(mutex_);
        return status_;
    }
    float progress() const override {
        const auto running = current();
        return running ? running->progress() : 0;
    }
    std::exception_ptr error() const override {
        MutexLock lock(mutex_);
        return error_;
    }

  private:
    MixPlan plan() const;
    // Null before the export begins. It is watched from then on, or before.
    std::shared_ptr<MixExport> current() const {
        MutexLock lock(mutex_);
        return export_;
    }
    void end(ExportStatus status, std::exception_ptr error) {
        MutexLock lock(mutex_);
        status_ = status;
        error_ = std::move(error);
    }

    const std::shared_ptr<const LibavComposition> composition_;
    std::string outputPath_;
    std::optional<FileType> fileType_;
    AudioMix mix_;

    mutable support::Mutex mutex_;
    std::shared_ptr<MixExport> export_ QUORVANE_GUARDED_BY(mutex_);
    ExportStatus status_ QUORVANE_GUARDED_BY(mutex_) = ExportStatus::unknown;
    std::exception_ptr error_ QUORVANE_GUARDED_BY(mutex_);

    std::thread thread_;
};

MixPlan LibavExportSession::plan() const {
    const auto sounds = composition_->tracks(MediaType::audio);
    const auto pictures = composition_->tracks(MediaType::video);
    MixPlan plan;
    plan.input = sounds.front()->source()->path();
    for (const auto* sound : sounds) {
        plan.sounds.push_back({sound->source()->streamIndex(), volumeOf(*sound, mix_)});
        plan.length = std::max(plan.length, sound->duration());
    }
    if (!pictures.empty()) {
        plan.pictureStream = pictures.front()->source()->streamIndex();
        plan.transform = pictures.front()->transform();
    }
    return plan;
}

void LibavExportSession::exportAsynchronously(std::function<void()> completion) {
    const auto running = std::make_shared<MixExport>(plan());
    {
        MutexLock lock(mutex_);
        status_ = ExportStatus::exporting;
        export_ = running;
    }
    thread_ = support::startBackgroundThread(
        "export", [this, running, completion = std::move(completion)] {
            try {
                if (fileType_ != FileType::mpeg4)
                    throw libavError(AVERROR(EINVAL), "export this type of file");
                running->run(outputPath_);
                end(running->isCancelled() ? ExportStatus::cancelled : ExportStatus::completed,
                    nullptr);
            } catch (...) {
                end(ExportStatus::failed, std::current_exception());
            }
            completion();
        });
}

}  // namespace

std::shared_ptr<Composition> LibavExportService::makeComposition() {
    return std::make_shared<LibavComposition>();
}

std::vector<ExportPreset> LibavExportService::exportPresets(const Composition& /*compatible*/) {
    return {ExportPreset::mediumQuality, ExportPreset::highestQuality};
}

std::shared_ptr<ExportSession> LibavExportService::makeExportSession(
    std::shared_ptr<const Composition> composition, ExportPreset /*preset*/) {
    auto own = std::dynamic_pointer_cast<const LibavComposition>(std::move(composition));
    if (!own) return nullptr;
    const auto sounds = own->tracks(MediaType::audio);
    auto tracks = own->tracks(MediaType::video);
    tracks.insert(tracks.end(), sounds.begin(), sounds.end());
    const bool isOneFile = std::all_of(tracks.begin(), tracks.end(), [&](const auto* track) {
        return track->source()->path() == tracks.front()->source()->path();
    });
    if (sounds.empty() || !isOneFile) return nullptr;
    return std::make_shared<LibavExportSession>(std::move(own));
}

}  // namespace quorvane::platform::libav
