#include "platform/linux/libav/movie_output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>

#include <fcntl.h>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "platform/linux/libav/display_matrix.h"
#include "platform/linux/libav/libav_error.h"
#include "platform/linux/libav/movie_input.h"

namespace quorvane::platform::libav {
namespace {

constexpr int bufferSize = 1 << 20;
// Written bytes are sent to the disk in pieces of this size while the work goes on, so that the
// flush at the end has little left to wait for.
constexpr std::int64_t diskPiece = 16 << 20;

// What an index can take at most: per copied packet its size, its time, its offset for display and
// its place among the key pictures
// and whether others need it; per packet of sound its size; per run of packets of one track
// its place and length. The library ends a run at 1 MiB, and the tracks alternate twice a second.
std::int64_t indexSize(const MovieOutput::Expectation& expectation) {
    const auto runs = 4 * (expectation.duration + 1) + 2 * (expectation.bytes >> 20) + 2;
    constexpr std::int64_t everythingElse = 64 << 10;
    return expectation.copiedPackets * (4 + 8 + 8 + 4 + 1) + expectation.soundPackets * 4 +
           runs * 20 + everythingElse;
}

FileDescriptor createNew(const std::string& path) {
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) throw posixError(errno, "Could not create " + path);
    return FileDescriptor(descriptor);
}

}  // namespace

void MovieOutput::FreeContext::operator()(AVFormatContext* context) const noexcept {
    avformat_free_context(context);
}

void MovieOutput::FreeStream::operator()(AVIOContext* stream) const noexcept {
    av_freep(&stream->buffer);
    avio_context_free(&stream);
}

MovieOutput::MovieOutput(const std::string& path) : path_(path), file_(createNew(path)) {
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(bufferSize));
    if (buffer == nullptr) throw std::bad_alloc();
    bytes_.reset(avio_alloc_context(buffer, bufferSize, /*write_flag=*/1, this, nullptr,
                                    &MovieOutput::writeBytes, &MovieOutput::seek));
    if (!bytes_) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    AVFormatContext* context = nullptr;
    throwIfError(avformat_alloc_output_context2(&context, nullptr, "mp4", ("file:" + path).c_str()),
                 "write a movie");
    context_.reset(context);
    context_->pb = bytes_.get();
    context_->flags |= AVFMT_FLAG_CUSTOM_IO;
    context_->flush_packets = 0;  // the library would write every packet by itself
}

MovieOutput::~MovieOutput() = default;

int MovieOutput::writeBytes(void* self, std::uint8_t* data, int size) {
    auto& output = *static_cast<MovieOutput*>(self);
    for (int done = 0; done < size;) {
        const auto count =
            ::write(output.file_.get(), data + done, static_cast<std::size_t>(size - done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            output.writeError_ = count < 0 ? errno : ENOSPC;
            return AVERROR(output.writeError_);
        }
        done += static_cast<int>(count);
    }
    output.written_ += size;
    if (output.written_ - output.sentToDisk_ >= diskPiece) {
        output.sentToDisk_ = output.written_;
        // Only begins; not every file system can.
        (void)sync_file_range(output.file_.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    }
    return size;
}

std::int64_t MovieOutput::seek(void* self, std::int64_t offset, int whence) {
    auto& output = *static_cast<MovieOutput*>(self);
    if (whence == AVSEEK_SIZE) return AVERROR(ENOSYS);
    const auto position = lseek(output.file_.get(), offset, whence);
    return position < 0 ? AVERROR(errno) : position;
}

void MovieOutput::check(int code) const {
    if (writeError_ != 0) throw posixError(writeError_, "Could not write " + path_);
    throwIfError(code, "write " + path_);
}

AVStream& MovieOutput::addStream() {
    auto* stream = avformat_new_stream(context_.get(), nullptr);
    if (stream == nullptr) throw std::bad_alloc();
    return *stream;
}

void MovieOutput::addCopy(const MovieInput& input, int stream, const AffineTransform& transform) {
    const auto& from = input.stream(stream);
    auto& to = addStream();
    throwIfError(avcodec_parameters_copy(to.codecpar, from.codecpar), "copy the picture track");
    const auto* tags = context_->oformat->codec_tag;
    if (av_codec_get_id(tags, from.codecpar->codec_tag) != from.codecpar->codec_id)
        to.codecpar->codec_tag = 0;  // a name that this kind of file does not know
    to.time_base = from.time_base;
    to.avg_frame_rate = from.avg_frame_rate;
    to.r_frame_rate = from.r_frame_rate;
    to.sample_aspect_ratio = from.sample_aspect_ratio;
    to.disposition = from.disposition;
    for (int index = 0; index < from.nb_side_data; ++index) {
        const auto& each = from.side_data[index];
        if (each.type == AV_PKT_DATA_DISPLAYMATRIX) continue;
        auto* copy = av_stream_new_side_data(&to, each.type, each.size);
        if (copy == nullptr) throw std::bad_alloc();
        std::copy_n(each.data, each.size, copy);
    }
    setDisplayTransform(to, transform);
    throwIfError(av_dict_copy(&to.metadata, from.metadata, 0), "copy the picture track");
    throwIfError(av_dict_copy(&context_->metadata, input.context().metadata, 0),
                 "copy the picture track");
}

void MovieOutput::addSound(const AVCodecContext& encoder) {
    auto& stream = addStream();
    throwIfError(avcodec_parameters_from_context(stream.codecpar, &encoder), "add the sound track");
    stream.time_base = encoder.time_base;
}

void MovieOutput::begin(const std::optional<Expectation>& expectation) {
    AVDictionary* options = nullptr;
    const auto size = expectation ? indexSize(*expectation) : 0;
    if (expectation && size < INT_MAX) {
        av_dict_set_int(&options, "moov_size", size, 0);
    } else {
        av_dict_set(&options, "movflags", "+faststart", 0);
    }
    av_dict_set(&options, "write_tmcd", "0", 0);
    for (unsigned index = 0; index < context_->nb_streams; ++index) {
        const auto& stream = *context_->streams[index];
        // The same ticks, so that no time is rounded.
        if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && stream.time_base.num == 1)
            av_dict_set_int(&options, "video_track_timescale", stream.time_base.den, 0);
    }
    const int result = avformat_write_header(context_.get(), &options);
    av_dict_free(&options);
    check(result);
}

void MovieOutput::write(AVPacket& packet, int track, AVRational units) {
    packet.stream_index = track;
    packet.pos = -1;
    av_packet_rescale_ts(&packet, units, context_->streams[track]->time_base);
    const int result = av_write_frame(context_.get(), &packet);
    av_packet_unref(&packet);
    check(result);
}

void MovieOutput::finish() {
    check(av_write_trailer(context_.get()));
    avio_flush(bytes_.get());
    check(bytes_->error);
    while (fsync(file_.get()) != 0) {
        if (errno != EINTR) throw posixError(errno, "Could not write " + path_);
    }
}

}  // namespace quorvane::platform::libav
