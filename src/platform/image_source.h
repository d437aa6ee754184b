// The port to image files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvane::platform {

// A picture without transparency.
struct Image {
    int width = 0;   // pixels, at least 1
    int height = 0;  // pixels, at least 1
    // Red, green and blue of each pixel; rows from the top, without anything between them.
    std::vector<std::uint8_t> pixels;
};

class ImageSource {
  public:
    virtual ~ImageSource() = default;
    // The first image of the file, as it is stored; nothing when the file is missing, unreadable or
    // no image.
    virtual std::optional<Image> firstImage(const std::string& path) = 0;
};

}  // namespace quorvane::platform
