#include "cli/recording_request.h"

#include <string_view>

#include "cli/recorder_error.h"

namespace quorvane::cli {
namespace {

constexpr double leastRegionSide = 8;  // points

// Lenient on purpose: an unknown kind records the screen.
RecordingSourceKind parseSourceKind(const std::optional<std::string>& text) {
    if (text == "window") return RecordingSourceKind::window;
    if (text == "app") return RecordingSourceKind::app;
    return RecordingSourceKind::screen;
}

void checkKind(const RecordingRequest& request) {
    switch (request.sourceKind) {
        case RecordingSourceKind::screen:
            if (request.region.width < leastRegionSide || request.region.height < leastRegionSide)
                throw RecorderError::invalidArgument("region");
            break;
        case RecordingSourceKind::window:
            if (!request.windowId) throw RecorderError::missingArgument("--window-id");
            break;
        case RecordingSourceKind::app:
            if (!request.applicationProcessId) throw RecorderError::missingArgument("--app-pid");
            break;
    }
}

// Pieces that are no identifiers are skipped, so that one stale entry costs nobody a recording.
std::vector<std::uint32_t> parseWindowIDs(std::string_view list) {
    std::vector<std::uint32_t> identifiers;
    while (!list.empty()) {
        const auto piece = list.substr(0, list.find(','));
        if (const auto identifier = parseUInt32(piece)) identifiers.push_back(*identifier);
        list.remove_prefix(std::min(piece.size() + 1, list.size()));
    }
    return identifiers;
}

}  // namespace

RecordingRequest parseRecordingRequest(const Arguments& arguments) {
    RecordingRequest request;
    request.outputPath = argumentValue("--output", arguments).value_or("");
    if (request.outputPath.empty()) throw RecorderError::missingArgument("--output");
    request.sourceKind = parseSourceKind(argumentValue("--source-kind", arguments));
    request.region.x = optionalDoubleArgument("--x", arguments).value_or(0);
    request.region.y = optionalDoubleArgument("--y", arguments).value_or(0);
    request.region.width = optionalDoubleArgument("--width", arguments).value_or(0);
    request.region.height = optionalDoubleArgument("--height", arguments).value_or(0);
    request.windowId = optionalUInt32Argument("--window-id", arguments);
    request.applicationProcessId = optionalPidArgument("--app-pid", arguments);
    checkKind(request);
    request.systemAudioEnabled = boolArgument("--system-audio", arguments);
    request.microphoneEnabled = boolArgument("--microphone", arguments);
    request.microphoneDeviceId = argumentValue("--microphone-id", arguments).value_or("default");
    request.videoQuality = normalizedVideoQuality(argumentValue("--video-quality", arguments));
    request.healthPath = argumentValue("--health-path", arguments);
    request.rawOutputPath = argumentValue("--raw-output", arguments);
    request.excludedWindowIDs =
        parseWindowIDs(argumentValue("--exclude-window-ids", arguments).value_or(""));
    return request;
}

}  // namespace quorvane::cli
