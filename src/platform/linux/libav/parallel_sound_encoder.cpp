#include "platform/linux/libav/parallel_sound_encoder.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/samplefmt.h>
}

#include "platform/linux/libav/libav_error.h"
#include "platform/linux/libav/track_sound.h"
#include "support/background_thread.h"

namespace quorvane::platform::libav {
namespace {

using support::MutexLock;

constexpr int channels = 2;
constexpr int bitRate = 192000;

// What goes to an encoding thread at once. As long as the overlap of two segments, so that both get
// the same piece.
constexpr std::int64_t pieceFrames = overlapBlocks * framesPerBlock;
// 11 s, so that encoding the overlap twice costs little.
constexpr std::int64_t piecesPerSegment = 42;

CodecPtr openEncoder() {
    auto encoder = makeEncoder("aac");
    encoder->sample_rate = mixSampleRate;
    av_channel_layout_default(&encoder->ch_layout, channels);
    encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder->bit_rate = bitRate;
    encoder->time_base = {1, mixSampleRate};
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    throwIfError(avcodec_open2(encoder.get(), encoder->codec, nullptr), "open the sound encoder");
    return encoder;
}

FramePtr makePiece() {
    auto frame = makeFrame();
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->sample_rate = mixSampleRate;
    av_channel_layout_default(&frame->ch_layout, channels);
    frame->nb_samples = static_cast<int>(pieceFrames);
    throwIfError(av_frame_get_buffer(frame.get(), 0), "make room for sound");
    return frame;
}

FramePtr share(const AVFrame& frame) {
    auto shared = makeFrame();
    throwIfError(av_frame_ref(shared.get(), &frame), "make room for sound");
    return shared;
}

// Takes what the encoder has to give.
void receive(AVCodecContext& encoder, std::vector<PacketPtr>& packets) {
    for (;;) {
        auto packet = makePacket();
        const int result = avcodec_receive_packet(&encoder, packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        throwIfError(result, "encode the sound");
        packets.push_back(std::move(packet));
    }
}

// Encodes a piece block by block. Its pts is its place.
void encodePiece(AVCodecContext& encoder, const AVFrame& piece, std::vector<PacketPtr>& packets) {
    const auto block = makeFrame();
    for (std::int64_t done = 0; done < piece.nb_samples; done += framesPerBlock) {
        throwIfError(av_frame_ref(block.get(), &piece), "encode the sound");
        for (int channel = 0; channel < channels; ++channel)
            block->data[channel] += done * static_cast<std::int64_t>(sizeof(float));
        block->extended_data = block->data;
        block->nb_samples =
            static_cast<int>(std::min<std::int64_t>(piece.nb_samples - done, framesPerBlock));
        block->pts = piece.pts + done;
        const int result = avcodec_send_frame(&encoder, block.get());
        av_frame_unref(block.get());
        throwIfError(result, "encode the sound");
        receive(encoder, packets);
    }
}

}  // namespace

ParallelSoundEncoder::ParallelSoundEncoder(int threads)
    : settings_(openEncoder()),
      // One segment for each thread, and the one that is being filled.
      mostPendingPieces_((threads + 1) * piecesPerSegment),
      mostEncoded_(std::int64_t{2} * threads),
      filling_(makePiece()) {
    try {
        for (int index = 0; index < threads; ++index)
            threads_.push_back(support::startBackgroundThread(
                "export-encode", [this, index, threads] { encodeSegments(index, threads); }));
    } catch (...) {
        abandon(nullptr);
        for (auto& thread : threads_)
            thread.join();
        throw;
    }
}

ParallelSoundEncoder::~ParallelSoundEncoder() {
    abandon(nullptr);
    for (auto& thread : threads_)
        thread.join();
}

bool ParallelSoundEncoder::append(const AVFrame& sound) {
    for (std::int64_t done = 0; done < sound.nb_samples;) {
        if (filled_ == pieceFrames && !submitPiece(/*isLast=*/false)) return false;
        const auto count = std::min(sound.nb_samples - done, pieceFrames - filled_);
        av_samples_copy(filling_->extended_data, sound.extended_data, static_cast<int>(filled_),
                        static_cast<int>(done), static_cast<int>(count), channels,
                        AV_SAMPLE_FMT_FLTP);
        filled_ += count;
        done += count;
    }
    return true;
}

void ParallelSoundEncoder::finish() {
    if (pieces_ == 0 && filled_ == 0) {
        // A track without a packet would be none.
        filled_ = framesPerBlock;
        av_samples_set_silence(filling_->extended_data, 0, static_cast<int>(filled_), channels,
                               AV_SAMPLE_FMT_FLTP);
    }
    submitPiece(/*isLast=*/true);
}

bool ParallelSoundEncoder::submitPiece(bool isLast) {
    auto piece = std::move(filling_);
    piece->pts = pieces_ * pieceFrames;
    piece->nb_samples = static_cast<int>(filled_);
    filled_ = 0;
    if (!isLast) filling_ = makePiece();
    const bool endsSegment = isLast || (pieces_ + 1) % piecesPerSegment == 0;
    // The next segment begins with the last piece of this one.
    auto overlap = endsSegment && !isLast ? share(*piece) : nullptr;

    MutexLock lock(mutex_);
    while (!abandoned_ && pendingPieces_ >= mostPendingPieces_)
        changed_.wait(mutex_);
    if (abandoned_) return false;
    if (!open_) waiting_[0] = open_ = std::make_shared<Segment>();
    open_->pieces.push_back(std::move(piece));
    ++pendingPieces_;
    open_->isLast = isLast;
    open_->isComplete = endsSegment;
    if (overlap) {
        auto next = std::make_shared<Segment>();
        next->number = open_->number + 1;
        next->firstBlock = pieces_ * overlapBlocks;
        next->pieces.push_back(std::move(overlap));
        ++pendingPieces_;
        waiting_[next->number] = next;
        open_ = std::move(next);
    }
    ++pieces_;
    changed_.notify_all();
    return true;
}

ParallelSoundEncoder::SegmentPtr ParallelSoundEncoder::takeSegment(std::int64_t number) {
    MutexLock lock(mutex_);
    while (!abandoned_ && !isOver(number) &&
           (!waiting_.contains(number) || number >= nextNumber_ + mostEncoded_))
        changed_.wait(mutex_);
    if (abandoned_ || isOver(number)) return nullptr;
    return std::move(waiting_.extract(number).mapped());
}

bool ParallelSoundEncoder::isOver(std::int64_t number) const {
    return open_ && open_->isLast && number > open_->number;
}

FramePtr ParallelSoundEncoder::takePiece(Segment& segment) {
    MutexLock lock(mutex_);
    while (!abandoned_ && segment.pieces.empty() && !segment.isComplete)
        changed_.wait(mutex_);
    if (abandoned_ || segment.pieces.empty()) return nullptr;
    auto piece = std::move(segment.pieces.front());
    segment.pieces.pop_front();
    --pendingPieces_;
    changed_.notify_all();
    return piece;
}

EncodedSegment ParallelSoundEncoder::encode(Segment& segment, AVCodecContext& encoder,
                                            bool isFirst) {
    EncodedSegment encoded;
    encoded.number = segment.number;
    encoded.firstPacket = segment.firstBlock;
    auto& packets = encoded.packets;
    while (const auto piece = takePiece(segment)) {
        encodePiece(encoder, *piece, packets);
        if (!isFirst && !packets.empty()) {
            // What was still inside: the end of the segment before.
            packets.erase(packets.begin());
            isFirst = true;
        }
    }
    {
        MutexLock lock(mutex_);
        encoded.isLast = segment.isLast;
    }
    // The end of any other segment is taken from the next one, which knows how the sound goes on.
    if (encoded.isLast) {
        throwIfError(avcodec_send_frame(&encoder, nullptr), "encode the sound");
        receive(encoder, packets);
    }
    auto time = (segment.firstBlock - 1) * framesPerBlock;
    for (const auto& packet : packets) {
        packet->pts = packet->dts = time;
        time += framesPerBlock;
    }
    return encoded;
}

void ParallelSoundEncoder::encodeSegments(std::int64_t number, std::int64_t step) {
    try {
        // One encoder for all segments of the thread: until its rate control has settled, a packet
        // costs up to twice as much.
        const auto encoder = openEncoder();
        bool isFirst = true;
        for (; const auto segment = takeSegment(number); number += step) {
            auto encoded = encode(*segment, *encoder, std::exchange(isFirst, false));
            MutexLock lock(mutex_);
            encoded_.emplace(number, std::move(encoded));
            changed_.notify_all();
        }
    } catch (...) {
        abandon(std::current_exception());
    }
}

std::vector<PacketPtr> ParallelSoundEncoder::nextPackets() {
    if (lastTaken_) return {};
    EncodedSegment segment;
    {
        MutexLock lock(mutex_);
        while (!abandoned_ && !encoded_.contains(nextNumber_))
            changed_.wait(mutex_);
        if (failure_) std::rethrow_exception(failure_);
        if (abandoned_) return {};
        segment = std::move(encoded_.extract(nextNumber_).mapped());
        ++nextNumber_;
        changed_.notify_all();
    }
    lastTaken_ = segment.isLast;
    return joiner_.append(std::move(segment));
}

void ParallelSoundEncoder::abandon(std::exception_ptr reason) {
    MutexLock lock(mutex_);
    if (!abandoned_) failure_ = std::move(reason);
    abandoned_ = true;
    changed_.notify_all();
}

}  // namespace quorvane::platform::libav
