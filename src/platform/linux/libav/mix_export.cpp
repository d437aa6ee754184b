#include "platform/linux/libav/mix_export.h"

#include <algorithm>
#include <limits>
#include <thread>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "platform/linux/libav/libav_error.h"
#include "platform/linux/libav/movie_input.h"
#include "platform/linux/libav/movie_output.h"
#include "platform/linux/libav/parallel_sound_encoder.h"
#include "platform/linux/libav/sound_mixer.h"
#include "platform/linux/libav/track_sound.h"
#include "support/background_thread.h"

namespace quorvane::platform::libav {
namespace {

using support::MutexLock;

constexpr AVRational mixTime{1, mixSampleRate};
// Sound and picture alternate in the file this often.
constexpr std::int64_t interleaving = mixSampleRate / 2;  // frames
// A track of which nothing has come for so long, while another goes on, is silent there: files give
// their packets in the order of time, give or take a second.
constexpr std::int64_t mostDisorder = std::int64_t{3} * mixSampleRate;  // frames
// One more mixes, and is done before more than these.
constexpr unsigned mostThreads = 3;

int encodingThreads() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, mostThreads));
}

// The picture's packets, read one ahead.
class PictureReader {
  public:
    PictureReader(const std::string& path, int stream) : input_(path), stream_(stream) {
        input_.select(std::span(&stream_, 1));
        advance();
    }
    const MovieInput& input() const { return input_; }
    int stream() const { return stream_; }
    AVRational units() const { return input_.stream(stream_).time_base; }
    bool atEnd() const { return !packet_; }
    // Where the next packet belongs in the file. Not at the end.
    std::int64_t position() const {
        const auto time = packet_->dts != AV_NOPTS_VALUE ? packet_->dts : packet_->pts;
        return time == AV_NOPTS_VALUE ? 0 : av_rescale_q(time, units(), mixTime);
    }
    AVPacket& packet() { return *packet_; }
    void advance() {
        if (!packet_) packet_ = makePacket();
        av_packet_unref(packet_.get());
        if (!input_.read(*packet_)) packet_ = nullptr;
    }

  private:
    MovieInput input_;
    const int stream_;
    PacketPtr packet_;
};

std::int64_t inFrames(std::chrono::nanoseconds time) {
    constexpr AVRational nanoseconds{1, 1'000'000'000};
    return av_rescale_q(time.count(), nanoseconds, mixTime);
}

// Nothing where the file does not say beforehand how many pictures it has.
std::optional<MovieOutput::Expectation> expectation(const PictureReader* picture,
                                                    std::int64_t soundFrames) {
    MovieOutput::Expectation result;
    result.duration = soundFrames / mixSampleRate;
    result.soundPackets = soundFrames / framesPerBlock + 4;
    result.bytes = result.soundPackets * framesPerBlock;  // 384 kbit/s, never reached
    if (picture != nullptr) {
        auto& stream = picture->input().stream(picture->stream());
        const auto count = avformat_index_get_entries_count(&stream);
        // A movie in fragments is indexed only while it is read.
        if (stream.nb_frames <= 0 || count < stream.nb_frames) return std::nullopt;
        result.copiedPackets = count;
        for (int number = 0; number < count; ++number)
            result.bytes += avformat_index_get_entry(&stream, number)->size;
    }
    return result;
}

}  // namespace

MixExport::MixExport(MixPlan plan) : plan_(std::move(plan)) {}
MixExport::~MixExport() = default;

void MixExport::run(const std::string& outputPath) {
    ParallelSoundEncoder encoder(encodingThreads());
    auto mixing = support::startBackgroundThread("export-mix", [this, &encoder] {
        try {
            mixSound(encoder);
        } catch (...) {
            encoder.abandon(std::current_exception());
        }
    });
    setRunning(&encoder);
    std::exception_ptr failure;
    try {
        if (!cancelled_) writeMovie(outputPath, encoder);
    } catch (...) {
        failure = std::current_exception();
    }
    setRunning(nullptr);
    encoder.abandon(nullptr);
    mixing.join();
    if (failure) std::rethrow_exception(failure);
}

