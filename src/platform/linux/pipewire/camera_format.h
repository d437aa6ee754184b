// The forms in which a camera offers its pictures, and the choice among them.
// Threads: pure, any. Errors: none; what cannot be read is not offered.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/camera_session.h"
#include "support/video_picture.h"

struct spa_pod;

namespace quorvane::platform::pipewire {

struct FrameRate {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 1;

    double perSecond() const {
        return denominator == 0 ? 0 : static_cast<double>(numerator) / denominator;
    }
    bool operator==(const FrameRate&) const = default;
};

struct CameraFormat {
    support::VideoFormat format = support::VideoFormat::i420;
    CameraPreviewLayer::Size size;
    FrameRate rate;
    bool operator==(const CameraFormat&) const = default;
};

// Which of PipeWire's video formats it is; nothing for JPEG.
std::optional<std::uint32_t> spaFormatOf(support::VideoFormat format);
std::optional<support::VideoFormat> formatOfSpa(std::uint32_t format);

// What one of a node's EnumFormat parameters offers. From a range of sizes the one that is wanted,
// or the nearest to it, from a range of rates the nearest to 30 pictures a second.
std::vector<CameraFormat> offeredFormats(const spa_pod& parameter, CameraPreviewLayer::Size wanted);

// At least 24 pictures a second first; then a size that covers the wanted one, the smallest of
// them, else the largest; then a rate near 30; then a format that costs little. Nothing from
// nothing.
std::optional<CameraFormat> bestFormat(const std::vector<CameraFormat>& offered,
                                       CameraPreviewLayer::Size wanted);

}  // namespace quorvane::platform::pipewire
