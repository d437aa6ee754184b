// Gives a piece of speech the noise that every recording by a microphone has.
// Why: synthetic speech, and voices behind a noise gate, stand in digital silence. The models have
// never heard that, and its logarithm spoils the normalisation of the whole piece: of such speech
// the decoder gets half of the words wrong that it gets right with a little noise.
#pragma once

#include <cstdint>
#include <span>

namespace quorvane::platform::pocketsphinx {

// Adds white noise far below the speech, the same each time. Threads: pure, any. Errors: none.
void addNoiseFloor(std::span<std::int16_t> samples);

}  // namespace quorvane::platform::pocketsphinx
