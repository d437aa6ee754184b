#include "postprocess/audio_mix_down.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/recording_fixture.h"

namespace quorvane::simulation {
namespace {

using namespace std::chrono_literals;
using platform::ExportPreset;
using platform::ExportStatus;
using platform::FileType;
using platform::MediaType;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const path = "/x/Take 1.mov";
const char* const scratch = "/x/.Take 1-mixed-00010203-0405-4607-8809-0A0B0C0D0E0F.mp4";
const SimFile recorded{"recorded", 1, 2};
const SimFile mixed{"mixed", 1, 1};

class AudioMixDown : public testing::Test {
  protected:
    explicit AudioMixDown(std::uint64_t seed = 1) : sim(seed) { sim.files.files[path] = recorded; }

    std::shared_ptr<Outcome> start(const std::string& at = path) {
        return watch(sim.dispatch,
                     postprocess::mixDownRecordingAudioTracksIfNeeded(at, sim.ports, events));
    }
    // To its end; the text of the error, if any.
    std::string run(const std::string& at = path) {
        const auto outcome = start(at);
        sim.dispatch.advance(100s);
        EXPECT_TRUE(outcome->ended);
        return outcome->text();
    }
    void expectUntouched(int audioTracks = 2) {
        EXPECT_EQ(sim.files.files.at(path), (SimFile{"recorded", 1, audioTracks}));
        EXPECT_EQ(sim.files.files.size(), 1U);
    }

