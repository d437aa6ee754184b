// A media file that is read packet by packet.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/linux/libav/libav_handles.h"

struct AVFormatContext;
struct AVStream;

namespace quorvane::platform::libav {

// Times are those of the movie: edit lists and priming have been taken into account by the library.
// Threads: one at a time. Errors: PlatformError, "POSIX" for what cannot be opened or is no file
// (a folder, a pipe, a device), "libav" for one that is no media or is damaged.
class MovieInput {
  public:
    // What becomes of packets that the library says are damaged or cut off; the last one of a file
    // whose head does not know its length is one of those.
    enum class Damaged { refused, taken };

    explicit MovieInput(const std::string& path);
    MovieInput(MovieInput&&) noexcept;
    MovieInput& operator=(MovieInput&&) = delete;
    ~MovieInput();

    AVFormatContext& context() const { return *context_; }
    AVStream& stream(int index) const;
    // From the movie's begin to the end of its longest track.
    std::chrono::nanoseconds duration() const;

    // From now on only these streams are read. Throws when the file ends before what its index
    // promises for one of them.
    void select(std::span<const int> streams);
    // The next packet of the selected streams, roughly in the order of decoding. False at the end.
    bool read(AVPacket& packet, Damaged damaged = Damaged::refused);

  private:
    struct Close {
        void operator()(AVFormatContext* context) const noexcept;
    };

    std::string path_;
    std::unique_ptr<AVFormatContext, Close> context_;
    unsigned selectedOf_ = 0;  // how many streams there were to select from
};

}  // namespace quorvane::platform::libav
