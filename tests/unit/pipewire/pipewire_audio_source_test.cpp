// PipeWireAudioSource and PipeWireAudioDevices on a real sound server of the test's own.
#include "platform/linux/pipewire/pipewire_audio_source.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "platform/linux/pipewire/pipewire_audio_devices.h"
#include "platform/linux/pipewire/pipewire_microphone_access.h"
#include "platform/platform_error.h"
#include "system/tools/sound_player.h"
#include "unit/pipewire/captured_sound.h"
#include "unit/pipewire/distant_speaker.h"
#include "unit/pipewire/private_sound_session.h"
#include "unit/pipewire/undisturbed.h"

namespace quorvane::platform::pipewire {
namespace {

using namespace std::chrono_literals;
using test::CapturedSound;
using test::hostTime;
using test::undisturbed;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;
using tools::Beep;
using tools::SoundPlayer;
using tools::Tone;

// WirePlumber 0.4.13 sometimes leaves streams alone after its start, a fresh player's too.
constexpr int restarts = 3;

std::chrono::nanoseconds elapsedSince(support::MediaTime time) {
    return hostTime() - time;
}

// Whether the time, forwards or backwards, is less than the limit.
AssertionResult isBelow(std::chrono::nanoseconds limit, std::chrono::nanoseconds time) {
    if (std::chrono::abs(time) < limit) return AssertionSuccess();
    return AssertionFailure() << time.count() << " ns, not below " << limit.count() << " ns";
}

class PipeWireTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        const auto plays = undisturbed(restarts, [] {
            session_.reset();
            session_ = std::make_unique<test::PrivateSoundSession>();
            const SoundPlayer player("speakers");
            return AssertionSuccess();
        });
        ASSERT_TRUE(plays);
    }
    static void TearDownTestSuite() { session_.reset(); }

    static test::PrivateSoundSession& session() { return *session_; }

  private:
    inline static std::unique_ptr<test::PrivateSoundSession> session_;
};

// The server dates a cycle by when its timer went off, which a busy machine puts off by some ms.
constexpr auto clockError = 5ms;

struct BeepTimes {
    support::MediaTime heard;
    support::MediaTime captured;
};

// Nothing when the beep was not captured about when it was heard.
std::optional<BeepTimes> timesOfBeep(SoundPlayer& player, const CapturedSound& sound,
                                     support::MediaTime time) {
    const int beep = player.playBeepAt(time, Beep{});
    const auto heard = player.beepHeardAt(beep, 2s);
    if (!heard || !sound.waitForTime(*heard + 50ms)) return std::nullopt;
    const auto captured = sound.firstLoudSample(*heard - 80ms, 0.1F);
    if (!captured) return std::nullopt;
    return BeepTimes{*heard, *captured};
}

AssertionResult isCapturedWhenHeard(const std::optional<BeepTimes>& beep) {
    if (!beep) return AssertionFailure() << "The beep was not captured.";
    return isBelow(clockError, beep->captured - beep->heard);
}

// A beep that the player has rendered for a cycle which the graph then misses is played in the
// next one, later than the player said.
AssertionResult beepIsOnTime(SoundPlayer& player, const CapturedSound& sound) {
    return undisturbed(
        3, [&] { return isCapturedWhenHeard(timesOfBeep(player, sound, hostTime() + 100ms)); });
}

// Whether a fresh player is captured after the restart, which is made again when it is not.
AssertionResult isHeardAfter(const std::function<void()>& restart, const std::string& target,
                             const CapturedSound& sound, double frequency) {
    return undisturbed(restarts, [&] {
        restart();
        SoundPlayer player(target);
        player.setTone(Tone{.frequency = frequency, .left = 0.25, .right = 0.25});
        return AssertionResult(sound.waitForTone(frequency, 0.25, 0.02))
               << "The player was not captured.";
    });
}

// Starts a source that must fail so. Returns how long that took.
std::chrono::nanoseconds failToStart(int code, const std::string& description) {
    const auto source = makePipeWireSystemAudioSource();
    const auto asked = hostTime();
    try {
        source->start([](const SampleBufferPtr&) {});
        ADD_FAILURE() << "started";
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.domain(), "PipeWire");
        EXPECT_EQ(error.code(), code);
        EXPECT_EQ(error.description(), description);
    }
    return elapsedSince(asked);
}

// A server that is stalled answers too late, and it stays unknown.
bool microphonesComeToBeAllowed() {
    return test::waitUntil([] { return microphoneAccess() == MicrophoneAccess::allowed; });
}

