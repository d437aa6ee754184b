#include "platform/linux/pipewire/camera_format.h"

#include <array>
#include <cstddef>

#include <gtest/gtest.h>
#include <spa/param/video/format-utils.h>

namespace quorvane::platform::pipewire {
namespace {

using support::VideoFormat;
using Size = CameraPreviewLayer::Size;
using Formats = std::vector<CameraFormat>;

// Gives the build function a pod builder and keeps what it built.
struct Parameter {
    template <class Build>
    explicit Parameter(Build build) {
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, space.data(), sizeof space);
        pod = static_cast<const spa_pod*>(build(builder));
    }
    alignas(8) std::array<std::byte, 1024> space;
    const spa_pod* pod = nullptr;
};

constexpr spa_rectangle vga{640, 480};
constexpr spa_rectangle hd{1280, 720};
constexpr spa_rectangle tiny{16, 16};
constexpr spa_rectangle huge{1920, 1080};
constexpr spa_fraction thirty{30, 1};
constexpr spa_fraction fifteen{15, 1};
constexpr spa_fraction none{0, 1};
constexpr spa_fraction sixty{60, 1};
constexpr Size wanted{480, 360};

TEST(CameraFormat, WhatANodeOffersIsRead) {
    const Parameter plain([](spa_pod_builder& b) {
        return spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
            SPA_POD_Id(SPA_VIDEO_FORMAT_YUY2), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&vga),
            SPA_FORMAT_VIDEO_framerate,
            SPA_POD_CHOICE_ENUM_Fraction(4, &fifteen, &fifteen, &thirty, &sixty));
    });
    EXPECT_EQ(offeredFormats(*plain.pod, wanted),
              (Formats{{VideoFormat::yuy2, {640, 480}, {30, 1}}}));

    const Parameter choices([](spa_pod_builder& b) {
        return spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
            SPA_POD_CHOICE_ENUM_Id(3, SPA_VIDEO_FORMAT_NV12, SPA_VIDEO_FORMAT_NV12,
                                   SPA_VIDEO_FORMAT_GRAY8),
            SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&vga, &tiny, &huge),
            SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&thirty, &none, &sixty));
    });
    const auto offered = offeredFormats(*choices.pod, {501, 360});
    ASSERT_FALSE(offered.empty());
    for (const auto& format : offered)
        EXPECT_EQ(format, (CameraFormat{VideoFormat::nv12, {502, 360}, {30, 1}}));
    EXPECT_EQ(offeredFormats(*choices.pod, {5000, 4000}).front().size, (Size{1920, 1080}));

    const Parameter jpeg([](spa_pod_builder& b) {
        return spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_mjpg), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&hd));
    });
    EXPECT_EQ(offeredFormats(*jpeg.pod, wanted), (Formats{{VideoFormat::jpeg, {1280, 720}, {}}}));
}

TEST(CameraFormat, WhatCannotBeDrawnIsNotOffered) {
    const Parameter sound([](spa_pod_builder& b) {
        return spa_pod_builder_add_object(&b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,
                                          SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_audio),
                                          SPA_FORMAT_mediaSubtype,
                                          SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw));
    });
    EXPECT_EQ(offeredFormats(*sound.pod, wanted), Formats());
    const Parameter h264([](spa_pod_builder& b) {
        return spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_h264), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&hd));
    });
    EXPECT_EQ(offeredFormats(*h264.pod, wanted), Formats());
    const Parameter card([](spa_pod_builder& b) {
        return spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
            SPA_POD_Id(SPA_VIDEO_FORMAT_BGRx), SPA_FORMAT_VIDEO_modifier, SPA_POD_Long(1),
            SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&hd));
    });
    EXPECT_EQ(offeredFormats(*card.pod, wanted), Formats());
    const Parameter noFormat([](spa_pod_builder& b) { return spa_pod_builder_none(&b), b.data; });
    EXPECT_EQ(offeredFormats(*noFormat.pod, wanted), Formats());
}

TEST(CameraFormat, TheBestIsSmoothCoversTheBubbleAndCostsLittle) {
    const FrameRate at30{30, 1};
    const CameraFormat small{VideoFormat::yuy2, {320, 240}, at30};
    const CameraFormat medium{VideoFormat::yuy2, {640, 480}, at30};
    const CameraFormat large{VideoFormat::yuy2, {1280, 720}, at30};
    const CameraFormat largeSlow{VideoFormat::yuy2, {1280, 720}, {10, 1}};
    const CameraFormat largeJpeg{VideoFormat::jpeg, {1280, 720}, at30};
    const CameraFormat mediumJpeg{VideoFormat::jpeg, {640, 480}, at30};
    const CameraFormat mediumFast{VideoFormat::yuy2, {640, 480}, {60, 1}};
    const CameraFormat mediumNv12{VideoFormat::nv12, {640, 480}, at30};
    const CameraFormat mediumDark{VideoFormat::yuy2, {640, 480}, {15, 1}};
    struct Row {
        const char* name;
        Formats offered;
        Size wanted;
        std::optional<CameraFormat> best;
    };
    const Row rows[] = {
        {"nothing offered", {}, wanted, std::nullopt},
        {"the smallest that covers", {large, small, medium}, wanted, medium},
        {"a larger bubble", {small, medium, large}, {700, 700}, large},
        {"none covers: the largest", {small, medium}, {900, 900}, medium},
        {"smooth before sharp", {largeSlow, medium}, {900, 700}, medium},
        {"smooth by JPEG", {largeSlow, largeJpeg}, {900, 700}, largeJpeg},
        {"JPEG only where it must be", {mediumJpeg, medium}, wanted, medium},
        {"near 30 a second", {mediumFast, medium}, wanted, medium},
        {"the cheaper of two", {medium, mediumNv12}, wanted, mediumNv12},
        {"nothing is smooth", {largeSlow, mediumDark}, wanted, mediumDark},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(bestFormat(row.offered, row.wanted), row.best);
    }
}

}  // namespace
}  // namespace quorvane::platform::pipewire
