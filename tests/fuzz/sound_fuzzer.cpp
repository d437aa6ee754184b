// Bytes as a media file: its sound can be read to an end, or the platform's error comes instead.
#include <array>
#include <cstdint>
#include <cstdlib>

#include "fuzz/memory_file.h"
#include "platform/linux/libav/libav_sound_reader.h"
#include "platform/platform_error.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const quorvane::fuzz::MemoryFile file(data, size);
    constexpr int rate = 16000;
    // A changed time may promise days of sound. Ten minutes show that it goes on.
    constexpr std::size_t most = std::size_t{600} * rate;
    try {
        const auto reader =
            quorvane::platform::libav::LibavSoundReaders().openSound(file.path(), rate);
        std::array<std::int16_t, 4096> samples{};
        for (std::size_t all = 0; all < most;) {
            const auto count = reader->read(samples);
            if (count > samples.size()) std::abort();
            all += count;
            if (count < samples.size()) {
                if (reader->read(samples) != 0) std::abort();
                break;
            }
        }
    } catch (const quorvane::platform::PlatformError&) {
    }
    return 0;
}
