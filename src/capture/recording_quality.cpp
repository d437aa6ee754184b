#include "capture/recording_quality.h"

#include <algorithm>
#include <cmath>

namespace quorvane::capture {
namespace {

constexpr std::int64_t leastDimension = 8;  // pixels

struct BitRateRule {
    double bitsPerPixelPerFrame;
    double floor;    // bit/s
    double ceiling;  // bit/s
};

BitRateRule bitRateRule(std::string_view quality) {
    if (quality == "highest") return {0.14, 6'000'000, 90'000'000};
    if (quality == "high") return {0.105, 6'000'000, 45'000'000};
    if (quality == "balanced") return {0.075, 6'000'000, 45'000'000};
    if (quality == "compact") return {0.055, 2'000'000, 45'000'000};
    return {0.14, 6'000'000, 45'000'000};
}

}  // namespace

std::optional<int> maxOutputDimension(std::string_view quality) {
    if (quality == "balanced") return 1920;
    if (quality == "compact") return 1280;
    return std::nullopt;
}

std::int32_t frameRate(std::string_view quality) {
    if (quality == "compact") return 24;
    if (quality == "high" || quality == "balanced") return 30;
    return 60;
}

platform::CaptureResolution captureResolution(std::string_view quality) {
    return quality == "highest" || quality == "high" ? platform::CaptureResolution::best
                                                     : platform::CaptureResolution::automatic;
}

std::int64_t evenDimension(std::int64_t value) {
    return std::max(leastDimension, value - value % 2);
}

OutputSize outputDimensions(std::int64_t width, std::int64_t height,
                            std::optional<int> maxDimension) {
    width = std::max(leastDimension, width);
    height = std::max(leastDimension, height);
    double scale = 1;
    if (maxDimension) {
        const auto longest = static_cast<double>(std::max(width, height));
        scale = std::min(scale, *maxDimension / longest);
    }
    const auto exactWidth = static_cast<double>(width);
    const auto exactHeight = static_cast<double>(height);
    if (width > webRecordingMaxWidth) scale = std::min(scale, webRecordingMaxWidth / exactWidth);
    if (height > webRecordingMaxHeight)
        scale = std::min(scale, webRecordingMaxHeight / exactHeight);
    return {evenDimension(static_cast<std::int64_t>(std::floor(scale * exactWidth))),
            evenDimension(static_cast<std::int64_t>(std::floor(scale * exactHeight)))};
}

std::int64_t RecordingQuality::bitRate(std::int64_t width, std::int64_t height,
                                       std::int64_t frameRate, std::string_view quality) {
    const auto rule = bitRateRule(quality);
    const double raw = rule.bitsPerPixelPerFrame *
                       static_cast<double>(std::max(leastDimension, width)) *
                       static_cast<double>(std::max(leastDimension, height)) *
                       static_cast<double>(std::max<std::int64_t>(1, frameRate));
    return std::llround(std::clamp(raw, rule.floor, rule.ceiling));
}

std::int64_t videoBitRate(std::int64_t width, std::int64_t height, std::int32_t frameRate,
                          std::string_view quality) {
    return RecordingQuality::bitRate(width, height, frameRate, quality);
}

}  // namespace quorvane::capture
