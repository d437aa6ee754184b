// Movies in the simulated file system as assets, and exports of them in virtual time.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/export_session.h"
#include "platform/media_asset.h"
#include "platform/random_source.h"
#include "simulation/fault_plan.h"
#include "simulation/sim_dispatch.h"
#include "simulation/sim_files.h"

namespace quorvane::simulation {

class SimMediaAssets final : public platform::MediaAssets {
  public:
    SimMediaAssets(SimFiles& files, FaultPlan& faults) : files_(files), faults_(faults) {}
    std::unique_ptr<platform::MediaAsset> openAsset(const std::string& path) override;

    std::chrono::nanoseconds duration = std::chrono::seconds(60);
    platform::AffineTransform transform;  // of every video track

  private:
    friend class SimMediaAsset;
    friend class SimAssetTrack;
    SimFiles& files_;
    FaultPlan& faults_;
};

class SimExportSession;

class SimExports final : public platform::ExportService {
  public:
    SimExports(SimDispatch& dispatch, SimFiles& files, FaultPlan& faults)
        : dispatch_(dispatch), files_(files), faults_(faults) {}
    std::shared_ptr<platform::Composition> makeComposition() override;
    std::vector<platform::ExportPreset> exportPresets(
        const platform::Composition& compatibleWith) override;
    std::shared_ptr<platform::ExportSession> makeExportSession(
        std::shared_ptr<const platform::Composition> composition,
        platform::ExportPreset preset) override;

    // How exports go.
    std::vector<platform::ExportPreset> presets = {platform::ExportPreset::mediumQuality,
                                                   platform::ExportPreset::highestQuality};
    std::vector<platform::FileType> fileTypes = {platform::FileType::quickTime,
                                                 platform::FileType::mpeg4};
    bool refusesSession = false;
    bool refusesVideoTracks = false;
    int audioTracksAllowed = 99;
    std::chrono::nanoseconds takes = std::chrono::seconds(1);
    platform::ExportStatus endsAs = platform::ExportStatus::completed;
    std::exception_ptr error;  // of an export that does not complete
    // The progress after that time; without it, time over duration.
    std::function<float(std::chrono::nanoseconds)> progress;

    // What was asked for.
    struct Track {
        platform::MediaType mediaType;
        int trackID;
        platform::TimeRange range;
        std::chrono::nanoseconds at;
        std::string source;  // "video 1 of /movie.mp4"
        platform::AffineTransform transform;
    };
    std::vector<Track> tracks;
    platform::AudioMix mix;
    std::optional<platform::ExportPreset> preset;
    std::string outputPath;
    std::optional<platform::FileType> fileType;
    bool optimized = false;
    int exports = 0;

  private:
    friend class SimComposition;
    friend class SimCompositionTrack;
    friend class SimExportSession;
    SimDispatch& dispatch_;
    SimFiles& files_;
    FaultPlan& faults_;
};

// 0, 1, 2, ...
class SimRandom final : public platform::RandomSource {
  public:
    void fill(std::span<std::byte> bytes) override {
        for (auto& each : bytes)
            each = static_cast<std::byte>(next++);
    }
    std::uint8_t next = 0;
};

}  // namespace quorvane::simulation
