#include "platform/linux/libav/encoder_preset.h"

#include <string>

#include <gtest/gtest.h>

namespace quorvane::platform::libav {
namespace {

TEST(EncoderPreset, FollowsThePixelRateAndTheCores) {
    struct Row {
        const char* name;
        double width;
        double height;
        double frameRate;
        int cores;
        const char* preset;
        int threads;
    };
    const Row rows[] = {
        {"1080p60 on 1 core", 1920, 1080, 60, 1, "ultrafast", 1},
        {"1080p60 on 2 cores", 1920, 1080, 60, 2, "ultrafast", 1},
        {"1080p60 on 4 cores", 1920, 1080, 60, 4, "superfast", 2},
        {"1080p60 on 8 cores", 1920, 1080, 60, 8, "veryfast", 3},
        {"1080p30 on 2 cores", 1920, 1080, 30, 2, "superfast", 1},
        {"720p24 on 2 cores", 1280, 720, 24, 2, "veryfast", 1},
        {"2160p60 on 2 cores has no more than 2 threads", 4096, 2304, 60, 2, "ultrafast", 2},
        {"2160p60 on 16 cores", 4096, 2304, 60, 16, "superfast", 8},
        {"the smallest picture", 8, 8, 60, 1, "veryfast", 1},
        {"nothing", 0, 0, 0, 1, "veryfast", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto preset = encoderPreset(row.width * row.height * row.frameRate, row.cores);
        EXPECT_EQ(std::string(preset.name), row.preset);
        EXPECT_EQ(preset.threads, row.threads);
    }
}

}  // namespace
}  // namespace quorvane::platform::libav
