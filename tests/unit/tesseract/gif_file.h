// GIF files byte by byte: a canvas of 6 by 4 pixels, two colours, images of colour 1 alone.
#pragma once

#include <cstdint>
#include <vector>

namespace quorvane::platform::tesseract {

class GifFile {
  public:
    GifFile() {
        add({'G', 'I', 'F', '8', '9', 'a'});
        add({6, 0, 4, 0, 0x80, 0, 0});
        add({10, 20, 30, 40, 50, 60});
    }
    // For the next image.
    void transparent(std::uint8_t index) { add({0x21, 0xF9, 4, 1, 0, 0, index, 0}); }
    void image(std::uint8_t left, std::uint8_t top, std::uint8_t width, std::uint8_t height) {
        add({0x2C, left, 0, top, 0, width, 0, height, 0, 0});
        add({2});
        // Codes of three bits: clear, 1, clear, 1 ... end. So the codes never grow wider.
        std::vector<std::uint8_t> codes;
        for (int pixel = 0; pixel < width * height; ++pixel) {
            codes.push_back(4);
            codes.push_back(1);
        }
        codes.push_back(5);
        std::vector<std::uint8_t> packed;
        int bits = 0;
        int count = 0;
        for (const int code : codes) {
            bits |= code << count;
            for (count += 3; count >= 8; count -= 8, bits >>= 8)
                packed.push_back(static_cast<std::uint8_t>(bits));
        }
        if (count > 0) packed.push_back(static_cast<std::uint8_t>(bits));
        add({static_cast<std::uint8_t>(packed.size())});
        add(packed);
        add({0});
    }
    std::vector<std::uint8_t> bytes() const {
        auto whole = bytes_;
        whole.push_back(0x3B);
        return whole;
    }

  private:
    void add(const std::vector<std::uint8_t>& bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    std::vector<std::uint8_t> bytes_;
};

}  // namespace quorvane::platform::tesseract