AssertionResult otherThreadsTakeNoSignals() {
    int threads = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() == std::to_string(getpid())) continue;
        ++threads;
        std::ifstream status(task.path() / "status");
        std::string line;
        std::string blocked;
        while (std::getline(status, line)) {
            if (line.starts_with("SigBlk:")) blocked = line;
        }
        if (blocked.size() <= 8) return AssertionFailure() << task.path() << " has ended";
        const auto mask = std::stoull(blocked.substr(8), nullptr, 16);
        for (const int signal : {SIGINT, SIGTERM}) {
            // SIGINT is the second signal, SIGTERM the fifteenth.
            if ((mask & (1ULL << (signal - 1))) == 0) {
                return AssertionFailure() << task.path() << " takes " << signal << ", " << blocked;
            }
        }
    }
    return AssertionResult(threads >= 2) << threads << " threads";
}

TEST_F(PipeWireTest, WhatTheSpeakersPlayIsCapturedWithItsLoudness) {
    SoundPlayer player("speakers");
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.25});
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForFrames(48000));
    EXPECT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    EXPECT_TRUE(sound.waitForTone(1000, 0.25, 0.02, 1));
    EXPECT_TRUE(sound.waitForTone(1500, 0, 0.02));
    source->stop(hostTime());
    EXPECT_EQ(sound.faults(), "");
}

TEST_F(PipeWireTest, SoundWithoutAPauseHasTimesWithoutAGap) {
    SoundPlayer player("speakers");
    const auto gapless = undisturbed(5, []() -> AssertionResult {
        CapturedSound sound;
        const auto source = makePipeWireSystemAudioSource();
        const auto started = hostTime();
        source->start(sound.onSamples());
        if (!sound.waitForFrames(48000)) return AssertionFailure() << "There is no sound.";
        source->stop(hostTime());

        EXPECT_TRUE(sound.timesNeverGoBack());
        const auto first = *sound.firstTime();
        if (first < started - 100ms || first > started + 1s) {
            return AssertionFailure() << "starts " << (first - started).count() << " ns late";
        }
        // A sixteenth of what is measured early or late is followed, of less than 4 ms.
        const auto seamless = isBelow(300us, sound.largestStepSince(0));
        if (!seamless) return seamless;
        const auto played = std::chrono::nanoseconds(1s) *
                            static_cast<std::int64_t>(sound.frames()) / test::soundRate;
        return isBelow(clockError, *sound.endTime() - first - played);
    });
    EXPECT_TRUE(gapless);
}

TEST_F(PipeWireTest, ABeepIsCapturedAtTheTimeItIsHeard) {
    SoundPlayer player("speakers");
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForFrames(1));
    for (int count = 0; count < 3; ++count)
        EXPECT_TRUE(beepIsOnTime(player, sound));
    source->stop(hostTime());
}

TEST_F(PipeWireTest, ABeepIsCapturedAtTheTimeItIsHeardWhateverTheGraphRunsAt) {
    struct Row {
        std::string name;
        std::string setting;
        std::string value;
    };
    const Row rows[] = {
        {"short cycles", "clock.force-quantum", "256"},
        {"long cycles", "clock.force-quantum", "4096"},
        {"another sample rate", "clock.force-rate", "44100"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        session().run({"pw-metadata", "-n", "settings", "0", row.setting, row.value});
        {
            SoundPlayer player("speakers");
            CapturedSound sound;
            const auto source = makePipeWireSystemAudioSource();
            source->start(sound.onSamples());
            EXPECT_TRUE(sound.waitForFrames(9600));
            EXPECT_TRUE(beepIsOnTime(player, sound));
            source->stop(hostTime());
        }
        session().run({"pw-metadata", "-n", "settings", "0", row.setting, "0"});
    }
}

TEST_F(PipeWireTest, StoppingDeliversTheSoundUpToTheEndAndNoMore) {
    SoundPlayer player("speakers");
    // The last sound is waited for a tenth of a second, which a stalled server may miss.
    const auto toTheEnd = undisturbed(5, []() -> AssertionResult {
        CapturedSound sound;
        const auto source = makePipeWireSystemAudioSource();
        source->start(sound.onSamples());
        if (!sound.waitForFrames(9600)) return AssertionFailure() << "There is no sound.";
        const auto end = hostTime();
        source->stop(end);
        const auto taken = elapsedSince(end);

        const std::size_t frames = sound.frames();
        std::this_thread::sleep_for(60ms);
        EXPECT_EQ(sound.frames(), frames);
        if (const auto inTime = isBelow(1s, taken); !inTime) return inTime;
        return isBelow(1ms, *sound.endTime() - end);
    });
    EXPECT_TRUE(toTheEnd);
}

TEST_F(PipeWireTest, TheDefaultSpeakerIsFollowedWhenItChanges) {
    SoundPlayer speakers("speakers");
    SoundPlayer headset("headset");
    speakers.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    headset.setTone(Tone{.frequency = 2000, .left = 0.25, .right = 0.25});
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForTone(1000, 0.5, 0.02));

    session().setDefaultSpeaker("headset");
    EXPECT_TRUE(sound.waitForTone(2000, 0.25, 0.02));
    EXPECT_TRUE(sound.waitForTone(1000, 0, 0.02));
    headset.setTone(std::nullopt);
    EXPECT_TRUE(sound.waitForTone(2000, 0, 0.001));
    EXPECT_TRUE(beepIsOnTime(headset, sound));
    session().setDefaultSpeaker("speakers");
    EXPECT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    source->stop(hostTime());
    EXPECT_TRUE(sound.timesNeverGoBack());
}

