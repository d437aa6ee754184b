#include "test_pictures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "host_clock.h"
#include "number_code.h"

namespace quorvane::tools {

namespace {

constexpr std::uint32_t white = 0xFFFFFF;
constexpr std::uint32_t black = 0x000000;

// Calls draw(number) at that rate, each at its own time, and logs it.
template <typename Draw>
[[noreturn]] void drawAtRate(TestWindow& window, DrawLog& log, double rate, Draw draw) {
    const double interval = static_cast<double>(nanosecondsPerSecond) / rate;
    const std::int64_t begin = hostTime();
    for (std::uint32_t number = 0;; ++number) {
        sleepUntil(begin + std::llround(interval * number));
        const std::int64_t before = hostTime();
        draw(number);
        window.sync();
        log.add(number, before, hostTime());
    }
}

// Something that looks like a word's letter: a few dark strokes.
void drawLetter(TestWindow& window, std::mt19937& random, int x, int y) {
    for (int stroke = 0; stroke < 3; ++stroke) {
        const int offset = static_cast<int>(random() % 8);
        if (random() % 2 == 0) {
            window.fill(0x202020, x + offset, y, 2, 14);
        } else {
            window.fill(0x202020, x, y + 2 + offset, 9, 2);
        }
    }
}

void drawTextLine(TestWindow& window, std::mt19937& random, int y) {
    const int letters = static_cast<int>(random() % static_cast<unsigned>(window.width() / 12));
    for (int letter = 0; letter < letters; ++letter) {
        if (random() % 6 != 0) drawLetter(window, random, 8 + letter * 12, y);
    }
}

// A large picture with smooth shades, hard edges and a little grain, like filmed material.
std::vector<std::uint32_t> filmTexture(int width, int height) {
    std::mt19937 random(1);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * height);
    std::vector<double> waveX(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x)
        waveX[static_cast<std::size_t>(x)] = std::sin(x / 37.0);
    for (int y = 0; y < height; ++y) {
        const double waveY = std::cos(y / 53.0);
        for (int x = 0; x < width; ++x) {
            const double shade = 128 + 60 * waveX[static_cast<std::size_t>(x)] * waveY;
            const auto grain = static_cast<int>(random() & 7U);
            const auto level = [&](double gain) {
                return static_cast<std::uint32_t>(std::clamp(int(shade * gain) + grain, 0, 255));
            };
            pixels[static_cast<std::size_t>(y) * width + x] =
                level(1.0) << 16 | level(0.8) << 8 | level(1.15);
        }
    }
    for (int shape = 0; shape < width * height / 1700; ++shape) {
        const auto colour = static_cast<std::uint32_t>(random() & 0xFFFFFFU);
        const int left = static_cast<int>(random() % static_cast<unsigned>(width - 64));
        const int top = static_cast<int>(random() % static_cast<unsigned>(height - 64));
        const int shapeWidth = 8 + static_cast<int>(random() % 56);
        const int shapeHeight = 8 + static_cast<int>(random() % 56);
        for (int y = top; y < top + shapeHeight; ++y) {
            const auto row = pixels.begin() + static_cast<std::ptrdiff_t>(y) * width + left;
            std::fill(row, row + shapeWidth, colour);
        }
    }
    return pixels;
}

// There and back again between 0 and the range.
int bounce(std::int64_t distance, int range) {
    const auto phase = static_cast<int>(distance % (std::int64_t{2} * range));
    return phase < range ? phase : 2 * range - phase;
}

// Twelve tiles of the window, each a cut of one texture that glides there and back.
class MotionTiles {
  public:
    explicit MotionTiles(TestWindow& window)
        : tileWidth_((window.width() + columns - 1) / columns),
          tileHeight_((window.height() + rows - 1) / rows) {
        window.setTexture(filmTexture(textureWidth(), textureHeight()), textureWidth(),
                          textureHeight());
    }

    void show(TestWindow& window, std::uint32_t number) const {
        std::array<TextureCut, std::size_t{columns} * rows> cuts{};
        const std::int64_t time = number;
        for (int tile = 0; tile < columns * rows; ++tile) {
            auto& cut = cuts.at(static_cast<std::size_t>(tile));
            cut.sourceX = bounce(time * (3 + tile % 5) + tile * 67L, textureWidth() - tileWidth_);
            cut.sourceY = bounce(time * (7 - tile % 6) + tile * 41L, textureHeight() - tileHeight_);
            cut.x = tile % columns * tileWidth_;
            cut.y = tile / columns * tileHeight_;
            cut.width = std::min(tileWidth_, window.width() - cut.x);
            cut.height = std::min(tileHeight_, window.height() - cut.y);
        }
        window.showCuts(cuts, number, numberCell);
    }

