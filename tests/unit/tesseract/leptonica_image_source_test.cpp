#include "platform/linux/tesseract/leptonica_image_source.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "unit/tesseract/gif_file.h"

namespace quorvane::platform::tesseract {
namespace {

// A file for one test.
class TestFile {
  public:
    explicit TestFile(const std::vector<std::uint8_t>& bytes) : TestFile() {
        std::ofstream file(path_, std::ios::binary);
        for (const auto byte : bytes)
            file.put(static_cast<char>(byte));
    }
    TestFile()
        : path_(std::filesystem::temp_directory_path() /
                ("image-" + std::to_string(getpid()) + "-" + std::to_string(++count_))) {}
    ~TestFile() { std::filesystem::remove(path_); }
    TestFile(const TestFile&) = delete;
    TestFile& operator=(const TestFile&) = delete;

    std::string path() const { return path_; }
    std::optional<Image> firstImage() const { return LeptonicaImageSource().firstImage(path_); }

  private:
    inline static int count_ = 0;
    std::filesystem::path path_;
};

// 24 bits a pixel, of one colour.
std::vector<std::uint8_t> bmp(std::uint32_t width, std::uint32_t height, std::uint32_t pixels) {
    std::vector<std::uint8_t> bytes{'B', 'M'};
    const auto add = [&](std::uint32_t number, int size) {
        for (; size > 0; --size, number >>= 8)
            bytes.push_back(static_cast<std::uint8_t>(number));
    };
    const auto rowSize = (3 * width + 3) / 4 * 4;
    add(54 + rowSize * pixels / width, 4);
    add(0, 4);
    add(54, 4);
    add(40, 4);
    add(width, 4);
    add(height, 4);
    add(1, 2);
    add(24, 2);
    add(0, 4);
    add(rowSize * pixels / width, 4);
    for (int left = 0; left < 4; ++left)
        add(0, 4);
    for (std::uint32_t row = 0; row < pixels / width; ++row) {
        for (std::uint32_t x = 0; x < width; ++x)
            add(0x102030, 3);
        for (auto x = 3 * width; x < rowSize; ++x)
            add(0, 1);
    }
    return bytes;
}

TEST(LeptonicaImageSource, GivesTheColoursOfEveryPixel) {
    const auto image = TestFile(bmp(5, 3, 15)).firstImage();
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->width, 5);
    EXPECT_EQ(image->height, 3);
    ASSERT_EQ(image->pixels.size(), 45U);
    for (std::size_t at = 0; at < image->pixels.size(); at += 3) {
        EXPECT_EQ(image->pixels[at], 0x10);
        EXPECT_EQ(image->pixels[at + 1], 0x20);
        EXPECT_EQ(image->pixels[at + 2], 0x30);
    }
}

TEST(LeptonicaImageSource, PutsAGifsFirstImageOnItsCanvas) {
    GifFile gif;
    gif.image(2, 1, 3, 2);
    gif.image(0, 0, 6, 4);
    const auto image = TestFile(gif.bytes()).firstImage();
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->width, 6);
    EXPECT_EQ(image->height, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) {
            SCOPED_TRACE(testing::Message() << x << ", " << y);
            const bool inside = x >= 2 && x < 5 && y >= 1 && y < 3;
            EXPECT_EQ(image->pixels[static_cast<std::size_t>(3 * (6 * y + x))], inside ? 40 : 255);
        }
    }
}

TEST(LeptonicaImageSource, GivesNothingOfWhatIsNoImage) {
    struct Row {
        const char* name;
        std::vector<std::uint8_t> bytes;
    };
    const Row rows[] = {
        {"nothing", {}},
        {"text", {'T', 'h', 'i', 's', ' ', 'i', 's', ' ', 'n', 'o', ' ', 'p', 'i',
                  'c', 't', 'u', 'r', 'e', ' ', 'a', 't', ' ', 'a', 'l', 'l'}},
        {"a portable grey map, none of the formats",
         {'P', '5', '\n', '4', ' ', '4', '\n', '2', '5', '5', '\n', 1,  2, 3,
          4,   5,   6,    7,   8,   9,   10,   11,  12,  13,  14,   15, 16}},
        {"a size that is beyond all reason", bmp(60000, 60000, 60000)},
        {"a size that is just too large", bmp(8193, 8192, 8193)},
        {"no width", {'B', 'M', 54, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_FALSE(TestFile(row.bytes).firstImage().has_value());
    }
}

TEST(LeptonicaImageSource, GivesNothingOfWhatIsNoFile) {
    LeptonicaImageSource source;
    EXPECT_FALSE(source.firstImage("/nonexistent/a.png").has_value());
    EXPECT_FALSE(source.firstImage("/").has_value());
    EXPECT_FALSE(source.firstImage("/dev/zero").has_value());
    EXPECT_FALSE(source.firstImage("").has_value());
    const TestFile pipe;
    ASSERT_EQ(mkfifo(pipe.path().c_str(), 0600), 0);
    EXPECT_FALSE(source.firstImage(pipe.path()).has_value());
}

}  // namespace
}  // namespace quorvane::platform::tesseract
