#include "platform/linux/tesseract/gif_first_image.h"

#include <algorithm>
#include <string_view>

namespace quorvane::platform::tesseract {
namespace {

constexpr std::size_t signatureSize = 6;
constexpr std::size_t screenSize = 7;      // size, flags, background, aspect
constexpr std::size_t descriptorSize = 9;  // position, size, flags
constexpr std::uint8_t extension = 0x21;
constexpr std::uint8_t imageDescriptor = 0x2C;
constexpr std::uint8_t trailer = 0x3B;
constexpr std::uint8_t graphicControl = 0xF9;
constexpr std::size_t graphicControlSize = 4;  // flags, delay, transparent index
constexpr int white = 0xFF;

// Reads a file from front to back; once it has ended too early, everything reads as zero.
class Reader {
  public:
    explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::span<const std::uint8_t> take(std::size_t count) {
        if (count > bytes_.size() - at_) {
            failed_ = true;
            at_ = bytes_.size();
            return {};
        }
        at_ += count;
        return bytes_.subspan(at_ - count, count);
    }
    int byte() {
        const auto taken = take(1);
        return taken.empty() ? 0 : taken[0];
    }
    int number() {
        const int low = byte();
        return low + 256 * byte();
    }
    // A run of blocks, each behind its size, up to the empty one.
    void skipBlocks() {
        while (const int size = byte())
            take(static_cast<std::size_t>(size));
    }
    std::size_t position() const { return at_; }
    bool failed() const { return failed_; }

  private:
    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
    bool failed_ = false;
};

// Bytes of the colour table that the flags announce; 0 for none.
std::size_t colourTableSize(int flags) {
    return (flags & 0x80) == 0 ? 0 : std::size_t{3} << ((flags & 7) + 1);
}

// The transparent index of a graphic control extension; negative for none. Reads the extension.
int readExtension(Reader& reader) {
    const int label = reader.byte();
    if (label != graphicControl) {
        reader.skipBlocks();
        return -1;
    }
    const auto size = static_cast<std::size_t>(reader.byte());
    const auto control = reader.take(size);
    if (size != 0) reader.skipBlocks();
    if (control.size() < graphicControlSize || (control[0] & 1) == 0) return -1;
    return control[3];
}

void whiten(std::span<std::uint8_t> colours, int index) {
    const auto at = static_cast<std::size_t>(index) * 3;
    if (index >= 0 && at + 3 <= colours.size())
        std::fill_n(colours.begin() + static_cast<std::ptrdiff_t>(at), 3, white);
}

}  // namespace

std::optional<FirstImage> gifFirstImage(std::span<const std::uint8_t> file) {
    Reader reader(file);
    const auto signature = reader.take(signatureSize);
    const std::string_view name(reinterpret_cast<const char*>(signature.data()), signature.size());
    if (name != "GIF87a" && name != "GIF89a") return std::nullopt;
    FirstImage first;
    first.canvasWidth = reader.number();
    first.canvasHeight = reader.number();
    const auto globalColours = colourTableSize(reader.byte());
    reader.take(2);
    reader.take(globalColours);
    const auto headerSize = reader.position();

    int transparent = -1;
    int kind = reader.byte();
    for (; kind == extension; kind = reader.byte()) {
        const int found = readExtension(reader);
        if (found >= 0) transparent = found;
    }
    if (kind != imageDescriptor || reader.failed()) return std::nullopt;
    const auto imageStart = reader.position() - 1;
    first.left = reader.number();
    first.top = reader.number();
    first.width = reader.number();
    first.height = reader.number();
    const auto localColours = colourTableSize(reader.byte());
    reader.take(localColours);
    if (reader.failed() || first.width == 0 || first.height == 0) return std::nullopt;
    reader.byte();        // the size of the first codes
    reader.skipBlocks();  // a file cut short is the decoder's to judge

    auto& bytes = first.file;
    bytes.assign(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(headerSize));
    bytes.insert(bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(imageStart),
                 file.begin() + static_cast<std::ptrdiff_t>(reader.position()));
    bytes.push_back(trailer);
    const std::span<std::uint8_t> all(bytes);
    if (localColours > 0) {
        whiten(all.subspan(headerSize + 1 + descriptorSize, localColours), transparent);
    } else {
        whiten(all.subspan(signatureSize + screenSize, globalColours), transparent);
    }
    return first;
}

}  // namespace quorvane::platform::tesseract
