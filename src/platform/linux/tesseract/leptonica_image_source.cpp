#include "platform/linux/tesseract/leptonica_image_source.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <span>

#include <fcntl.h>
#include <leptonica/allheaders.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/tesseract/gif_first_image.h"
#include "platform/linux/tesseract/silent_standard_error.h"
#include "platform/linux/tesseract/webp_first_image.h"

namespace quorvane::platform::tesseract {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct PixDeleter {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using PixPtr = std::unique_ptr<Pix, PixDeleter>;

std::optional<Bytes> readFile(const std::string& path) {
    // Not blocking: a pipe without a writer would be waited for.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > LeptonicaImageSource::greatestFileSize)
        return std::nullopt;
    Bytes bytes(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const auto count = read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

bool hasReasonableSize(long width, long height) {
    return width > 0 && height > 0 && width <= LeptonicaImageSource::greatestPixelCount / height;
}

// What is in the picture as words of red, green, blue and something else.
PixPtr opaque(PixPtr pix) {
    if (const auto* colours = pixGetColormap(pix.get())) {
        l_int32 isOpaque = 1;
        (void)pixcmapIsOpaque(const_cast<PIXCMAP*>(colours), &isOpaque);
        pix.reset(pixRemoveColormap(
            pix.get(), isOpaque != 0 ? REMOVE_CMAP_TO_FULL_COLOR : REMOVE_CMAP_WITH_ALPHA));
    }
    if (pix && pixGetDepth(pix.get()) != 32) pix.reset(pixConvertTo32(pix.get()));
    if (pix && pixGetSpp(pix.get()) == 4) pix.reset(pixAlphaBlendUniform(pix.get(), 0xFFFFFF00));
    return pix;
}

PixPtr decode(std::span<const std::uint8_t> file) {
    return PixPtr(pixReadMem(file.data(), file.size()));
}

void copyPixels(Pix& pix, Image& image, int left, int top) {
    const int width = std::min(pixGetWidth(&pix), image.width - left);
    const int height = std::min(pixGetHeight(&pix), image.height - top);
    for (int y = 0; y < height; ++y) {
        const auto* words = pixGetData(&pix) + static_cast<std::ptrdiff_t>(y) * pixGetWpl(&pix);
        auto* to =
            image.pixels.data() + 3 * (static_cast<std::ptrdiff_t>(y + top) * image.width + left);
        for (int x = 0; x < width; ++x, to += 3) {
            to[0] = static_cast<std::uint8_t>(words[x] >> L_RED_SHIFT);
            to[1] = static_cast<std::uint8_t>(words[x] >> L_GREEN_SHIFT);
            to[2] = static_cast<std::uint8_t>(words[x] >> L_BLUE_SHIFT);
        }
    }
}

Image whiteImage(int width, int height) {
    return {width, height,
            Bytes(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0xFF)};
}

std::optional<Image> onItsCanvas(const std::optional<FirstImage>& first) {
    if (!first || !hasReasonableSize(first->width, first->height)) return std::nullopt;
    auto pix = decode(first->file);
    if (pix) pix = opaque(std::move(pix));
    if (!pix) return std::nullopt;
    const int width = std::max(first->canvasWidth, first->left + first->width);
    const int height = std::max(first->canvasHeight, first->top + first->height);
    if (!hasReasonableSize(width, height)) return std::nullopt;
    auto image = whiteImage(width, height);
    copyPixels(*pix, image, first->left, first->top);
    return image;
}

// By the head of the file; what it leads to is decoded only then.
bool promisesReasonableSize(std::span<const std::uint8_t> file) {
    l_int32 format = 0;
    l_int32 width = 0;
    l_int32 height = 0;
    return pixReadHeaderMem(file.data(), file.size(), &format, &width, &height, nullptr, nullptr,
                            nullptr) == 0 &&
           hasReasonableSize(width, height);
}

std::optional<Image> plainImage(std::span<const std::uint8_t> file) {
    if (!promisesReasonableSize(file)) return std::nullopt;
    auto pix = decode(file);
    if (!pix || !hasReasonableSize(pixGetWidth(pix.get()), pixGetHeight(pix.get())))
        return std::nullopt;
    pix = opaque(std::move(pix));
    if (!pix) return std::nullopt;
    auto image = whiteImage(pixGetWidth(pix.get()), pixGetHeight(pix.get()));
    copyPixels(*pix, image, 0, 0);
    return image;
}

}  // namespace

std::optional<Image> LeptonicaImageSource::firstImage(const std::string& path) {
    const auto file = readFile(path);
    constexpr std::size_t leastSize = 20;  // the library looks at as much to tell the format
    if (!file || file->size() < leastSize) return std::nullopt;
    const SilentStandardError silent;
    (void)setMsgSeverity(L_SEVERITY_NONE);
    l_int32 format = IFF_UNKNOWN;
    if (findFileFormatBuffer(file->data(), &format) != 0) return std::nullopt;
    switch (format) {
        case IFF_GIF:
            return onItsCanvas(gifFirstImage(*file));
        case IFF_BMP:
        case IFF_JFIF_JPEG:
        case IFF_PNG:
        case IFF_TIFF:
        case IFF_TIFF_PACKBITS:
        case IFF_TIFF_RLE:
        case IFF_TIFF_G3:
        case IFF_TIFF_G4:
        case IFF_TIFF_LZW:
        case IFF_TIFF_ZIP:
        case IFF_TIFF_JPEG:
            return plainImage(*file);
        case IFF_WEBP:
            if (const auto first = webpFirstImage(*file))
                return promisesReasonableSize(first->file) ? onItsCanvas(first) : std::nullopt;
            return plainImage(*file);
        default:
            return std::nullopt;  // the library's other formats are none of the ones promised
    }
}

}  // namespace quorvane::platform::tesseract