void MixExport::setRunning(ParallelSoundEncoder* encoder) {
    MutexLock lock(mutex_);
    running_ = encoder;
}

void MixExport::cancel() {
    MutexLock lock(mutex_);
    cancelled_ = true;
    if (running_ != nullptr) running_->abandon(nullptr);
}

void MixExport::mixSound(ParallelSoundEncoder& encoder) const {
    MovieInput input(plan_.input);
    std::vector<int> streams;
    std::vector<float> volumes;
    for (const auto& sound : plan_.sounds) {
        streams.push_back(sound.stream);
        volumes.push_back(sound.volume);
    }
    input.select(streams);

    bool goesOn = true;
    std::int64_t left = inFrames(plan_.length);
    const auto part = makeFrame();
    SoundMixer mixer(volumes, [&](const AVFrame& mixed) {
        if (!goesOn || left == 0) return;
        throwIfError(av_frame_ref(part.get(), &mixed), "mix the sound");
        part->nb_samples = static_cast<int>(std::min<std::int64_t>(left, mixed.nb_samples));
        left -= part->nb_samples;
        goesOn = encoder.append(*part);
        av_frame_unref(part.get());
    });
    std::vector<std::unique_ptr<TrackSound>> tracks;
    for (std::size_t track = 0; track < streams.size(); ++track)
        tracks.push_back(std::make_unique<TrackSound>(
            input.stream(streams[track]),
            [&mixer, track](FramePtr sound) { mixer.append(track, std::move(sound)); }));

    std::int64_t furthest = 0;
    const auto packet = makePacket();
    while (goesOn && !cancelled_ && input.read(*packet)) {
        const auto track = std::find(streams.begin(), streams.end(), packet->stream_index);
        auto& sound = *tracks[static_cast<std::size_t>(track - streams.begin())];
        sound.decode(*packet);
        av_packet_unref(packet.get());
        furthest = std::max(furthest, sound.position());
        for (const auto& each : tracks)
            each->fillUpTo(furthest - mostDisorder);
    }
    for (const auto& each : tracks) {
        each->finish();
        furthest = std::max(furthest, each->position());
    }
    // To one length: a track that has ended is silent until the others have.
    for (const auto& each : tracks)
        each->fillUpTo(furthest);
    mixer.finish();
    if (goesOn && !cancelled_) encoder.finish();
}

void MixExport::writeMovie(const std::string& outputPath, ParallelSoundEncoder& encoder) {
    std::optional<PictureReader> picture;
    if (plan_.pictureStream) picture.emplace(plan_.input, *plan_.pictureStream);
    const auto length = std::max<std::int64_t>(inFrames(plan_.length), 1);

    MovieOutput output(outputPath);
    if (picture) output.addCopy(picture->input(), picture->stream(), plan_.transform);
    const int soundTrack = picture ? 1 : 0;
    output.addSound(encoder.settings());
    output.begin(expectation(picture ? &*picture : nullptr, length));

    const auto copyPictureUpTo = [&](std::int64_t position) {
        while (picture && !picture->atEnd() && picture->position() < position) {
            output.write(picture->packet(), 0, picture->units());
            picture->advance();
        }
    };
    std::int64_t alternation = interleaving;
    copyPictureUpTo(alternation);
    for (auto packets = encoder.nextPackets(); !packets.empty(); packets = encoder.nextPackets()) {
        for (auto& packet : packets) {
            if (packet->pts >= alternation) {
                // The rest is the index and the disk's.
                constexpr float media = 0.99F;
                progress_ = std::min(
                    media * static_cast<float>(alternation) / static_cast<float>(length), media);
                alternation += interleaving;
                copyPictureUpTo(alternation);
            }
            output.write(*packet, soundTrack, mixTime);
        }
        if (cancelled_) return;
    }
    if (cancelled_) return;
    copyPictureUpTo(std::numeric_limits<std::int64_t>::max());
    output.finish();
    progress_ = 1;
}

}  // namespace quorvane::platform::libav
