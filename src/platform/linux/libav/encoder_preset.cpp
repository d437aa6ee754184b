#include "platform/linux/libav/encoder_preset.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace quorvane::platform::libav {
namespace {

struct PresetCost {
    const char* name;
    double nanosecondsPerPixel;  // of one core, full-screen motion
};

// Measured: 10.4, 19.5 and 32 ms for 1920x1080. From the slowest to the fastest.
constexpr PresetCost presetCosts[] = {{"veryfast", 15.4}, {"superfast", 9.4}, {"ultrafast", 5.0}};

// The part of all cores that encoding full motion may take.
constexpr double encoderShare = 0.35;
// A thread that is busier than this would be late with some pictures. Threads split the picture
// into slices, which costs quality, so there are no more than needed.
constexpr double threadLoad = 0.7;

}  // namespace

EncoderPreset encoderPreset(double pixelRate, int cores) {
    const auto load = [&](const PresetCost& preset) {  // in cores
        return preset.nanosecondsPerPixel * 1e-9 * pixelRate;
    };
    const auto* chosen = std::ranges::find_if(presetCosts, [&](const PresetCost& preset) {
        return load(preset) <= encoderShare * cores;
    });
    if (chosen == std::ranges::end(presetCosts)) --chosen;
    const auto threads =
        static_cast<int>(std::min<double>(cores, std::ceil(load(*chosen) / threadLoad)));
    return {chosen->name, std::max(1, threads)};
}

}  // namespace quorvane::platform::libav
