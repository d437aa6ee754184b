// How much work the encoder may put into a picture, from what there is to encode and the processor
// that does it.
// Threads: pure. Errors: none.
#pragma once

namespace quorvane::platform::libav {

struct EncoderPreset {
    const char* name;  // by x264's names
    int threads;       // slices of one picture that are encoded at once

    bool operator==(const EncoderPreset&) const = default;
};

// The best preset that leaves most of the machine to what is being recorded, with enough threads
// for a picture to be done in time. pixelRate: pixels/s at full motion; cores: at least 1.
EncoderPreset encoderPreset(double pixelRate, int cores);

}  // namespace quorvane::platform::libav
