#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/system_random.h"
#include "platform/linux/libav/libav_export_session.h"
#include "platform/linux/libav/libav_media_asset.h"
#include "postprocess/audio_mix_down.h"
#include "postprocess/raw_recording.h"
#include "simulation/recording_fixture.h"
#include "support/asio_dispatch.h"

namespace quorvane::postprocess {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return result + "'";
}

std::string outputOf(const std::string& command) {
    std::string output;
    auto* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "cannot run " + command;
    char buffer[4096];
    while (const auto count = std::fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, count);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class RealMixDown : public testing::Test {
  protected:
    RealMixDown() {
        auto name = (std::filesystem::temp_directory_path() /
                     "mix-XXXXX"
                     "X")
                        .string();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
    }
    ~RealMixDown() override {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
        std::filesystem::remove_all(folder);
    }

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
        support::AsioDispatch dispatch;
        platform::Platform ports{dispatch, sim.process, sim.content, sim.capture, sim.writers,
                                 assets,   sim.devices, exports,     files,       random};
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

    std::filesystem::path folder;
    simulation::SimPlatform sim;
    platform::libav::LibavMediaAssets assets;
    platform::libav::LibavExportService exports;
    platform::files::LinuxFileManager files;
    platform::files::SystemRandom random;
    bool ended = false;
};

TEST_F(RealMixDown, FewerThanTwoTracksStayAsTheyAreToTheByte) {
    for (const int tones : {0, 1}) {
        const auto path = movie("movie" + std::to_string(tones) + ".mp4", tones);
        const auto before = read(path);
        EXPECT_EQ(mixDown(path), "");
        EXPECT_TRUE(read(path) == before);
    }
    EXPECT_THAT(sim.process.lines, IsEmpty());
}

TEST_F(RealMixDown, MoreBecomeOneUnderTheSameNameWithTheSamePermissions) {
    for (const int tones : {2, 5}) {
        SCOPED_TRACE(tones);
        const auto path = movie("movie.mp4", tones);
        ASSERT_EQ(chmod(path.c_str(), 0604), 0);
        const auto raw = (folder / "raw/copy.mp4").string();
        const auto before = read(path);
        preserveRawRecordingIfNeeded(path, raw, files);
        EXPECT_EQ(mixDown(path), "");
        EXPECT_TRUE(read(raw) == before);
        EXPECT_EQ(streams(path), "video\naudio\n");
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0604);
        EXPECT_THAT(names(), ElementsAre("movie.mp4", "raw"));
        EXPECT_EQ(sim.process.kinds().at(0), "heartbeat");
        std::filesystem::remove(path);
    }
}

TEST_F(RealMixDown, AnyNameWillDo) {
    const auto ordinary = movie("ordinary.mp4");
    const auto original = read(ordinary);
    std::string longName;
    for (int count = 0; count < 83; ++count)
        longName += "\xE6\x98\xA0";
    for (const std::string& name :
         {std::string("with space.mp4"), std::string("it's \"quoted\" $HOME `x`.mp4"),
          std::string("Gr\xC3\xB6\xC3\x9F"
                      "e.mp4"),
          std::string("-y.mp4"), std::string("movie"), std::string("a.b.c.mp4"),
          std::string(".hidden"), longName + ".mp4"}) {
        SCOPED_TRACE(name);
        const auto path = (folder / name).string();
        std::filesystem::copy_file(ordinary, path);
        EXPECT_EQ(mixDown(path), "");
        EXPECT_EQ(streams(path), "video\naudio\n");
        std::filesystem::remove(path);
        EXPECT_THAT(names(), ElementsAre("ordinary.mp4"));
    }
    EXPECT_TRUE(read(ordinary) == original);
}

TEST_F(RealMixDown, ARelativePathWithALeadingDashIsAPath) {
    movie("-y.mp4");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    EXPECT_EQ(mixDown("-y.mp4"), "");
    std::filesystem::current_path(before);
    EXPECT_EQ(streams(folder / "-y.mp4"), "video\naudio\n");
    EXPECT_THAT(names(), ElementsAre("-y.mp4"));
}

// The limit on a file's size stands in for a full disk.
TEST_F(RealMixDown, WithoutRoomTheMovieStaysAsItWas) {
    const auto path = movie("movie.mp4");
    const auto before = read(path);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit tight{30'000, limit.rlim_max};
    ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    const auto error = mixDown(path);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(error.find("Could not write"), 0U);
    EXPECT_TRUE(read(path) == before);
    EXPECT_THAT(names(), ElementsAre("movie.mp4"));
}

TEST_F(RealMixDown, InAFolderThatIsNotWritableTheMovieStaysAsItWas) {
    const auto path = movie("movie.mp4");
    const auto before = read(path);
    ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    // Permissions do not bind the superuser.
    const auto self = setfsuid(65534);
    const auto error = mixDown(path);
    setfsuid(static_cast<uid_t>(self));
    EXPECT_EQ(error.find("Could not create"), 0U) << error;
    EXPECT_TRUE(read(path) == before);
    EXPECT_THAT(names(), ElementsAre("movie.mp4"));
}

TEST_F(RealMixDown, DamagedMoviesStayAsTheyWere) {
    const auto path = movie("movie.mp4");
    const auto whole = read(path);
    const auto cut = (folder / "cut.mp4").string();
    outputOf("ffmpeg -v error -nostdin -i " + quoted(path) +
             " -map 0 -c copy -movflags +faststart " + quoted(cut));
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    const auto before = read(cut);
    EXPECT_NE(mixDown(cut), "");
    EXPECT_TRUE(read(cut) == before);
    EXPECT_THAT(names(), ElementsAre("cut.mp4", "movie.mp4"));
}

}  // namespace
}  // namespace quorvane::postprocess
