// One encoded picture or stretch of sound on its way from an encoder to the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace quorvane::platform::libav {

struct EncodedSample {
    std::span<const std::byte> data;  // lent for the call
    std::int64_t time = 0;            // of decoding, in the track's ticks from its first sample's 0
    bool isSync = true;               // decodable without the samples before it
};

using EncodedSampleSink = std::function<void(const EncodedSample&)>;

}  // namespace quorvane::platform::libav
