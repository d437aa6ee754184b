#include "platform/linux/tesseract/webp_first_image.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace quorvane::platform::tesseract {
namespace {

// The chunks and their fields: RFC 9649, "WebP Image Format".
constexpr std::size_t chunkHeaderSize = 8;
constexpr std::size_t fileHeaderSize = 12;
constexpr std::size_t canvasSize = 10;
constexpr std::size_t frameHeaderSize = 16;
constexpr std::uint8_t isAnimation = 0x02;
constexpr std::uint8_t hasAlpha = 0x10;

using Bytes = std::span<const std::uint8_t>;

std::size_t number(Bytes bytes, std::size_t at, std::size_t size) {
    std::size_t value = 0;
    for (std::size_t index = size; index-- > 0;)
        value = value << 8 | bytes[at + index];
    return value;
}

struct Chunk {
    std::string_view name;
    Bytes data;
    Bytes whole;  // with its header and its padding
};

// The chunk at the front of the bytes, which is taken from them; of one that is cut off, what is
// there. Nothing at the end.
std::optional<Chunk> takeChunk(Bytes& bytes) {
    if (bytes.size() < chunkHeaderSize) return std::nullopt;
    const std::string_view name(reinterpret_cast<const char*>(bytes.data()), 4);
    const auto size = std::min(number(bytes, 4, 4), bytes.size() - chunkHeaderSize);
    const auto whole = std::min(chunkHeaderSize + size + size % 2, bytes.size());
    const Chunk chunk{name, bytes.subspan(chunkHeaderSize, size), bytes.first(whole)};
    bytes = bytes.subspan(whole);
    return chunk;
}

void append(std::vector<std::uint8_t>& to, Bytes bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

void appendHeader(std::vector<std::uint8_t>& to, std::string_view name, std::size_t size) {
    to.insert(to.end(), name.begin(), name.end());
    for (int shift = 0; shift < 32; shift += 8)
        to.push_back(static_cast<std::uint8_t>(size >> shift));
}

// A file of the frame's chunks.
std::vector<std::uint8_t> stillImage(Bytes frame) {
    constexpr std::array<std::string_view, 3> pictureParts{"ALPH", "VP8 ", "VP8L"};
    std::vector<std::uint8_t> parts;
    bool isExtended = false;
    const auto size = frame.subspan(6, 6);
    for (auto rest = frame.subspan(frameHeaderSize); const auto chunk = takeChunk(rest);) {
        if (std::ranges::find(pictureParts, chunk->name) == pictureParts.end()) continue;
        isExtended |= chunk->name == pictureParts[0];
        append(parts, chunk->whole);
    }
    std::vector<std::uint8_t> file;
    appendHeader(file, "RIFF", 4 + parts.size() + (isExtended ? chunkHeaderSize + canvasSize : 0));
    append(file, std::array<std::uint8_t, 4>{'W', 'E', 'B', 'P'});
    if (isExtended) {
        appendHeader(file, "VP8X", canvasSize);
        append(file, std::array<std::uint8_t, 4>{hasAlpha, 0, 0, 0});
        append(file, size);
    }
    append(file, parts);
    return file;
}

}  // namespace

std::optional<FirstImage> webpFirstImage(std::span<const std::uint8_t> file) {
    if (file.size() < fileHeaderSize) return std::nullopt;
    auto rest = file.subspan(fileHeaderSize);
    const auto canvas = takeChunk(rest);
    if (!canvas || canvas->name != "VP8X" || canvas->data.size() < canvasSize ||
        (canvas->data[0] & isAnimation) == 0)
        return std::nullopt;
    while (const auto chunk = takeChunk(rest)) {
        if (chunk->name != "ANMF" || chunk->data.size() < frameHeaderSize) continue;
        const auto side = [](Bytes bytes, std::size_t at) {
            return static_cast<int>(number(bytes, at, 3));
        };
        return FirstImage{.file = stillImage(chunk->data),
                          .width = side(chunk->data, 6) + 1,
                          .height = side(chunk->data, 9) + 1,
                          .left = 2 * side(chunk->data, 0),
                          .top = 2 * side(chunk->data, 3),
                          .canvasWidth = side(canvas->data, 4) + 1,
                          .canvasHeight = side(canvas->data, 7) + 1};
    }
    return std::nullopt;
}

}  // namespace quorvane::platform::tesseract