TEST_F(PipeWireTest, ASpeakerThatPlaysLateIsCapturedAtTheTimeItIsHeard) {
    const test::DistantSpeaker speaker("distant", 150ms);
    ASSERT_TRUE(test::waitUntil([] { return session().hasNode("distant"); }));
    session().setDefaultSpeaker("distant");
    SoundPlayer player("distant");
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    // The first sound may still be that of the speaker before.
    player.setTone(Tone{});
    EXPECT_TRUE(test::waitUntil([&] { return sound.amplitude(1000, 0) > 0.1; }));
    player.setTone(std::nullopt);
    EXPECT_TRUE(sound.waitForTone(1000, 0, 0.001));
    const auto onTime = undisturbed(3, [&]() -> AssertionResult {
        // A beep that is asked for at once is heard only after the latency.
        const auto asked = hostTime();
        const auto beep = timesOfBeep(player, sound, asked);
        if (beep && beep->heard <= asked + 150ms) {
            return AssertionFailure() << "The beep was heard before the latency was over.";
        }
        return isCapturedWhenHeard(beep);
    });
    source->stop(hostTime() + 1s);
    session().setDefaultSpeaker("speakers");
    EXPECT_TRUE(onTime);
}

TEST_F(PipeWireTest, AMicrophoneWithOneChannelIsHeardInBoth) {
    session().startMicrophone("lab-mic", "MONO");
    SoundPlayer player("lab-mic-feed");
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource("lab-mic");
    source->start(sound.onSamples());
    // The player's two channels become one of the square root of two times the amplitude.
    EXPECT_TRUE(sound.waitForTone(1000, 0.7071, 0.02));
    EXPECT_TRUE(sound.waitForTone(1000, 0.7071, 0.02, 1));
    source->stop(hostTime());
    session().killMicrophone("lab-mic");
}

TEST_F(PipeWireTest, SoundThatIsLinkedInFromAnotherDeviceIsNotLetThrough) {
    session().startMicrophone("lab-mic");
    session().startMicrophone("other-mic");
    SoundPlayer player("lab-mic-feed");
    SoundPlayer other("other-mic-feed");
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    other.setTone(Tone{.frequency = 2000, .left = 0.5, .right = 0.5});
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource("lab-mic");
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForTone(1000, 0.5, 0.02));

    const std::vector<std::string> ports{"other-mic:capture_FL",
                                         "quorvane-recorder-microphone:input_FL"};
    session().run({"pw-link", ports[0], ports[1]});
    // What came before the link may still be on its way.
    const auto frames = sound.framesOnceQuiet(400ms);
    ASSERT_TRUE(frames);
    EXPECT_NEAR(sound.amplitude(2000, 0), 0, 0.02);

    session().run({"pw-link", "-d", ports[0], ports[1]});
    EXPECT_TRUE(sound.waitForFrames(*frames + 9600));
    EXPECT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    EXPECT_NEAR(sound.amplitude(2000, 0), 0, 0.02);
    source->stop(hostTime());
    session().killMicrophone("lab-mic");
    session().killMicrophone("other-mic");
}

TEST_F(PipeWireTest, AMicrophoneIsCapturedByItsID) {
    session().startMicrophone("lab-mic");
    SoundPlayer player("lab-mic-feed");
    SoundPlayer other("speakers");
    other.setTone(Tone{.frequency = 2000, .left = 0.5, .right = 0.5});
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.25});
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource("lab-mic");
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    EXPECT_TRUE(sound.waitForTone(1000, 0.25, 0.02, 1));
    EXPECT_NEAR(sound.amplitude(2000, 0), 0, 0.02);
    player.setTone(std::nullopt);
    ASSERT_TRUE(sound.waitForTone(1000, 0, 0.001));
    EXPECT_TRUE(beepIsOnTime(player, sound));
    source->stop(hostTime());
    session().killMicrophone("lab-mic");
    EXPECT_EQ(sound.faults(), "");
}

