// Every way of bringing an index in front of the media, on the file systems there are.
#include "platform/linux/libav/movie_layout.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>

#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/wait.h>
#include <unistd.h>

#include "isobmff/movie_header.h"
#include "platform/platform_error.h"
#include "unit/libav/faulty_disk.h"
#include "unit/libav/movie_reader.h"
#include "unit/libav/movie_recording.h"

namespace quorvane::platform::libav {
namespace {

std::vector<std::byte> pattern(std::size_t size) {
    std::vector<std::byte> data(size);
    for (std::size_t index = 0; index < size; ++index)
        data[index] = static_cast<std::byte>(index * 7 + index / 251);
    return data;
}

struct Case {
    const char* name;
    std::int64_t reserve;
    std::size_t media;  // bytes
    std::size_t index;  // bytes
    FinishEffort effort;
    bool succeeds;
};

// A file in the form of a recording: its media is one box of the type that stands first in it.
class RecordedFile {
  public:
    RecordedFile(const std::string& parent, const Case& row)
        : folder_(parent), row_(row), path(folder_.file("movie.mp4")), media_(pattern(row.media)) {
        const auto fileType = isobmff::fileType();
        layout_ = {static_cast<std::int64_t>(fileType.size()), row.reserve,
                   row.reserve + static_cast<std::int64_t>(row.media)};
        std::ranges::copy(isobmff::boxHeader(static_cast<std::uint32_t>(row.media), "moov"),
                          media_.begin());
        file_.emplace(MovieStorage::createNew(path));
        file_->allocate(0, row.reserve);
        writeMovieFront(*file_, layout_, fileType);
        file_->writeAt(row.reserve, media_);
    }

    void finish() {
        finishMovie(
            *file_, layout_, [&](std::int64_t shift) { return index(shift); }, row_.effort, clock);
    }
    std::size_t filesInFolder() const { return folder_.count(); }

    // The whole movie is there, in its fragments or with its index. Returns whether it is indexed.
    bool expectWhole() const {
        auto types = boxTypes(path);
        std::erase(types, "free");
        const auto content = fileContent(path);
        auto mediaEnd = content.size();
        const bool indexedBehind = types == std::vector<std::string>{"ftyp", "mdat", "moov"};
        const bool indexed =
            indexedBehind || types == std::vector<std::string>{"ftyp", "moov", "mdat"};
        if (!indexed) {
            EXPECT_EQ(types, (std::vector<std::string>{"ftyp", "moov"}));
        }
        if (indexedBehind) mediaEnd -= row_.index;
        EXPECT_GE(mediaEnd, media_.size());
        const auto mediaBegin = mediaEnd - media_.size();
        EXPECT_TRUE(std::equal(media_.begin(), media_.end(),
                               content.begin() + static_cast<std::ptrdiff_t>(mediaBegin)));
        if (indexed) {
            const auto expected = index(static_cast<std::int64_t>(mediaBegin) - row_.reserve);
            EXPECT_TRUE(
                std::equal(expected.begin(), expected.end(),
                           content.begin() + (indexedBehind ? static_cast<std::ptrdiff_t>(mediaEnd)
                                                            : layout_.reserveBegin)));
        }
        return indexed;
    }

    std::size_t size() const { return fileContent(path).size(); }

    ManualClock clock;

  private:
    TestFolder folder_;
    const Case row_;

  public:
    const std::string path;

  private:
    // An index that says by how much the media has moved.
    isobmff::Bytes index(std::int64_t shift) const {
        isobmff::BoxWriter writer;
        {
            const auto box = writer.box("moov");
            writer.u64(static_cast<std::uint64_t>(shift));
            writer.bytes(pattern(row_.index - 16));
        }
        return writer.take();
    }