  private:
    static constexpr int columns = 4;
    static constexpr int rows = 3;
    int textureWidth() const { return tileWidth_ * 3; }
    int textureHeight() const { return tileHeight_ * 3; }

    int tileWidth_;
    int tileHeight_;
};

}  // namespace

void drawPattern(TestWindow& window) {
    constexpr std::array<std::uint32_t, 16> colours{
        0xFFFFFF, 0x000000, 0xFF0000, 0x00FF00, 0x0000FF, 0xFFFF00, 0x00FFFF, 0xFF00FF,
        0x808080, 0x404040, 0xC0C0C0, 0x803010, 0x104080, 0xE0A070, 0x205020, 0x101010};
    window.fill(white, 0, 0, window.width(), window.height());
    for (int index = 0; index < static_cast<int>(colours.size()); ++index) {
        window.fill(colours.at(static_cast<std::size_t>(index)), 32 + index % 8 * 72,
                    32 + index / 8 * 72, 64, 64);
    }
    // The distances grow, so a picture that is shifted by any amount cannot match itself.
    for (int line = 0, x = 32; x < window.width() - 8; ++line, x += 5 + line) {
        window.fill(black, x, 200, 1, 100);
    }
    for (int line = 0, y = 320; y < window.height() - 8; ++line, y += 5 + line) {
        window.fill(black, 32, y, 300, 1);
    }
    window.showAll();
}

void runCounter(TestWindow& window, DrawLog& log, double rate) {
    window.fill(0x304050, 0, 0, window.width(), window.height());
    window.showAll();
    drawAtRate(window, log, rate, [&](std::uint32_t number) {
        window.drawNumber(number, 0, 0, numberCell);
        window.show(0, 0, numberCodeCells * numberCell, numberCell);
    });
}

void runTyping(TestWindow& window, DrawLog& log) {
    std::mt19937 random(1);
    window.fill(white, 0, 0, window.width(), window.height());
    for (int y = 40; y < window.height() - 20; y += 22)
        drawTextLine(window, random, y);
    window.fill(white, 0, 400, window.width(), 44);
    window.showAll();
    drawAtRate(window, log, 10, [&](std::uint32_t number) {
        const int column = static_cast<int>(number) % (window.width() / 12 - 2);
        const int x = 8 + column * 12;
        if (column == 0) window.fill(white, 0, 400, window.width(), 22);
        drawLetter(window, random, x, 402);
        window.drawNumber(number, 0, 0, numberCell);
        window.show(column == 0 ? 0 : x, 400, column == 0 ? window.width() : 12, 22);
        window.show(0, 0, numberCodeCells * numberCell, numberCell);
    });
}

void runScrolling(TestWindow& window, DrawLog& log) {
    constexpr int lineHeight = 24;
    constexpr int step = 6;
    constexpr int top = 32;
    std::mt19937 random(1);
    window.fill(white, 0, 0, window.width(), window.height());
    for (int y = top; y < window.height(); y += lineHeight)
        drawTextLine(window, random, y);
    window.showAll();
    const int bottom = window.height();
    drawAtRate(window, log, 60, [&](std::uint32_t number) {
        window.scrollUp(step, 0, top, window.width(), bottom - top);
        window.fill(white, 0, bottom - step, window.width(), step);
        if (number * step % lineHeight == 0) {
            window.fill(white, 0, bottom - lineHeight, window.width(), lineHeight);
            drawTextLine(window, random, bottom - lineHeight + 2);
        }
        window.drawNumber(number, 0, 0, numberCell);
        window.showAll();
    });
}

void runMotion(TestWindow& window, DrawLog& log) {
    const MotionTiles tiles(window);
    drawAtRate(window, log, 60, [&](std::uint32_t number) { tiles.show(window, number); });
}

void drawMotion(TestWindow& window, std::uint32_t number) {
    MotionTiles(window).show(window, number);
}

}  // namespace quorvane::tools
