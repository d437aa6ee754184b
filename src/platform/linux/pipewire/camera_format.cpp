#include "platform/linux/pipewire/camera_format.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>
#include <utility>

#include <spa/param/format-utils.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/iter.h>

namespace quorvane::platform::pipewire {
namespace {

using support::VideoFormat;
using Size = CameraPreviewLayer::Size;

constexpr double meantRate = 30;
constexpr double smoothRate = 24;

struct Pair {
    VideoFormat format;
    std::uint32_t spa;
};
// The cheapest to draw first.
constexpr std::array formats{
    Pair{VideoFormat::i420, SPA_VIDEO_FORMAT_I420}, Pair{VideoFormat::nv12, SPA_VIDEO_FORMAT_NV12},
    Pair{VideoFormat::yuy2, SPA_VIDEO_FORMAT_YUY2}, Pair{VideoFormat::uyvy, SPA_VIDEO_FORMAT_UYVY},
    Pair{VideoFormat::bgrx, SPA_VIDEO_FORMAT_BGRx}, Pair{VideoFormat::bgrx, SPA_VIDEO_FORMAT_BGRA},
    Pair{VideoFormat::rgbx, SPA_VIDEO_FORMAT_RGBx}, Pair{VideoFormat::rgbx, SPA_VIDEO_FORMAT_RGBA},
    Pair{VideoFormat::bgr, SPA_VIDEO_FORMAT_BGR},   Pair{VideoFormat::rgb, SPA_VIDEO_FORMAT_RGB}};

std::size_t costOf(VideoFormat format) {
    const auto found = std::find_if(formats.begin(), formats.end(),
                                    [&](const Pair& pair) { return pair.format == format; });
    return static_cast<std::size_t>(found - formats.begin());  // JPEG: the last
}

// A property's values: one, several to choose from, or the ends of a range.
template <class Value>
struct Values {
    std::vector<Value> each;
    bool isRange = false;  // each is then the least and the greatest
};

template <class Value>
Values<Value> valuesOf(const spa_pod& parameter, std::uint32_t key, std::uint32_t type) {
    Values<Value> values;
    const spa_pod_prop* property = spa_pod_find_prop(&parameter, nullptr, key);
    if (property == nullptr) return values;
    std::uint32_t count = 0;
    std::uint32_t choice = 0;
    const spa_pod* pod = spa_pod_get_values(&property->value, &count, &choice);
    if (pod == nullptr || pod->type != type || pod->size < sizeof(Value) || count == 0) {
        return values;
    }
    const auto* first = static_cast<const Value*>(SPA_POD_BODY_CONST(pod));
    // A choice begins with its default.
    if (choice == SPA_CHOICE_None || count == 1) {
        values.each.assign(first, first + 1);
    } else if (choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step) {
        if (count < 3) return values;
        values.each.assign(first + 1, first + 3);
        values.isRange = true;
    } else {
        values.each.assign(first, first + count);
    }
    return values;
}

int nearest(int wanted, std::uint32_t least, std::uint32_t greatest) {
    constexpr std::uint32_t most = 16384;
    const int low = static_cast<int>(std::clamp<std::uint32_t>(least, 1, most));
    const int high = std::max(low, static_cast<int>(std::min(greatest, most)));
    return std::clamp(wanted, low, high);
}

std::vector<Size> sizesOf(const spa_pod& parameter, Size wanted) {
    const auto values =
        valuesOf<spa_rectangle>(parameter, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle);
    std::vector<Size> sizes;
    if (values.isRange) {
        const auto& least = values.each[0];
        const auto& most = values.each[1];
        // Even sides: colours are shared by pairs of pixels.
        sizes.push_back({nearest((wanted.width + 1) & ~1, least.width, most.width),
                         nearest((wanted.height + 1) & ~1, least.height, most.height)});
        return sizes;
    }
    for (const auto& value : values.each)
        sizes.push_back(
            {nearest(0, value.width, value.width), nearest(0, value.height, value.height)});
    return sizes;
}

FrameRate rateOf(const spa_pod& parameter) {
    const auto values =
        valuesOf<spa_fraction>(parameter, SPA_FORMAT_VIDEO_framerate, SPA_TYPE_Fraction);
    const auto rate = [](const spa_fraction& fraction) {
        return FrameRate{fraction.num, fraction.denom};
    };
    if (values.each.empty()) return {};
    if (values.isRange) {
        const auto least = rate(values.each[0]);
        const auto most = rate(values.each[1]);
        if (meantRate < least.perSecond()) return least;
        if (meantRate > most.perSecond()) return most;
        return {static_cast<std::uint32_t>(meantRate), 1};
    }
    FrameRate best = rate(values.each.front());
    for (const auto& value : values.each) {
        if (std::abs(rate(value).perSecond() - meantRate) <
            std::abs(best.perSecond() - meantRate)) {
            best = rate(value);
        }
    }
    return best;
}

std::vector<VideoFormat> formatsOf(const spa_pod& parameter) {
    std::uint32_t mediaType = 0;
    std::uint32_t mediaSubtype = 0;
    if (spa_format_parse(&parameter, &mediaType, &mediaSubtype) < 0 ||
        mediaType != SPA_MEDIA_TYPE_video) {
        return {};
    }
    if (mediaSubtype == SPA_MEDIA_SUBTYPE_mjpg) return {VideoFormat::jpeg};
    if (mediaSubtype != SPA_MEDIA_SUBTYPE_raw) return {};
    // Pictures in a graphics card's memory, which is what a modifier means, are not for us.
    if (spa_pod_find_prop(&parameter, nullptr, SPA_FORMAT_VIDEO_modifier) != nullptr) return {};
    std::vector<VideoFormat> result;
    const auto values = valuesOf<std::uint32_t>(parameter, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id);
    for (const auto value : values.each) {
        if (const auto format = formatOfSpa(value)) result.push_back(*format);
    }
    return result;
}

}  // namespace

std::optional<std::uint32_t> spaFormatOf(VideoFormat format) {
    for (const auto& pair : formats) {
        if (pair.format == format) return pair.spa;
    }
    return std::nullopt;
}

std::optional<VideoFormat> formatOfSpa(std::uint32_t format) {
    for (const auto& pair : formats) {
        if (pair.spa == format) return pair.format;
    }
    return std::nullopt;
}

std::vector<CameraFormat> offeredFormats(const spa_pod& parameter, Size wanted) {
    std::vector<CameraFormat> offered;
    const auto rate = rateOf(parameter);
    for (const auto format : formatsOf(parameter)) {
        for (const auto size : sizesOf(parameter, wanted))
            offered.push_back({format, size, rate});
    }
    return offered;
}

std::optional<CameraFormat> bestFormat(const std::vector<CameraFormat>& offered, Size wanted) {
    // The smaller the better, the first difference counts.
    const auto rank = [&](const CameraFormat& format) {
        const bool covers =
            format.size.width >= wanted.width && format.size.height >= wanted.height;
        const std::int64_t area = std::int64_t{format.size.width} * format.size.height;
        return std::tuple(format.rate.perSecond() < smoothRate, !covers, covers ? area : -area,
                          std::abs(format.rate.perSecond() - meantRate), costOf(format.format));
    };
    const auto best =
        std::min_element(offered.begin(), offered.end(),
                         [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
    if (best == offered.end()) return std::nullopt;
    return *best;
}

}  // namespace quorvane::platform::pipewire
