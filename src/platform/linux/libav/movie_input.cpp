#include "platform/linux/libav/movie_input.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include "platform/linux/libav/libav_error.h"

namespace quorvane::platform::libav {
namespace {

// A file that cannot be opened has the system's error rather than the library's. Pipes and devices
// are refused: they could keep whoever opens or reads them waiting forever, and nothing in them can
// be gone back to.
void checkReadable(const std::string& path) {
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    int error = descriptor < 0 ? errno : 0;
    struct stat status {};
    if (error == 0 && fstat(descriptor, &status) != 0) error = errno;
    if (descriptor >= 0) close(descriptor);
    if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
    if (error == 0 && !S_ISREG(status.st_mode)) error = ESPIPE;
    if (error != 0) throw posixError(error, "Could not open " + path);
}

}  // namespace

void MovieInput::Close::operator()(AVFormatContext* context) const noexcept {
    avformat_close_input(&context);
}

MovieInput::MovieInput(const std::string& path) : path_(path) {
    // Failures come back as codes; standard error is the parent's to read.
    av_log_set_level(AV_LOG_QUIET);
    checkReadable(path);
    AVFormatContext* context = nullptr;
    // Named as a file, so that no path is taken for the address of something else.
    throwIfError(avformat_open_input(&context, ("file:" + path).c_str(), nullptr, nullptr),
                 "open " + path);
    context_.reset(context);
    throwIfError(avformat_find_stream_info(context, nullptr), "read " + path);
}

MovieInput::MovieInput(MovieInput&&) noexcept = default;
MovieInput::~MovieInput() = default;

AVStream& MovieInput::stream(int index) const {
    return *context_->streams[index];
}

std::chrono::nanoseconds MovieInput::duration() const {
    constexpr AVRational nanoseconds{1, 1'000'000'000};
    std::int64_t end =
        context_->duration == AV_NOPTS_VALUE
            ? 0
            : av_rescale_q_rnd(context_->duration, AV_TIME_BASE_Q, nanoseconds, AV_ROUND_UP);
    // The library knows the whole in microseconds; the tracks' own clocks are finer.
    for (unsigned index = 0; index < context_->nb_streams; ++index) {
        const auto& each = *context_->streams[index];
        if (each.duration == AV_NOPTS_VALUE) continue;
        const auto start = each.start_time == AV_NOPTS_VALUE ? 0 : each.start_time;
        end = std::max(
            end, av_rescale_q_rnd(start + each.duration, each.time_base, nanoseconds, AV_ROUND_UP));
    }
    return std::chrono::nanoseconds(end);
}

void MovieInput::select(std::span<const int> streams) {
    selectedOf_ = context_->nb_streams;
    const auto size = avio_size(context_->pb);
    for (unsigned index = 0; index < context_->nb_streams; ++index) {
        auto& each = *context_->streams[index];
        const bool wanted =
            std::find(streams.begin(), streams.end(), static_cast<int>(index)) != streams.end();
        each.discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        if (!wanted || size < 0) continue;
        const int count = avformat_index_get_entries_count(&each);
        for (int number = 0; number < count; ++number) {
            const auto* entry = avformat_index_get_entry(&each, number);
            if (entry->pos + entry->size > size)
                throw libavError(AVERROR_INVALIDDATA, "read " + path_ + ", which is cut off");
        }
    }
}

bool MovieInput::read(AVPacket& packet, Damaged damaged) {
    for (;;) {
        const int result = av_read_frame(context_.get(), &packet);
        if (result == AVERROR_EOF) return false;
        throwIfError(result, "read " + path_);
        // Streams that appear while reading have not been selected.
        const bool isNew = static_cast<unsigned>(packet.stream_index) >= selectedOf_;
        if (isNew || stream(packet.stream_index).discard == AVDISCARD_ALL) {
            av_packet_unref(&packet);
            continue;
        }
        if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0 && damaged == Damaged::refused)
            throw libavError(AVERROR_INVALIDDATA, "read " + path_);
        return true;
    }
}

}  // namespace quorvane::platform::libav
