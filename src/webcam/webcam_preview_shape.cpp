#include "webcam/webcam_preview_shape.h"

#include <algorithm>

namespace quorvane::webcam {
namespace {

constexpr const char* circleName = "circle";
constexpr const char* roundedPortraitName = "rounded-portrait-3x4";

}  // namespace

WebcamPreviewShape WebcamPreviewShape::resolved(const std::optional<std::string>& text) {
    return text == roundedPortraitName ? Case::roundedPortrait3x4 : Case::circle;
}

const char* WebcamPreviewShape::rawValue() const {
    return case_ == Case::circle ? circleName : roundedPortraitName;
}

double WebcamPreviewShape::cornerRadius(double width, double height) const {
    const double side = std::min(width, height);
    if (case_ == Case::circle) return side * 0.5;
    return std::min(std::max(side * 0.14, 18.0), 32.0);
}

}  // namespace quorvane::webcam
