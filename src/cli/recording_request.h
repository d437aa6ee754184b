// What the record sub-command is asked to do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "support/geometry.h"

namespace quorvane::cli {

enum class RecordingSourceKind { screen, window, app };

struct RecordingRequest {
    std::string outputPath;  // of the movie; not empty
    RecordingSourceKind sourceKind = RecordingSourceKind::screen;
    support::Rect region;  // points, global; at least 8 by 8 for the screen kind, else unchecked
    std::optional<std::uint32_t> windowId;
    std::optional<std::int32_t> applicationProcessId;
    bool systemAudioEnabled = false;
    bool microphoneEnabled = false;
    std::string microphoneDeviceId = "default";
    std::string videoQuality = "highest";  // "highest", "high", "balanced" or "compact"
    std::optional<std::string> healthPath;
    std::optional<std::string> rawOutputPath;
    std::vector<std::uint32_t> excludedWindowIDs;  // as given, duplicates too
};

// Threads: pure, any. Errors: the first problem found, as RecorderError.
RecordingRequest parseRecordingRequest(const Arguments& arguments);

}  // namespace quorvane::cli
