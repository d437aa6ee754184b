#include "platform/linux/libav/movie_layout.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <random>
#include <vector>

#include "platform/platform_error.h"

namespace quorvane::platform::libav {
namespace {

using isobmff::boxHeader;
using isobmff::Bytes;
using isobmff::largeBoxHeader;
using support::MediaTime;
using namespace std::chrono_literals;

constexpr std::int64_t boxHeaderSize = 8;
constexpr std::int64_t mediaHeaderSize = 16;

// Padding beyond this part of the file, and beyond this size, is worth some work.
constexpr std::int64_t worthwhilePart = 50;
constexpr std::int64_t worthwhilePadding = 64 << 10;
// How long a movie may be written anew. Whoever waits for it gives up 90 s after the stop; and when
// only padding is to be saved, nobody should wait long.
constexpr auto patienceForTheIndex = 40s;
constexpr auto patienceForPadding = 5s;
// The first piece of a copy. They grow while a piece takes less than this, up to a size that is
// soon written also when the disk's own cache is full.
constexpr std::int64_t smallestPiece = 1 << 20;
constexpr std::int64_t largestPiece = 32 << 20;
constexpr auto shortTime = 200ms;

std::int64_t roundUp(std::int64_t value, std::int64_t unit) {
    return (value + unit - 1) / unit * unit;
}

std::int64_t sizeOf(const Bytes& bytes) {
    return static_cast<std::int64_t>(bytes.size());
}

bool fits(const Bytes& index, std::int64_t room) {
    const auto padding = room - sizeOf(index) - mediaHeaderSize;
    return padding == 0 || padding >= boxHeaderSize;
}

// The room for an index of that size, with a padding box if there must be one.
std::int64_t roomFor(const Bytes& index) {
    return sizeOf(index) + boxHeaderSize + mediaHeaderSize;
}

class Finish {
  public:
    Finish(MovieStorage& file, MovieLayout layout, const MakeIndex& makeIndex,
           const support::Clock& clock)
        : file_(file),
          layout_(layout),
          recordedMediaBegin_(layout.mediaBegin),
          makeIndex_(makeIndex),
          clock_(clock) {}

    void inPlace() {
        const auto index = makeIndex_(shift());
        if (!fits(index, room())) throw posixError(ENOSPC, "Could not index " + file_.path());
        turnIntoIndex(index);
    }

    void full() {
        auto index = makeIndex_(shift());
        while (!fits(index, room()) && growReserve(roomFor(index) - room()))
            index = makeIndex_(shift());
        if (!fits(index, room())) {
            if (!tryRewrite(patienceForTheIndex)) appendIndex(index);
            return;
        }
        if (isWasteful(index) && shrinkReserve(room() - roomFor(index)))
            index = makeIndex_(shift());
        turnIntoIndex(index);
        if (isWasteful(index)) (void)tryRewrite(patienceForPadding);
    }

  private:
    std::int64_t shift() const { return layout_.mediaBegin - recordedMediaBegin_; }
    std::int64_t room() const { return layout_.mediaBegin - layout_.reserveBegin; }

    bool isWasteful(const Bytes& index) const {
        const auto padding = room() - roomFor(index);
        return padding > worthwhilePadding && padding * worthwhilePart > layout_.end;
    }

    void setReserveEnd(std::int64_t mediaBegin) {
        file_.writeAt(
            layout_.reserveBegin,
            boxHeader(static_cast<std::uint32_t>(mediaBegin - layout_.reserveBegin), "free"));
        file_.flush();
    }

    // Puts blocks into the reserve. What follows the range moves back by its length, so the free
    // box would then end too early, within itself: there it must find the header of a second free
    // box that covers the rest. That header is written before, where it will come from.
    bool growReserve(std::int64_t missing) {
        const auto block = file_.blockSize();
        const auto from = roundUp(layout_.reserveBegin + boxHeaderSize, block);
        const auto most = (layout_.mediaBegin - from) / block * block;
        const auto size = std::min(roundUp(missing, block), most);
        if (size <= 0 || layout_.mediaBegin % block != 0) return false;
        file_.writeAt(layout_.mediaBegin - size,
                      boxHeader(static_cast<std::uint32_t>(size), "free"));
        file_.flush();
        if (!file_.insertRange(from, size)) return false;
        layout_.mediaBegin += size;
        layout_.end += size;
        setReserveEnd(layout_.mediaBegin);
        return true;
    }

    // Takes blocks out of the reserve: first they become a box of their own, which then vanishes.
    bool shrinkReserve(std::int64_t excess) {
        const auto block = file_.blockSize();
        const auto size = excess / block * block;
        if (size <= 0 || layout_.mediaBegin % block != 0) return false;
        file_.writeAt(layout_.mediaBegin - size,
                      boxHeader(static_cast<std::uint32_t>(size), "free"));
        file_.flush();
        setReserveEnd(layout_.mediaBegin - size);
        if (!file_.removeRange(layout_.mediaBegin - size, size)) {
            setReserveEnd(layout_.mediaBegin);
            return false;
        }
        layout_.mediaBegin -= size;
        layout_.end -= size;
        return true;
    }

