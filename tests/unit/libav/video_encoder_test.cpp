#include "platform/linux/libav/video_encoder.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "platform/linux/libav/encoder_preset.h"

namespace quorvane::platform::libav {
namespace {

TEST(VideoEncoder, EveryPresetIsHighProfile) {
    struct Row {
        int cores;
        const char* preset;
    };
    const Row rows[] = {{2, "ultrafast"}, {4, "superfast"}, {8, "veryfast"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.preset);
        ASSERT_EQ(std::string(encoderPreset(1920.0 * 1080 * 60, row.cores).name), row.preset);
        const VideoEncoder encoder({.width = 1920,
                                    .height = 1080,
                                    .averageBitRate = 17'418'240,
                                    .expectedSourceFrameRate = 60,
                                    .allowFrameReordering = false,
                                    .expectsMediaDataInRealTime = true},
                                   row.cores);
        const auto& configuration =
            std::get<isobmff::PictureFormat>(encoder.description().format).avcConfiguration;
        // Version, profile, compatibility, level, two counts, the length of the first parameter
        // set, and that set, which begins with its type and the profile again.
        ASSERT_GT(configuration.size(), 9U);
        EXPECT_EQ(configuration[0], std::byte{1});
        EXPECT_EQ(configuration[1], std::byte{100});
        EXPECT_EQ(configuration[8] & std::byte{0x1F}, std::byte{7});
        EXPECT_EQ(configuration[9], std::byte{100});
    }
}

}  // namespace
}  // namespace quorvane::platform::libav
