// A recorder on the simulated platform, and how tests drive it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "capture/screen_capture_recorder.h"
#include "cli/error_text.h"
#include "simulation/sim_platform.h"

namespace quorvane::simulation {

inline cli::RecordingRequest screenRequest(bool systemAudio = false, bool microphone = false) {
    cli::RecordingRequest request;
    request.outputPath = "/movie.mp4";
    request.region = {0, 0, 640, 480};
    request.systemAudioEnabled = systemAudio;
    request.microphoneEnabled = microphone;
    return request;
}

// The outcome of an asynchronous operation.
struct Outcome {
    bool ended = false;
    std::exception_ptr error;
    std::chrono::nanoseconds at{0};

    std::string text() const { return error ? cli::localizedDescription(error) : ""; }
};

// Runs the operation on the main queue; the outcome outlives it.
inline std::shared_ptr<Outcome> watch(SimDispatch& dispatch, support::Async<> operation) {
    struct Run {
        static support::Async<> run(support::Async<> operation, std::shared_ptr<Outcome> outcome,
                                    SimDispatch& dispatch) {
            try {
                co_await operation;
            } catch (...) {
                outcome->error = std::current_exception();
            }
            outcome->ended = true;
            outcome->at = dispatch.elapsed();
        }
    };
    auto outcome = std::make_shared<Outcome>();
    support::startDetached(dispatch.mainQueue(), Run::run(std::move(operation), outcome, dispatch));
    return outcome;
}

class RecorderFixture : public testing::Test {
  protected:
    explicit RecorderFixture(std::uint64_t seed = 1) : sim(seed), events(sim.process) {}

    // Whatever a test left running ends: both deadlines have passed.
    void TearDown() override {
        if (recorder) recorder->stop();
        sim.dispatch.advance(std::chrono::seconds(200));
    }

    void make(cli::RecordingRequest request = screenRequest()) {
        recorder =
            std::make_shared<capture::ScreenCaptureRecorder>(std::move(request), sim.ports, events);
    }
    // Made and started, before the first picture.
    void start(cli::RecordingRequest request = screenRequest()) {
        make(std::move(request));
        const auto outcome = watch(sim.dispatch, recorder->start());
        sim.dispatch.settle();
        ASSERT_TRUE(outcome->ended);
        ASSERT_EQ(outcome->text(), "");
    }
    // Started, and its first picture written.
    void record(cli::RecordingRequest request = screenRequest()) {
        start(std::move(request));
        sim.capture.deliverPicture();
        sim.dispatch.settle();
        ASSERT_EQ(sim.writers.status, platform::MovieWriterStatus::writing);
    }
    void picture() {
        sim.capture.deliverPicture();
        sim.dispatch.settle();
    }
    void sound(platform::StreamOutputType type, float value = 0.1F) {
        sim.capture.deliverSound(type, value);
        sim.dispatch.settle();
    }
    std::shared_ptr<Outcome> wait() { return watch(sim.dispatch, recorder->waitUntilFinished()); }
    std::string failureText() const {
        return recorder->failure() ? cli::localizedDescription(recorder->failure()) : "";
    }
    const std::vector<platform::SampleBufferPtr>& written(std::size_t input) const {
        return sim.writers.inputs.at(input).samples;
    }

    SimPlatform sim;
    control::RecorderEvents events;
    std::shared_ptr<capture::ScreenCaptureRecorder> recorder;
};

}  // namespace quorvane::simulation
