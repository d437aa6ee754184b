// Every number that a quality name stands for: size, frame rate, capture resolution, bit rate.
// Names are exact; one that a rule does not know takes that rule's fallback.
// Threads: pure, any. Errors: none.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/capture_stream.h"

namespace quorvane::capture {

// The largest output, so that browsers play the movie.
inline constexpr int webRecordingMaxWidth = 4096;   // pixels
inline constexpr int webRecordingMaxHeight = 2304;  // pixels

struct OutputSize {
    std::int64_t width = 0;   // pixels
    std::int64_t height = 0;  // pixels
    bool operator==(const OutputSize&) const = default;
};

// The longest side in pixels: 1920 for "balanced", 1280 for "compact", else no limit.
std::optional<int> maxOutputDimension(std::string_view quality);
// Frames a second: 24 for "compact", 30 for "high" and "balanced", else 60.
std::int32_t frameRate(std::string_view quality);
platform::CaptureResolution captureResolution(std::string_view quality);

// Rounded towards zero to an even number, and at least 8.
std::int64_t evenDimension(std::int64_t value);
// The size scaled down by one factor so that it keeps within maxDimension and the web limits.
OutputSize outputDimensions(std::int64_t width, std::int64_t height,
                            std::optional<int> maxDimension);

// A caseless group of rules.
struct RecordingQuality {
    // Bits a second: a share of bits for each pixel of each frame, within the quality's bounds.
    static std::int64_t bitRate(std::int64_t width, std::int64_t height, std::int64_t frameRate,
                                std::string_view quality);
};

std::int64_t videoBitRate(std::int64_t width, std::int64_t height, std::int32_t frameRate,
                          std::string_view quality);

}  // namespace quorvane::capture
