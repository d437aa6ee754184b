// Cuts a long recording into pieces that the decoder takes at once, at pauses.
// Why: the decoder's memory grows with the length of a piece, and its normalisation of the sound
// wants a whole piece. Stretches of silence belong to no piece: they cost time, and normalisation
// would be led astray by them.
// Units: samples at 16 kHz. Threads: a value, one at a time. Errors: none but lack of memory.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace quorvane::platform::pocketsphinx {

constexpr int speechSampleRate = 16000;  // Hz

class SpeechCutter {
  public:
    // A piece, lent for the call, and the place of its first sample in the whole.
    using Sink =
        std::function<void(std::span<const std::int16_t> samples, std::int64_t firstSample)>;

    explicit SpeechCutter(Sink sink);

    // The samples that follow.
    void append(std::span<const std::int16_t> samples);
    // No more follow: what is left is a piece.
    void finish();

  private:
    void appendFrame(std::span<const std::int16_t> frame);
    void endPiece();
    void cutAtQuietestPlace();
    void give(std::size_t frames);
    void removeFront(std::size_t frames);

    Sink sink_;
    std::vector<std::int16_t> partFrame_;  // samples of the frame that is being gathered
    std::vector<std::int16_t> samples_;    // of the piece so far, whole frames
    std::vector<float> levels_;            // of its frames, dB of full scale
    std::int64_t firstSample_ = 0;         // where it begins
    std::size_t loudFrames_ = 0;           // in it
    std::size_t quietFrames_ = 0;          // at its end
    float peakLevel_;                      // falls slowly, dB of full scale
};

}  // namespace quorvane::platform::pocketsphinx
