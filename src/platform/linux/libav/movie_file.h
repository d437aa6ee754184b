// Writes encoded samples to the movie on disk, from a thread of its own, so that a slow disk never
// holds up an encoder: about every half second what has come since becomes a fragment, which is
// flushed to the disk; after a stall, one for each second of it, or for more on a slow disk. The
// file is a playable movie from the first fragment on.
// The picture's track: the last picture lasts until the next one. While none comes, its duration
// on disk is brought up to date every second, so that a movie whose process is killed in front of a
// still screen is as long as the recording was.
// A failure of the disk takes back what was written of the fragment it happened in, and ends the
// movie there, indexed if the disk still allows it: the reserve for the index was allocated at the
// start.
// Units: times in the track's ticks, from the movie's begin (a track with priming: from the first
// sample's decoding). Threads: create(), start() and the destructor from one, append() and
// endTrack() for one track from one; endHere(), cancel() and hasRoom() from any. Errors:
// PlatformError, thrown by create() and else reported to Events.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "isobmff/movie_fragment.h"
#include "isobmff/movie_header.h"
#include "isobmff/sample_table.h"
#include "platform/linux/libav/encoded_sample.h"
#include "platform/linux/libav/movie_layout.h"
#include "platform/linux/libav/movie_storage.h"
#include "support/dispatch.h"
#include "support/mutex.h"

namespace quorvane::platform::libav {

struct MovieFileOptions {
    // Room for the index of about an hour of full motion with two tracks of sound, or many of an
    // ordinary recording. A multiple of every usual block size.
    std::int64_t reserve = 4 << 20;  // bytes
    // What may wait for the disk: half a minute at 20 Mbit/s.
    std::int64_t backlog = 64 << 20;  // bytes
    FinishEffort effort = FinishEffort::full;
};

class MovieFile {
  public:
    struct Events {
        // The disk has failed; nothing is written any more. At most once, on the file's thread;
        // onFinished follows.
        std::function<void(std::exception_ptr)> onFailed;
        // The file is in its final form, or as whole as it can be if the finishing failed. Exactly
        // once, on the file's thread, as the last thing that it does.
        std::function<void(std::exception_ptr)> onFinished;
    };

    // The clock must outlive run().
    MovieFile(const support::Clock& clock, const MovieFileOptions& options);
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    // Creates the file and writes its front. Where it throws, there is no file, or the one that was
    // there before is untouched. At most one track has pictures.
    void create(const std::string& path, std::vector<isobmff::TrackDescription> tracks);
    // The host time of the movie's begin.
    void start(support::MediaTime begin);

    // Copies the data; never waits.
    void append(std::size_t track, const EncodedSample& sample);
    // No sample follows; the track ends then. When all have ended the movie is finished.
    void endTrack(std::size_t track, std::int64_t end);
    // The movie ends with what has been appended; tracks that have not ended, end there. Used when
    // something else than the disk has failed.
    void endHere();
    // The file goes away, finished or not, when run() has returned. Any thread.
    void cancel();

    // The file's work: run it on the file's own thread. Returns when the movie is finished, failed
    // or cancelled.
    void run(const Events& events);

    // Whether the backlog is below this part of its limit.
    bool hasRoom(double part) const;

  private:
    struct PendingSample {
        std::uint32_t size;
        std::int64_t time;
        bool isSync;
    };
    struct PendingTrack {
        std::vector<std::byte> data;
        std::vector<PendingSample> samples;
        // Of these, what the fragments so far hold.
        std::size_t writtenBytes = 0;
        std::size_t writtenSamples = 0;
    };
    using Pending = std::vector<PendingTrack>;

    // What the file's thread knows of each track.
    struct TrackState {
        isobmff::SampleTable table;
        std::vector<isobmff::FragmentSample> fragment;  // memory for reuse
        std::int64_t start = 0;                         // time of the first sample, in movie ticks
        std::int64_t lastTime = 0;                      // of the last sample written
        std::int64_t lastDurationPosition = 0;  // in the file; 0: nothing to bring up to date
    };

    enum class Ending { none, finish, cancel };

    bool isAnythingPending() const QUORVANE_REQUIRES(mutex_);
    bool allEnded() const QUORVANE_REQUIRES(mutex_);
    // Returns when the tracks have ended or the movie ends for another reason.
    void writeFragments();
    // These two write without flushing at last. The first answers whether it wrote anything, the
    // second, how many bytes of samples; 0 when nothing is left to write.
    bool updateLastPicture(support::MediaTime now);
    std::int64_t writeFragment(support::MediaTime now);
    void adaptCatchUp(std::chrono::nanoseconds took);
    void setLastDuration(TrackState& state, std::int64_t duration);
    std::int64_t ticksAt(support::MediaTime time, std::uint32_t timescale) const;
    void setEnds(const std::vector<std::optional<std::int64_t>>& ends);
    void finish(FinishEffort effort);
    isobmff::Bytes makeIndex(std::int64_t shift) const;

    const support::Clock& clock_;
    const MovieFileOptions options_;
    std::vector<isobmff::TrackDescription> tracks_;  // constant after create()
    std::uint64_t creationTime_ = 0;

    mutable support::Mutex mutex_;
    support::Condition changed_;
    Pending pending_ QUORVANE_GUARDED_BY(mutex_);
    std::int64_t pendingBytes_ QUORVANE_GUARDED_BY(mutex_) = 0;  // here and being written
    bool due_ QUORVANE_GUARDED_BY(mutex_) = false;               // enough is pending for a fragment
    std::vector<std::optional<std::int64_t>> ends_ QUORVANE_GUARDED_BY(mutex_);
    std::optional<support::MediaTime> begin_ QUORVANE_GUARDED_BY(mutex_);
    Ending ending_ QUORVANE_GUARDED_BY(mutex_) = Ending::none;
    bool over_ QUORVANE_GUARDED_BY(mutex_) = false;  // appended samples are dropped

    // The file's thread only, once run() has begun.
    std::optional<MovieStorage> storage_;
    MovieLayout layout_;
    Pending writing_;
    std::vector<TrackState> states_;
    std::vector<isobmff::FragmentTrack> fragmentTracks_;  // memory for reuse, as the next three
    std::vector<isobmff::FragmentPlace> fragmentPlaces_;
    std::vector<std::size_t> fragmentStates_;
    isobmff::BoxWriter fragmentHeader_;
    std::uint32_t sequenceNumber_ = 0;
    std::chrono::milliseconds catchUp_;  // a fragment's most of each track
    std::optional<support::MediaTime> sessionBegin_;
    support::MediaTime lastFragment_{};
    support::MediaTime lastUpdate_{};
};

}  // namespace quorvane::platform::libav