    std::vector<std::byte> media_;
    MovieLayout layout_;
    std::optional<MovieStorage> file_;
};

void check(const Case& row, const std::string& parent) {
    SCOPED_TRACE(std::string(row.name) + " in " + parent);
    RecordedFile movie(parent, row);
    EXPECT_FALSE(movie.expectWhole());
    if (row.succeeds) {
        movie.finish();
    } else {
        EXPECT_ANY_THROW(movie.finish());
    }
    EXPECT_EQ(movie.filesInFolder(), 1U);
    EXPECT_EQ(movie.expectWhole(), row.succeeds);
    if (row.effort == FinishEffort::full) {
        EXPECT_LE(movie.size(),
                  std::max(row.media * 102 / 100, row.media + row.index + (128 << 10)));
    }
}

TEST(FinishMovie, BringsTheIndexInFront) {
    const Case cases[] = {
        {"much media: the padding stays", 4 << 20, 250 << 20 >> 4, 10000, FinishEffort::inPlace,
         true},
        {"little media: the padding goes", 4 << 20, 300'000, 10000, FinishEffort::full, true},
        {"in place only: the padding stays", 4 << 20, 300'000, 10000, FinishEffort::inPlace, true},
        {"exactly full", 65536, 300'000, 65536 - 36 - 16, FinishEffort::full, true},
        {"room for the smallest padding", 65536, 300'000, 65536 - 36 - 16 - 8, FinishEffort::full,
         true},
        {"a little room that no box can fill", 65536, 300'000, 65536 - 36 - 16 - 3,
         FinishEffort::full, true},
        {"one byte too many", 65536, 300'000, 65536 - 36 - 16 + 1, FinishEffort::full, true},
        {"twice the reserve", 65536, 300'000, 131072, FinishEffort::full, true},
        {"ten times the reserve", 65536, 300'000, 655360, FinishEffort::full, true},
        {"a reserve not in whole blocks", 65000, 300'000, 100'000, FinishEffort::full, true},
        {"too large, and only in place", 65536, 300'000, 100'000, FinishEffort::inPlace, false},
    };
    for (const auto& row : cases) {
        check(row, testing::TempDir());
        check(row, "/dev/shm");  // a file system that can neither take blocks out nor put them in
    }
}

TEST(FinishMovie, StopsCopyingWhenTheDiskIsTooSlow) {
    struct Row {
        Case movie;
        std::chrono::seconds flush;
        std::vector<std::string> boxes;
    };
    const std::vector<std::string> padded{"ftyp", "moov", "free", "mdat"};
    const std::vector<std::string> behind{"ftyp", "mdat", "moov"};
    const Row rows[] = {
        {{"only padding is to be saved", 256 << 10, 3 << 20, 10000, FinishEffort::full, true},
         3s,
         padded},
        {{"there is no room for the index", 8192, 3 << 20, 30000, FinishEffort::full, true},
         21s,
         behind},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.movie.name);
        // A file system that can neither take blocks out nor put them in.
        RecordedFile movie("/dev/shm", row.movie);
        beforeEachFlush(
            [&] { movie.clock.set(movie.clock.hostTime() + std::chrono::seconds(row.flush)); });
        movie.finish();
        beforeEachFlush(nullptr);
        EXPECT_TRUE(movie.expectWhole());
        EXPECT_EQ(boxTypes(movie.path), row.boxes);
        EXPECT_EQ(movie.filesInFolder(), 1U);
    }
}

// The ways of finishing, as above.
const Case ways[] = {
    {"the padding goes", 256 << 10, 100'000, 10000, FinishEffort::full, true},
    {"the reserve grows", 8192, 100'000, 30000, FinishEffort::full, true},
    {"the padding stays", 256 << 10, 100'000, 10000, FinishEffort::inPlace, true},
};

TEST(FinishMovie, TrustsNoFileSystemThatCopiesInsteadOfMovingBlocks) {
    pretendFileSystem(SMB2_SUPER_MAGIC);
    for (const auto& row : ways)
        check(row, testing::TempDir());
    pretendFileSystem(0);
}

TEST(FinishMovie, LeavesAWholeMovieWhereverItIsKilled) {
    for (const auto& row : ways) {
        for (const auto& parent : {testing::TempDir(), std::string("/dev/shm")}) {
            SCOPED_TRACE(std::string(row.name) + " in " + parent);
            bool died = true;
            for (int nth = 1; died; ++nth) {
                SCOPED_TRACE(nth);
                ASSERT_LT(nth, 60);
                RecordedFile movie(parent, row);
                const auto child = fork();
                ASSERT_GE(child, 0);
                if (child == 0) {
                    dieAtCall(nth);
                    movie.finish();
                    _exit(0);
                }
                int status = 0;
                ASSERT_EQ(waitpid(child, &status, 0), child);
                died = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
                const bool indexed = movie.expectWhole();
                if (!died) {
                    EXPECT_TRUE(indexed);
                    EXPECT_GT(nth, 5);
                }
            }
        }
    }
}

TEST(FinishMovie, LeavesAWholeMovieWhateverFails) {
    for (const auto& row : ways) {
        for (const auto& parent : {testing::TempDir(), std::string("/dev/shm")}) {
            for (const bool forGood : {false, true}) {
                SCOPED_TRACE(std::string(row.name) + " in " + parent +
                             (forGood ? ", for good" : ", once"));
                bool reached = true;
                for (int nth = 1; reached; ++nth) {
                    SCOPED_TRACE(nth);
                    ASSERT_LT(nth, 60);
                    RecordedFile movie(parent, row);
                    (forGood ? failFromCall : failAtCall)(nth, EIO);
                    bool failed = false;
                    try {
                        movie.finish();
                    } catch (const PlatformError& error) {
                        failed = true;
                        EXPECT_EQ(error.code(), EIO);
                    }
                    reached = countCalls() >= nth;
                    // A call may fail whose work can be done in another way.
                    const bool indexed = movie.expectWhole();
                    EXPECT_TRUE(indexed || failed);
                    EXPECT_EQ(movie.filesInFolder(), 1U);
                }
            }
        }
    }
}

}  // namespace
}  // namespace quorvane::platform::libav
