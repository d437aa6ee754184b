// Encodes a long stretch of sound as AAC, on several cores.
// Units: frames are sample frames of the mix (track_sound.h), blocks 1024 of them.
// Threads: append() and finish() from one, nextPackets() from one, which may be another; abandon()
// from any. The encoding runs on threads of its own. Errors: PlatformError, domain "libav"; they
// come out of nextPackets(), while append() only says that it is over.
#pragma once

#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "platform/linux/libav/libav_handles.h"
#include "platform/linux/libav/sound_segment.h"
#include "support/mutex.h"

namespace quorvane::platform::libav {

class ParallelSoundEncoder {
  public:
    // At least one thread. What comes out depends on their number, not on their luck.
    explicit ParallelSoundEncoder(int threads);
    // Abandons what is not done yet.
    ~ParallelSoundEncoder();
    ParallelSoundEncoder(const ParallelSoundEncoder&) = delete;
    ParallelSoundEncoder& operator=(const ParallelSoundEncoder&) = delete;

    // What describes the track.
    const AVCodecContext& settings() const { return *settings_; }

    // The sound, bit by bit. Waits while enough is on its way; false when it is over.
    bool append(const AVFrame& sound);
    // That was all.
    void finish();
    // The next packets of the track, in order, with times in frames; the first lies before the
    // sound's begin, by what the decoder gives before it. Waits for them. None at the end. Throws
    // what went wrong, also what abandon() was given.
    std::vector<PacketPtr> nextPackets();
    // It is over for everybody who waits here. The first reason counts; null: nobody asks any more.
    void abandon(std::exception_ptr reason);

  private:
    // A part of the sound that one thread encodes, while it comes in.
    struct Segment {
        std::int64_t number = 0;
        std::int64_t firstBlock = 0;
        std::deque<FramePtr> pieces;
        bool isComplete = false;  // no piece follows
        bool isLast = false;
    };
    using SegmentPtr = std::shared_ptr<Segment>;

    // The appending thread's. False when it is over.
    bool submitPiece(bool isLast) QUORVANE_EXCLUDES(mutex_);
    // The encoding threads'. Null when it is over.
    bool isOver(std::int64_t number) const QUORVANE_REQUIRES(mutex_);
    SegmentPtr takeSegment(std::int64_t number) QUORVANE_EXCLUDES(mutex_);
    FramePtr takePiece(Segment& segment) QUORVANE_EXCLUDES(mutex_);
    EncodedSegment encode(Segment& segment, AVCodecContext& encoder, bool isFirst)
        QUORVANE_EXCLUDES(mutex_);
    // Every so many segments from that number on.
    void encodeSegments(std::int64_t number, std::int64_t step) QUORVANE_EXCLUDES(mutex_);

    const CodecPtr settings_;
    const std::int64_t mostPendingPieces_;
    const std::int64_t mostEncoded_;  // segments that wait to be taken, or are being encoded

    // The appending thread's.
    FramePtr filling_;
    std::int64_t filled_ = 0;  // frames in it
    std::int64_t pieces_ = 0;  // submitted

    // The taking thread's.
    SegmentJoiner joiner_;
    bool lastTaken_ = false;

    support::Mutex mutex_;
    support::Condition changed_;
    // Those that nobody encodes yet, by number, and the one that is being filled.
    std::map<std::int64_t, SegmentPtr> waiting_ QUORVANE_GUARDED_BY(mutex_);
    SegmentPtr open_ QUORVANE_GUARDED_BY(mutex_);
    std::int64_t pendingPieces_ QUORVANE_GUARDED_BY(mutex_) = 0;
    std::map<std::int64_t, EncodedSegment> encoded_ QUORVANE_GUARDED_BY(mutex_);
    std::int64_t nextNumber_ QUORVANE_GUARDED_BY(mutex_) = 0;  // to be taken
    bool abandoned_ QUORVANE_GUARDED_BY(mutex_) = false;
    std::exception_ptr failure_ QUORVANE_GUARDED_BY(mutex_);

    std::vector<std::thread> threads_;  // last: they use everything above
};

}  // namespace quorvane::platform::libav