TEST_F(PipeWireTest, AMicrophoneThatVanishesIsSilentUntilItIsBack) {
    session().startMicrophone("lab-mic");
    session().startMicrophone("other-mic");
    auto player = std::make_unique<SoundPlayer>("lab-mic-feed");
    SoundPlayer other("other-mic-feed");
    player->setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    other.setTone(Tone{.frequency = 2000, .left = 0.5, .right = 0.5});
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource("lab-mic");
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForTone(1000, 0.5, 0.02));

    session().killMicrophone("lab-mic");
    player.reset();
    // Long enough for several attempts to link the stream to something else.
    EXPECT_TRUE(sound.framesOnceQuiet(1200ms));
    EXPECT_NEAR(sound.amplitude(2000, 0), 0, 0.02);

    session().startMicrophone("lab-mic");
    player = std::make_unique<SoundPlayer>("lab-mic-feed");
    player->setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    EXPECT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    EXPECT_NEAR(sound.amplitude(2000, 0), 0, 0.02);
    source->stop(hostTime());
    EXPECT_TRUE(sound.timesNeverGoBack());
    EXPECT_GT(sound.largestStepSince(0), 1s);
    session().killMicrophone("lab-mic");
    session().killMicrophone("other-mic");
}

TEST_F(PipeWireTest, AMicrophoneThatIsMissingAtTheStartIsAwaitedAndNotReplaced) {
    session().startMicrophone("other-mic");
    SoundPlayer other("other-mic-feed");
    other.setTone(Tone{.frequency = 2000, .left = 0.5, .right = 0.5});
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource("lab-mic");
    source->start(sound.onSamples());
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(sound.frames(), 0U);

    session().startMicrophone("lab-mic");
    SoundPlayer player("lab-mic-feed");
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    EXPECT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    source->stop(hostTime());
    session().killMicrophone("lab-mic");
    session().killMicrophone("other-mic");
}

TEST_F(PipeWireTest, TheMonitorOfASpeakerIsNoMicrophone) {
    SoundPlayer player("speakers");
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    PipeWireAudioDevices devices;
    EXPECT_FALSE(devices.defaultInputDevice());
    EXPECT_TRUE(devices.inputDevices().empty());
    // A machine without a microphone denies nothing.
    EXPECT_TRUE(microphonesComeToBeAllowed());
    for (const std::optional<std::string>& deviceID :
         {std::optional<std::string>(), std::optional<std::string>("speakers")}) {
        SCOPED_TRACE(deviceID.value_or("the default microphone"));
        CapturedSound sound;
        const auto source = makePipeWireMicrophoneSource(deviceID);
        source->start(sound.onSamples());
        std::this_thread::sleep_for(300ms);
        source->stop(hostTime());
        EXPECT_EQ(sound.frames(), 0U);
    }
}

TEST_F(PipeWireTest, TheDefaultMicrophoneHasItsIDAndItsName) {
    session().startMicrophone("lab-mic");
    PipeWireAudioDevices devices;
    std::optional<AudioInputDevice> device;
    test::waitUntil([&] {
        device = devices.defaultInputDevice();
        return device.has_value();
    });
    ASSERT_TRUE(device);
    EXPECT_EQ(device->uniqueID, "lab-mic");
    EXPECT_EQ(device->localizedName, "The lab-mic");

    SoundPlayer player("lab-mic-feed");
    player.setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource(std::nullopt);
    source->start(sound.onSamples());
    EXPECT_TRUE(sound.waitForTone(1000, 0.5, 0.02));
    source->stop(hostTime());
    session().killMicrophone("lab-mic");
}

TEST_F(PipeWireTest, MicrophonesAreListedInTheOrderOfTheirComing) {
    session().startMicrophone("second-mic");
    session().startMicrophone("first-mic");
    std::vector<AudioInputDevice> devices;
    test::waitUntil([&] {
        devices = PipeWireAudioDevices().inputDevices();
        return !devices.empty();
    });
    std::vector<std::string> ids;
    std::vector<std::string> names;
    for (const AudioInputDevice& device : devices) {
        ids.push_back(device.uniqueID);
        names.push_back(device.localizedName);
    }
    EXPECT_EQ(ids, (std::vector<std::string>{"second-mic", "first-mic"}));
    EXPECT_EQ(names, (std::vector<std::string>{"The second-mic", "The first-mic"}));
    EXPECT_TRUE(microphonesComeToBeAllowed());
    session().killMicrophone("second-mic");
    session().killMicrophone("first-mic");
}

