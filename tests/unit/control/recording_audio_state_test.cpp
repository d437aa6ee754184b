#include "control/recording_audio_state.h"

#include <gtest/gtest.h>

namespace quorvane::control {
namespace {

constexpr auto microphone = RecordedAudioSource::microphone;
constexpr auto system = RecordedAudioSource::system;

TEST(RecordingAudioState, EveryAvailableSourceStartsLive) {
    for (const bool hasMicrophone : {false, true}) {
        for (const bool hasSystem : {false, true}) {
            const RecordingAudioState state(hasMicrophone, hasSystem);
            EXPECT_EQ(state.microphoneAvailable, hasMicrophone);
            EXPECT_EQ(state.systemAvailable, hasSystem);
            EXPECT_EQ(state.isEnabled(microphone), hasMicrophone);
            EXPECT_EQ(state.isEnabled(system), hasSystem);
        }
    }
}

TEST(RecordingAudioState, ACommandChangesItsOwnSourceAlone) {
    RecordingAudioState state(true, true);
    EXPECT_TRUE(state.apply({"1", microphone, false}));
    EXPECT_FALSE(state.isEnabled(microphone));
    EXPECT_TRUE(state.isEnabled(system));
    EXPECT_TRUE(state.apply({"2", microphone, false}));
    EXPECT_TRUE(state.apply({"3", microphone, true}));
    EXPECT_TRUE(state.isEnabled(microphone));
}

TEST(RecordingAudioState, ASourceThatWasNotSetUpIsRefusedAndNeverLive) {
    RecordingAudioState state(true, false);
    for (const bool enabled : {false, true}) {
        EXPECT_FALSE(state.apply({"1", system, enabled}));
        EXPECT_FALSE(state.isEnabled(system));
        EXPECT_TRUE(state.isEnabled(microphone));
        EXPECT_FALSE(state.systemAvailable);
        EXPECT_TRUE(state.microphoneAvailable);
    }
}

}  // namespace
}  // namespace quorvane::control
