#include "platform/linux/pipewire/last_picture.h"

#include <gtest/gtest.h>

namespace quorvane::platform::pipewire {
namespace {

using namespace std::chrono_literals;

class ManualClock final : public support::Clock {
  public:
    support::MediaTime hostTime() const override { return now; }
    support::WallTime wallTime() const override { return {}; }
    support::MediaTime now{1h};
};

class CountingLayer final : public CameraPreviewLayer {
  public:
    void show(const support::VideoPicture&) override { ++shown; }
    void clear() override { ++cleared; }
    Size drawnSize() const override { return {240, 320}; }
    int shown = 0;
    int cleared = 0;
};

struct LastPictureTest : testing::Test {
    ManualClock clock;
    std::shared_ptr<CountingLayer> layer = std::make_shared<CountingLayer>();
    LastPicture last{clock, layer};
};

TEST_F(LastPictureTest, StaysForTwoSecondsAfterTheCameraHasGone) {
    last.show({});
    EXPECT_EQ(last.expire(), std::nullopt);
    last.cameraLeft();
    EXPECT_EQ(last.expire(), 2s);
    clock.now += 1500ms;
    last.cameraLeft();
    EXPECT_EQ(last.expire(), 500ms) << "counted from the first time";
    EXPECT_EQ(layer->cleared, 0);
    clock.now += 500ms;
    EXPECT_EQ(last.expire(), std::nullopt);
    EXPECT_EQ(layer->cleared, 1);
    clock.now += 1h;
    last.cameraLeft();
    EXPECT_EQ(last.expire(), std::nullopt);
    EXPECT_EQ(layer->cleared, 1) << "what is cleared stays so";
}

TEST_F(LastPictureTest, ACameraThatComesBackInTimeIsNotMissed) {
    last.show({});
    last.cameraLeft();
    clock.now += 1900ms;
    last.show({});
    clock.now += 1h;
    EXPECT_EQ(last.expire(), std::nullopt);
    EXPECT_EQ(layer->cleared, 0);
    EXPECT_EQ(layer->shown, 2);
}

TEST_F(LastPictureTest, WithoutAPictureThereIsNothingToClear) {
    last.cameraLeft();
    clock.now += 1h;
    EXPECT_EQ(last.expire(), std::nullopt);
    EXPECT_EQ(layer->cleared, 0);
}

TEST_F(LastPictureTest, WithoutALayerNothingIsShown) {
    LastPicture nowhere(clock, nullptr);
    nowhere.show({});
    nowhere.cameraLeft();
    EXPECT_EQ(nowhere.expire(), std::nullopt);
    EXPECT_EQ(nowhere.drawnSize(), CameraPreviewLayer::Size());
    EXPECT_EQ(last.drawnSize(), (CameraPreviewLayer::Size{240, 320}));
}

}  // namespace
}  // namespace quorvane::platform::pipewire