    SimPlatform sim;
    control::RecorderEvents events{sim.process};
};

TEST_F(AudioMixDown, FewerThanTwoAudioTracksStayUntouched) {
    for (const int tracks : {0, 1}) {
        SCOPED_TRACE(tracks);
        sim.files.files[path].audioTracks = tracks;
        EXPECT_EQ(run(), "");
        expectUntouched(tracks);
        EXPECT_THAT(sim.process.lines, IsEmpty());
        EXPECT_THAT(sim.files.calls, IsEmpty());
        EXPECT_EQ(sim.exports.exports, 0);
    }
}

TEST_F(AudioMixDown, AMissingMovieIsThePlatformsError) {
    EXPECT_EQ(run("/nothing.mp4"), "Could not open /nothing.mp4: No such file or directory");
}

TEST_F(AudioMixDown, TheMovieIsReplacedByAMixOfAllAudioTracksAtUnitVolume) {
    sim.files.files[path].audioTracks = 3;
    sim.assets.duration = 61s + 5ms;
    sim.assets.transform = {0, 1, -1, 0, 480, 0};
    EXPECT_EQ(run(), "");
    EXPECT_EQ(sim.files.files.at(path), mixed);
    EXPECT_EQ(sim.files.files.size(), 1U);

    const auto& tracks = sim.exports.tracks;
    ASSERT_EQ(tracks.size(), 4U);
    const char* const sources[] = {"video 1 of /x/Take 1.mov", "audio 1 of /x/Take 1.mov",
                                   "audio 2 of /x/Take 1.mov", "audio 3 of /x/Take 1.mov"};
    for (std::size_t index = 0; index < 4; ++index) {
        EXPECT_EQ(tracks[index].source, sources[index]);
        EXPECT_EQ(tracks[index].range, (platform::TimeRange{0s, 61s + 5ms}));
        EXPECT_EQ(tracks[index].at, 0ns);
    }
    EXPECT_EQ(tracks[0].transform, sim.assets.transform);
    EXPECT_EQ(tracks[1].transform, platform::AffineTransform{});
    using Parameters = platform::AudioMixInputParameters;
    EXPECT_THAT(
        sim.exports.mix.inputParameters,
        ElementsAre(Parameters{tracks[1].trackID, 1, 0ns}, Parameters{tracks[2].trackID, 1, 0ns},
                    Parameters{tracks[3].trackID, 1, 0ns}));
    EXPECT_EQ(sim.exports.outputPath, scratch);
    EXPECT_EQ(sim.exports.fileType, FileType::mpeg4);
    EXPECT_TRUE(sim.exports.optimized);
    EXPECT_THAT(sim.files.calls, ElementsAre(std::string("remove ") + scratch,
                                             std::string("replace ") + path + " " + scratch,
                                             std::string("remove ") + scratch, "list /x"));
}

TEST_F(AudioMixDown, OnlyTheFirstVideoTrackIsCarriedOver) {
    for (const int videoTracks : {0, 1, 2}) {
        SCOPED_TRACE(videoTracks);
        sim.files.files[path] = {"recorded", videoTracks, 2};
        sim.exports.tracks.clear();
        EXPECT_EQ(run(), "");
        std::vector<MediaType> types;
        for (const auto& track : sim.exports.tracks)
            types.push_back(track.mediaType);
        if (videoTracks == 0) {
            EXPECT_THAT(types, ElementsAre(MediaType::audio, MediaType::audio));
        } else {
            EXPECT_THAT(types, ElementsAre(MediaType::video, MediaType::audio, MediaType::audio));
        }
    }
}

TEST_F(AudioMixDown, TracksThatTheCompositionRefusesAreLeftOut) {
    sim.exports.refusesVideoTracks = true;
    sim.exports.audioTracksAllowed = 1;
    EXPECT_EQ(run(), "");
    ASSERT_EQ(sim.exports.tracks.size(), 1U);
    EXPECT_EQ(sim.exports.tracks[0].source, "audio 1 of /x/Take 1.mov");
    EXPECT_EQ(sim.exports.mix.inputParameters.size(), 1U);
    EXPECT_EQ(sim.files.files.at(path), mixed);
}

TEST_F(AudioMixDown, WithoutAnyUsableAudioTrackNothingIsExported) {
    sim.exports.audioTracksAllowed = 0;
    EXPECT_EQ(run(), "");
    expectUntouched();
    EXPECT_EQ(sim.exports.preset, std::nullopt);
    EXPECT_THAT(sim.files.calls, IsEmpty());
}

TEST_F(AudioMixDown, ThePresetIsTheHighestOrElseTheMediumWithoutAQuestion) {
    struct Row {
        const char* name;
        std::vector<ExportPreset> offered;
        ExportPreset taken;
    };
    const Row rows[] = {
        {"both",
         {ExportPreset::mediumQuality, ExportPreset::highestQuality},
         ExportPreset::highestQuality},
        {"highest alone", {ExportPreset::highestQuality}, ExportPreset::highestQuality},
        {"medium alone", {ExportPreset::mediumQuality}, ExportPreset::mediumQuality},
        {"none", {}, ExportPreset::mediumQuality},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        sim.files.files[path] = recorded;
        sim.exports.presets = row.offered;
        EXPECT_EQ(run(), "");
        EXPECT_EQ(sim.exports.preset, row.taken);
    }
}

TEST_F(AudioMixDown, ASessionThatCannotBeMadeIsAnErrorBeforeAnyFileIsTouched) {
    sim.exports.refusesSession = true;
    EXPECT_EQ(run(), "Could not prepare the recording audio for preview.");
    expectUntouched();
    EXPECT_THAT(sim.files.calls, IsEmpty());
}

TEST_F(AudioMixDown, ASessionWithoutMpeg4IsAnError) {
    sim.exports.fileTypes = {FileType::quickTime};
    EXPECT_EQ(run(), "Could not export the recording audio as MP4.");
    expectUntouched();
    EXPECT_EQ(sim.exports.outputPath, scratch);
    EXPECT_EQ(sim.exports.exports, 0);
    EXPECT_THAT(sim.process.lines, IsEmpty());
    // What lay at the scratch path before goes all the same, before and after.
    EXPECT_THAT(sim.files.calls, ElementsAre(std::string("remove ") + scratch,
                                             std::string("remove ") + scratch, "list /x"));
}

TEST_F(AudioMixDown, AnExportThatDoesNotCompleteLeavesTheMovieAndNoScratchFile) {
    struct Row {
        const char* name;
        ExportStatus status;
        bool hasError;
        const char* text;
    };
    const Row rows[] = {
        {"failed", ExportStatus::failed, true, "An injected fault."},
        {"failed without an error", ExportStatus::failed, false,
         "Could not finalize the recording audio."},
        {"cancelled", ExportStatus::cancelled, true, "An injected fault."},
        {"cancelled without an error", ExportStatus::cancelled, false,
         "Could not finalize the recording audio."},
        {"still exporting", ExportStatus::exporting, true,
         "Could not finalize the recording audio."},
        {"waiting", ExportStatus::waiting, true, "Could not finalize the recording audio."},
        {"unknown", ExportStatus::unknown, true, "Could not finalize the recording audio."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        sim.exports.endsAs = row.status;
        sim.exports.error = row.hasError ? FaultPlan::error() : nullptr;
        EXPECT_EQ(run(), row.text);
        expectUntouched();
    }
}

TEST_F(AudioMixDown, AFailedReplacementLeavesTheMovieAndNoScratchFile) {
    sim.files.failing = "replace";
    EXPECT_EQ(run().find("Could not replace /x/Take 1.mov"), 0U);
    expectUntouched();
}

TEST_F(AudioMixDown, WhatReplacementsLeaveBesideTheMovieIsRemoved) {
    sim.files.files["/x/Take 1.mov.sb-a1b2"] = {};
    sim.files.files[std::string(scratch) + ".sb-1"] = {};
    sim.files.files["/x/Take 1.mov.bak"] = {};
    EXPECT_EQ(run(), "");
    EXPECT_THAT(sim.files.pathsWith("/"), ElementsAre("/x/Take 1.mov", "/x/Take 1.mov.bak"));
}

TEST_F(AudioMixDown, HeartbeatsComeWhileTheExportAdvancesAndNeverAfterwards) {
    sim.exports.takes = 9s;
    const auto outcome = start();
    sim.dispatch.advance(100s);
    EXPECT_EQ(outcome->text(), "");
    std::vector<std::chrono::nanoseconds> times;
    for (const auto& line : sim.process.lines)
        times.push_back(line.at);
    EXPECT_THAT(times, ElementsAre(0s, 2s, 4s, 6s, 8s));
    EXPECT_EQ(outcome->at, 9s);
}

TEST_F(AudioMixDown, AStandingProgressSendsNoMoreHeartbeats) {
    sim.exports.takes = 60s;
    sim.exports.progress = [](std::chrono::nanoseconds elapsed) {
        return elapsed < 3s ? 0.1F : 0.2F;
    };
    EXPECT_EQ(run(), "");
    EXPECT_EQ(sim.process.lines.size(), 2U);
}

TEST_F(AudioMixDown, TheScratchFileIsNamedAfterTheMovie) {
    struct Row {
        const char* name;
        std::string path;
        std::string begin;
    };
    const std::string longName(240, 'n');
    std::string wideName;  // 80 letters of three bytes
    for (int count = 0; count < 80; ++count)
        wideName += "\xE6\x98\xA0";
    const Row rows[] = {
        {"an extension", "/x/a.mp4", "/x/.a-mixed-"},
        {"no extension", "/x/movie", "/x/.movie-mixed-"},
        {"several dots", "/x/a.b.c.mp4", "/x/.a.b.c-mixed-"},
        {"a hidden file", "/x/.hidden", "/x/..hidden-mixed-"},
        {"a hidden file with an extension", "/x/.hidden.mp4", "/x/..hidden-mixed-"},
        {"a dot at the end", "/x/movie.", "/x/.movie.-mixed-"},
        {"spaces and quotes", "/x/it's \"it\".mp4", "/x/.it's \"it\"-mixed-"},
        {"a leading dash", "-a.mp4", "./.-a-mixed-"},
        {"in the root folder", "/a.mp4", "//.a-mixed-"},
        {"a long name", "/x/" + longName + ".mp4", "/x/." + longName.substr(0, 207) + "-mixed-"},
        {"a long name of wide letters", "/x/" + wideName + ".mp4",
         "/x/." + wideName.substr(0, 207) + "-mixed-"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        sim.files.files[row.path] = recorded;
        sim.random.next = 0;
        EXPECT_EQ(run(row.path), "");
        EXPECT_EQ(sim.exports.outputPath, row.begin + "00010203-0405-4607-8809-0A0B0C0D0E0F.mp4");
        EXPECT_EQ(sim.files.files.at(row.path), mixed);
    }
}

TEST(AudioMixDownRace, EveryScheduleEndsWithOneWholeMovieAndNoHeartbeatAfterTheEnd) {
    for (std::uint64_t seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(seed);
        SimPlatform sim(seed);
        control::RecorderEvents events(sim.process);
        sim.files.files[path] = recorded;
        // The export ends in the moment of a look.
        sim.exports.takes = 2s * sim.dispatch.draw(4);
        if (sim.dispatch.draw(2) == 0) sim.exports.endsAs = ExportStatus::failed;
        const auto outcome = watch(sim.dispatch, postprocess::mixDownRecordingAudioTracksIfNeeded(
                                                     path, sim.ports, events));
        ASSERT_TRUE(sim.dispatch.advanceUntil([&] { return outcome->ended; }, 100s));
        const auto lines = sim.process.lines.size();
        EXPECT_EQ(outcome->at, sim.exports.takes);
        EXPECT_EQ(sim.files.files.at(path), outcome->error ? recorded : mixed);
        EXPECT_EQ(sim.files.files.size(), 1U);
        sim.dispatch.advance(100s);
        EXPECT_EQ(sim.process.lines.size(), lines);
    }
}

}  // namespace
}  // namespace quorvane::simulation
