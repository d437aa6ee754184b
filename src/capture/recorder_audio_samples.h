// How loud a stretch of sound is, and the same stretch without its sound.
#pragma once

#include "platform/sample_buffer.h"
#include "support/pooled_allocator.h"

namespace quorvane::capture {

// A caseless group of rules. Threads: any; nothing is allocated but silence()'s from its pool.
struct RecorderAudioSamples {
    // The root mean square of the loudest channel, times 3.5, at most 1: for the parent's meter.
    // Why the loudest channel: a stereo source with one silent side must not look half as loud.
    // Errors: none, every problem reads 0.
    static float level(const platform::SampleBuffer& buffer);

    // A buffer of the same format, length and time with every byte 0, so that a muted track goes on
    // without a gap. Null when the buffer is not linear PCM or has no bytes.
    static platform::SampleBufferPtr silence(const platform::SampleBuffer& buffer,
                                             const support::MemoryPool& pool);
};

}  // namespace quorvane::capture
