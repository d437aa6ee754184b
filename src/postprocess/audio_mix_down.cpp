#include "postprocess/audio_mix_down.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cli/recorder_error.h"
#include "postprocess/export_session.h"
#include "postprocess/recorder_export_progress.h"
#include "postprocess/scratch_files.h"
#include "postprocess/uuid.h"
#include "support/path.h"

namespace quorvane::postprocess {
namespace {

using platform::ExportPreset;
using platform::FileType;
using platform::MediaType;
using namespace std::chrono_literals;

// The name with the most bytes that the file systems in use can hold.
constexpr std::size_t longestName = 255;

// A hidden file beside the recording: in the same folder, so that it can take its place at once.
std::string scratchPath(const std::string& path, platform::RandomSource& random) {
    const auto tail = "-mixed-" + makeUuid(random) + ".mp4";
    auto stem = support::deletingPathExtension(support::lastPathComponent(path));
    // A name that would grow too long is cut, between two characters.
    auto length = std::min(stem.size(), longestName - 1 - tail.size());
    while (length < stem.size() && length > 0 && (stem[length] & '\xC0') == '\x80')
        --length;
    stem.resize(length);
    return support::deletingLastPathComponent(path) + "/." + stem + tail;
}

// Whatever way the export goes, nothing stays beside the recording.
class ScratchFile {
  public:
    ScratchFile(std::string recording, std::string path, platform::FileManager& files)
        : recording_(std::move(recording)), path_(std::move(path)), files_(files) {
        removeIfPossible(path_, files_);
    }
    ~ScratchFile() {
        removeIfPossible(path_, files_);
        removeReplaceItemScratchFiles({recording_, path_}, files_);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const std::string& path() const { return path_; }

  private:
    const std::string recording_;
    const std::string path_;
    platform::FileManager& files_;
};

// Heartbeats while it lives.
class ProgressScope {
  public:
    explicit ProgressScope(std::shared_ptr<RecorderExportProgress> progress)
        : progress_(std::move(progress)) {}
    ~ProgressScope() { progress_->stop(); }
    ProgressScope(const ProgressScope&) = delete;
    ProgressScope& operator=(const ProgressScope&) = delete;

  private:
    const std::shared_ptr<RecorderExportProgress> progress_;
};

void addPicture(platform::Composition& composition, const platform::MediaAssetTrackPtr& source,
                const platform::TimeRange& range) {
    auto* track = composition.addTrack(MediaType::video);
    if (track == nullptr) return;
    track->insertTimeRange(range, source, 0ns);
    track->setPreferredTransform(source->loadPreferredTransform());
}

platform::AudioMix addSound(platform::Composition& composition,
                            const std::vector<platform::MediaAssetTrackPtr>& sources,
                            const platform::TimeRange& range) {
    platform::AudioMix mix;
    for (const auto& source : sources) {
        auto* track = composition.addTrack(MediaType::audio);
        if (track == nullptr) continue;
        track->insertTimeRange(range, source, 0ns);
        mix.inputParameters.push_back({.trackID = track->trackID(), .volume = 1, .at = 0ns});
    }
    return mix;
}

ExportPreset choosePreset(platform::ExportService& exports,
                          const platform::Composition& composition) {
    const auto presets = exports.exportPresets(composition);
    const bool offersHighest =
        std::find(presets.begin(), presets.end(), ExportPreset::highestQuality) != presets.end();
    return offersHighest ? ExportPreset::highestQuality : ExportPreset::mediumQuality;
}

void requireMpeg4(const platform::ExportSession& exporter) {
    const auto types = exporter.supportedFileTypes();
    if (std::find(types.begin(), types.end(), FileType::mpeg4) == types.end())
        throw cli::RecorderError::unavailable("Could not export the recording audio as MP4.");
}

}  // namespace

support::Async<> mixDownRecordingAudioTracksIfNeeded(std::string path, platform::Platform& platform,
                                                     control::RecorderEvents& events) {
    const auto asset = platform.mediaAssets.openAsset(path);
    const auto audioTracks = asset->loadTracks(MediaType::audio);
    if (audioTracks.size() < 2) co_return;
    const platform::TimeRange wholeMovie{.start = 0ns, .duration = asset->loadDuration()};
    const auto videoTracks = asset->loadTracks(MediaType::video);

    const auto composition = platform.exports.makeComposition();
    if (!videoTracks.empty()) addPicture(*composition, videoTracks.front(), wholeMovie);
    auto mix = addSound(*composition, audioTracks, wholeMovie);
    if (mix.inputParameters.empty()) co_return;

    const auto exporter = platform.exports.makeExportSession(
        composition, choosePreset(platform.exports, *composition));
    if (!exporter)
        throw cli::RecorderError::unavailable("Could not prepare the recording audio for preview.");

    const ScratchFile scratch(path, scratchPath(path, platform.random), platform.files);
    exporter->setOutputPath(scratch.path());
    requireMpeg4(*exporter);
    exporter->setOutputFileType(FileType::mpeg4);
    exporter->setAudioMix(std::move(mix));
    exporter->setShouldOptimizeForNetworkUse(true);
    const ProgressScope heartbeats(
        RecorderExportProgress::start(exporter, platform.dispatch, events));
    co_await exportSession(exporter, platform.dispatch);
    platform.files.replaceItem(path, scratch.path());
}

}  // namespace quorvane::postprocess
