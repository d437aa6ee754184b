// Plays a known sound through PipeWire and says when each marked beep is heard.
// Why a player of our own: to judge whether sound and picture belong together, a test must know the
// time at which the first sample of a beep leaves the speaker, to the sample.
// Units: times are CLOCK_MONOTONIC, amplitudes are sample values in [0, 1].
// Threads: any one at a time; PipeWire's threads run inside and take no signals.
// Errors: the constructor throws std::runtime_error.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "support/media_time.h"

namespace quorvane::tools {

struct Tone {
    double frequency = 1000;  // Hz
    double left = 0.5;
    double right = 0.5;
};

struct Beep {
    double frequency = 1000;  // Hz
    double amplitude = 0.5;   // in both channels
    std::chrono::milliseconds length{20};
};

class SoundPlayer {
  public:
    // Returns when the sound flows into the node (by its node.name), at the latest after 5 s.
    explicit SoundPlayer(const std::string& targetNode);
    ~SoundPlayer();
    SoundPlayer(const SoundPlayer&) = delete;
    SoundPlayer& operator=(const SoundPlayer&) = delete;

    // A steady sine until the next call; silence without one.
    void setTone(std::optional<Tone> tone);

    // Adds a beep whose first sample is heard at the time, or as soon after it as possible.
    // Returns its number. At most 64 beeps may be waiting.
    int playBeepAt(support::MediaTime time, const Beep& beep);
    // When the first sample of the beep is heard, by the device's own account: within half a sample
    // of the wanted time unless that was too soon. Known one cycle of the graph before; waits for
    // it. Nothing when the patience ends first.
    std::optional<support::MediaTime> beepHeardAt(int number, std::chrono::milliseconds patience);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::tools
