// A speaker that plays late, like a wireless one: what enters it is heard after a latency that it
// tells everybody who asks. It plays nothing; only its time matters.
// Threads: PipeWire's own inside. Errors: std::runtime_error.
#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace quorvane::test {

class DistantSpeaker {
  public:
    DistantSpeaker(const std::string& name, std::chrono::nanoseconds latency);
    ~DistantSpeaker();
    DistantSpeaker(const DistantSpeaker&) = delete;
    DistantSpeaker& operator=(const DistantSpeaker&) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quorvane::test