    // Everything behind the index's own header, up to the media.
    static void writeBehindIndexHeader(MovieStorage& file, const MovieLayout& layout,
                                       const Bytes& index) {
        const auto padding =
            layout.mediaBegin - layout.reserveBegin - sizeOf(index) - mediaHeaderSize;
        file.writeAt(layout.reserveBegin + boxHeaderSize,
                     std::span(index).subspan(static_cast<std::size_t>(boxHeaderSize)));
        if (padding > 0)
            file.writeAt(layout.reserveBegin + sizeOf(index),
                         boxHeader(static_cast<std::uint32_t>(padding), "free"));
        const auto mediaHeader = layout.mediaBegin - mediaHeaderSize;
        file.writeAt(mediaHeader,
                     largeBoxHeader(static_cast<std::uint64_t>(layout.end - mediaHeader), "mdat"));
    }

    void turnIntoIndex(const Bytes& index) {
        writeBehindIndexHeader(file_, layout_, index);
        file_.flush();
        file_.writeAt(layout_.reserveBegin,
                      std::span(index).first(static_cast<std::size_t>(boxHeaderSize)));
        file_.flush();
    }

    bool tryRewrite(std::chrono::seconds patience) noexcept {
        try {
            rewrite(clock_.hostTime() + patience);
            return true;
        } catch (const std::exception&) {
            return false;  // the file itself is as whole as it was
        }
    }

    void rewrite(MediaTime deadline) {
        auto beside = createBeside();
        try {
            // The media keeps its place within a block, so that file systems that can share blocks
            // between files do.
            const auto block = file_.blockSize();
            auto layout = layout_;
            layout.mediaBegin = layout_.reserveBegin + roomFor(makeIndex_(shift()));
            layout.mediaBegin += ((layout_.mediaBegin - layout.mediaBegin) % block + block) % block;
            layout.end = layout.mediaBegin + layout_.end - layout_.mediaBegin;
            const auto index = makeIndex_(layout.mediaBegin - recordedMediaBegin_);
            if (!fits(index, layout.mediaBegin - layout.reserveBegin)) return rewriteFailed();
            beside.copyRange(file_, 0, 0, layout.reserveBegin);
            copyMedia(beside, layout, deadline);
            writeBehindIndexHeader(beside, layout, index);
            beside.writeAt(layout.reserveBegin,
                           std::span(index).first(static_cast<std::size_t>(boxHeaderSize)));
            beside.flush();
            beside.replace(file_);
        } catch (...) {
            beside.unlink();
            throw;
        }
    }

    // To the disk, piece by piece, so that a slow one is noticed in time.
    void copyMedia(MovieStorage& beside, const MovieLayout& layout, MediaTime deadline) const {
        const auto size = layout.end - layout.mediaBegin;
        auto piece = smallestPiece;
        for (std::int64_t done = 0; done < size;) {
            const auto begin = clock_.hostTime();
            const auto length = std::min(piece, size - done);
            beside.copyRange(file_, layout_.mediaBegin + done, layout.mediaBegin + done, length);
            beside.flush();
            done += length;
            const auto end = clock_.hostTime();
            if (done < size && end > deadline)
                throw posixError(ETIMEDOUT, "Could not copy " + file_.path());
            if (end - begin < shortTime) piece = std::min(piece * 2, largestPiece);
        }
    }

    [[noreturn]] void rewriteFailed() const {
        throw posixError(EOVERFLOW, "Could not index " + file_.path());
    }

    // A new file in the same folder under a hidden name.
    MovieStorage createBeside() const {
        const auto& path = file_.path();
        const auto nameBegin = path.rfind('/') + 1;  // 0 without a folder
        std::random_device random;
        for (int attempt = 0;; ++attempt) {
            // Long names are cut: the limit of 255 bytes is the file system's.
            const auto name = path.substr(0, nameBegin) + "." + path.substr(nameBegin, 200) + "." +
                              std::to_string(random()) + ".tmp";
            try {
                return MovieStorage::createNew(name);
            } catch (const PlatformError& error) {
                if (error.code() != EEXIST || attempt == 3) throw;
            }
        }
    }

    // The last resort: the index behind the media, which then begins where the reserve began.
    void appendIndex(const Bytes& index) {
        try {
            file_.writeAt(layout_.end, index);
            file_.flush();
            file_.writeAt(
                layout_.reserveBegin,
                largeBoxHeader(static_cast<std::uint64_t>(layout_.end - layout_.reserveBegin),
                               "mdat"));
        } catch (...) {
            file_.truncate(layout_.end);
            throw;
        }
        file_.flush();
    }

    MovieStorage& file_;
    MovieLayout layout_;
    const std::int64_t recordedMediaBegin_;
    const MakeIndex& makeIndex_;
    const support::Clock& clock_;
};

}  // namespace

void writeMovieFront(MovieStorage& file, const MovieLayout& layout,
                     const isobmff::Bytes& fileType) {
    const auto reserve =
        boxHeader(static_cast<std::uint32_t>(layout.mediaBegin - layout.reserveBegin), "free");
    const std::span<const std::byte> parts[] = {fileType, reserve};
    file.writeAt(0, parts);
}

void finishMovie(MovieStorage& file, MovieLayout layout, const MakeIndex& makeIndex,
                 FinishEffort effort, const support::Clock& clock) {
    Finish finish(file, layout, makeIndex, clock);
    if (effort == FinishEffort::inPlace) {
        finish.inPlace();
    } else {
        finish.full();
    }
}

}  // namespace quorvane::platform::libav
