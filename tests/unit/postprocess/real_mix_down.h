// Mix-downs of real movies in real folders.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/system_random.h"
#include "platform/linux/libav/libav_export_session.h"
#include "platform/linux/libav/libav_media_asset.h"
#include "postprocess/audio_mix_down.h"
#include "simulation/recording_fixture.h"
#include "support/asio_dispatch.h"
#include "unit/temporary_folder.h"

namespace quorvane::postprocess {

inline std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return result + "'";
}

inline std::string outputOf(const std::string& command) {
    std::string output;
    auto* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "cannot run " + command;
    char buffer[4096];
    while (const auto count = std::fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, count);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

inline std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class RealMixDown : public testing::Test {
  protected:
    // A movie of a second and a half with so many tones.
    std::string movie(const std::string& name, int tones = 2) const {
        std::string inputs;
        std::string maps = " -map 0";
        for (int tone = 1; tone <= tones; ++tone) {
            inputs += " -f lavfi -i sine=" + std::to_string(300 * tone) + ":r=48000";
            maps += " -map " + std::to_string(tone);
        }
        const auto path = (folder / name).string();
        outputOf("ffmpeg -v error -nostdin -f lavfi -i testsrc2=s=160x120:r=30" + inputs + maps +
                 " -t 1.5 -c:v libx264 -preset ultrafast -c:a aac -ac 2 -f mp4 " +
                 quoted("file:" + path));
        return path;
    }
    void expectMixed(const std::string& path) const {
        EXPECT_EQ(streams(path), "video\naudio\n");
        EXPECT_EQ(outputOf("ffmpeg -v error -nostdin -i " + quoted("file:" + path) +
                           " -map 0 -f null - 2>&1"),
                  "");
    }
    std::string streams(const std::string& path) const {
        return outputOf("ffprobe -v error -show_entries stream=codec_type -of csv=p=0 " +
                        quoted("file:" + path));
    }
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            result.push_back(entry.path().filename());
        std::sort(result.begin(), result.end());
        return result;
    }
    // Runs to its end; the text of the error, if any.
    std::string mixDown(const std::string& path) {
        ended = false;
        support::AsioDispatch dispatch;
        platform::Platform ports{.dispatch = dispatch,
                                 .process = sim.process,
                                 .shareableContent = sim.content,
                                 .capture = sim.capture,
                                 .movieWriters = sim.writers,
                                 .mediaAssets = assets,
                                 .audioDevices = sim.devices,
                                 .permissions = sim.permissions,
                                 .exports = exports,
                                 .files = files,
                                 .random = random,
                                 .userLocale = sim.userLocale,
                                 .images = sim.images,
                                 .textRecognizer = sim.textRecognizer,
                                 .speechRecognizers = sim.speechRecognizers,
                                 .cameras = sim.cameras,
                                 .application = sim.application};
        control::RecorderEvents events(sim.process);
        std::string text;
        const auto run = [](RealMixDown& self, std::string at, platform::Platform& platform,
                            control::RecorderEvents& to, support::AsioDispatch& queues,
                            std::string& error) -> support::Async<> {
            try {
                co_await mixDownRecordingAudioTracksIfNeeded(std::move(at), platform, to);
            } catch (...) {
                error = cli::localizedDescription(std::current_exception());
            }
            self.ended = true;
            queues.stop();
        };
        support::startDetached(dispatch.mainQueue(),
                               run(*this, path, ports, events, dispatch, text));
        dispatch.run();
        EXPECT_TRUE(ended);
        return text;
    }

    const TemporaryFolder ownFolder;
    const std::filesystem::path folder = ownFolder.path();
    simulation::SimPlatform sim;
    platform::libav::LibavMediaAssets assets;
    platform::libav::LibavExportService exports;
    platform::files::LinuxFileManager files;
    platform::files::SystemRandom random;
    bool ended = false;
};

}  // namespace quorvane::postprocess
