// The two shapes of the bubble.
// Units: points. Threads: pure, any. Errors: none; an unknown name is a circle.
#pragma once

#include <optional>
#include <string>

namespace quorvane::webcam {

class WebcamPreviewShape {
  public:
    enum class Case { circle, roundedPortrait3x4 };

    constexpr WebcamPreviewShape(Case which) : case_(which) {}  // NOLINT: a case is a shape

    // Exactly "rounded-portrait-3x4" is that shape; everything else, nothing included, a circle.
    static WebcamPreviewShape resolved(const std::optional<std::string>& text);

    const char* rawValue() const;
    // For a bubble of this size. The lower bound of the card's radius holds for bubbles smaller
    // than twice that, too: they look like pills.
    double cornerRadius(double width, double height) const;
    bool operator==(const WebcamPreviewShape&) const = default;

  private:
    Case case_;
};

}  // namespace quorvane::webcam
