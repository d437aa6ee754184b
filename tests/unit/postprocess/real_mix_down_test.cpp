#include "unit/postprocess/real_mix_down.h"

#include <cerrno>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "postprocess/raw_recording.h"

namespace quorvane::postprocess {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
