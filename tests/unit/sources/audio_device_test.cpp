#include "sources/audio_device.h"

#include <gtest/gtest.h>

namespace quorvane::sources {
namespace {

using platform::AudioInputDevice;

struct Devices final : platform::AudioDevices {
    std::optional<AudioInputDevice> chosen;
    std::vector<AudioInputDevice> all;

    std::optional<AudioInputDevice> defaultInputDevice() override { return chosen; }
    std::vector<AudioInputDevice> inputDevices() override { return all; }
};

TEST(AudioDevices, AreListedInThePlatformsOrderWithTheDefaultMarked) {
    const AudioInputDevice built{"built-in", "Built-in"};
    const AudioInputDevice usb{"USB", "Studio \"A\"/1"};
    struct Row {
        const char* name;
        std::optional<AudioInputDevice> chosen;
        std::vector<AudioInputDevice> all;
        std::string expected;
    };
    const Row rows[] = {
        {"none", std::nullopt, {}, "[]"},
        {"none, but a default", usb, {}, "[]"},
        {"no default",
         std::nullopt,
         {usb, built},
         R"([{"id":"USB","isDefault":false,"name":"Studio \"A\"\/1"},)"
         R"({"id":"built-in","isDefault":false,"name":"Built-in"}])"},
        {"the second is the default",
         built,
         {usb, built},
         R"([{"id":"USB","isDefault":false,"name":"Studio \"A\"\/1"},)"
         R"({"id":"built-in","isDefault":true,"name":"Built-in"}])"},
        {"identifiers are compared exactly",
         AudioInputDevice{"usb", ""},
         {usb},
         R"([{"id":"USB","isDefault":false,"name":"Studio \"A\"\/1"}])"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Devices devices;
        devices.chosen = row.chosen;
        devices.all = row.all;
        EXPECT_EQ(support::jsonText(listAudioDevices(devices), support::JsonOrder::sorted),
                  row.expected);
    }
}

}  // namespace
}  // namespace quorvane::sources