TEST_F(PipeWireTest, TheSoundOfARestartedServerIsPickedUpAgain) {
    auto player = std::make_unique<SoundPlayer>("speakers");
    player->setTone(Tone{.frequency = 1000, .left = 0.5, .right = 0.5});
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForTone(1000, 0.5, 0.02));

    const auto restart = [&] {
        session().killServer();
        player.reset();
        session().startServer();
    };
    EXPECT_TRUE(isHeardAfter(restart, "speakers", sound, 2000));
    source->stop(hostTime());
    EXPECT_TRUE(sound.timesNeverGoBack());
}

TEST_F(PipeWireTest, StartingWithAFrozenServerIsAnErrorAfterFiveSeconds) {
    session().freezeServer();
    const auto taken = failToStart(ETIMEDOUT, "The sound server PipeWire did not answer.");
    session().thawServer();
    EXPECT_GT(taken, 4900ms);
    EXPECT_LT(taken, 8s);
}

TEST_F(PipeWireTest, StoppingReturnsWhenTheServerIsFrozen) {
    SoundPlayer player("speakers");
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForFrames(4800));
    session().freezeServer();
    const auto asked = hostTime();
    source->stop(asked);
    const auto taken = elapsedSince(asked);
    session().thawServer();
    EXPECT_LT(taken, 3s);
}

TEST_F(PipeWireTest, AFrozenServerLeavesItUnknownWhetherMicrophonesMayBeUsed) {
    session().freezeServer();
    const auto access = microphoneAccess();
    const auto devices = PipeWireAudioDevices().inputDevices();
    session().thawServer();
    EXPECT_EQ(access, MicrophoneAccess::unknown);
    EXPECT_TRUE(devices.empty());
}

TEST_F(PipeWireTest, AskingAFrozenServerForItsDevicesEndsWithinASecond) {
    const auto timeToAsk = [] {
        const auto asked = hostTime();
        EXPECT_FALSE(PipeWireAudioDevices().defaultInputDevice());
        return elapsedSince(asked);
    };
    const auto inTime = undisturbed(3, [&] {
        session().freezeServer();
        const auto frozen = timeToAsk();
        session().thawServer();
        // The library's start, which a busy machine draws out, is no waiting for the server.
        return isBelow(1s, frozen - timeToAsk());
    });
    EXPECT_TRUE(inTime);
}

TEST_F(PipeWireTest, TheThreadsOfASourceTakeNoSignals) {
    CapturedSound sound;
    const auto source = makePipeWireSystemAudioSource();
    source->start(sound.onSamples());
    ASSERT_TRUE(sound.waitForFrames(1));
    // The system lists a thread for a moment after it was joined.
    EXPECT_TRUE(undisturbed(3, otherThreadsTakeNoSignals));
    source->stop(hostTime());
}

// Real devices are the session manager's own: they go and come back with it.
TEST(PipeWireWithoutSpeakers, AMicrophoneIsPickedUpAgainWhenTheSessionManagerWasRestarted) {
    test::PrivateSoundSession session(test::PrivateSoundSession::Speakers::none);
    CapturedSound sound;
    const auto source = makePipeWireMicrophoneSource(std::nullopt);
    source->start(sound.onSamples());
    const auto restart = [&] {
        session.killManager();
        session.killMicrophone("lab-mic");
        session.startManager();
        session.startMicrophone("lab-mic");
    };
    ASSERT_TRUE(isHeardAfter(restart, "lab-mic-feed", sound, 1000));
    EXPECT_TRUE(isHeardAfter(restart, "lab-mic-feed", sound, 2000));
    source->stop(hostTime());
    EXPECT_TRUE(sound.timesNeverGoBack());
}

TEST(PipeWireWithoutAServer, StartingIsAnErrorAndThereAreNoDevices) {
    setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);
    const auto asked = hostTime();
    failToStart(EHOSTDOWN, "The sound server PipeWire could not be reached.");
    EXPECT_FALSE(PipeWireAudioDevices().defaultInputDevice());
    EXPECT_TRUE(PipeWireAudioDevices().inputDevices().empty());
    EXPECT_EQ(microphoneAccess(), MicrophoneAccess::noServer);
    // Three questions that each waited for an answer would take 2.4 s.
    EXPECT_LT(elapsedSince(asked), 2s);
}

}  // namespace
}  // namespace quorvane::platform::pipewire
