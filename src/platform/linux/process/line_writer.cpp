#include "platform/linux/process/line_writer.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quorvane::platform::process {

LineWriter::LineWriter(int descriptor) : descriptor_(descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return;
    isSocket_ = S_ISSOCK(status.st_mode);
    neverBlocks_ = isSocket_;
    if (!S_ISFIFO(status.st_mode)) return;
    const auto path = fmt::format("/proc/self/fd/{}", descriptor);
    const int own = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (own < 0) return;  // without /proc, short lines still go out without blocking
    descriptor_ = own;
    owned_ = true;
    neverBlocks_ = true;
}

LineWriter::~LineWriter() {
    if (owned_) close(descriptor_);
}

void LineWriter::write(std::string_view line, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() +
                          (readerStopped_ ? std::chrono::milliseconds(0) : patience);
    const auto waited = patience.count() > 0;
    if (!unfinished_.empty()) {
        std::string_view rest = unfinished_;
        const auto outcome = writeSome(rest, deadline);
        unfinished_.erase(0, unfinished_.size() - rest.size());
        if (outcome == Outcome::failed) unfinished_.clear();
        if (outcome != Outcome::done) {
            readerStopped_ = readerStopped_ || (outcome == Outcome::timedOut && waited);
            return;
        }
    }
    auto rest = line;
    const auto outcome = writeSome(rest, deadline);
    if (outcome == Outcome::timedOut && rest.size() < line.size()) unfinished_ = rest;
    if (outcome == Outcome::done) {
        readerStopped_ = false;
    } else if (outcome == Outcome::timedOut && waited) {
        readerStopped_ = true;
    }
}

LineWriter::Outcome LineWriter::writeSome(std::string_view& text, Deadline deadline) {
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    while (!text.empty()) {
        const auto left = ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd ready{descriptor_, POLLOUT, 0};
        const int count = poll(&ready, 1, static_cast<int>(std::max<long>(left.count(), 0)));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return Outcome::failed;
        if (count == 0) return Outcome::timedOut;
        // A descriptor that may block is given no more than a writable pipe is sure to take.
        const auto size = neverBlocks_ ? text.size() : std::min<std::size_t>(text.size(), PIPE_BUF);
        const auto written = isSocket_
                                 ? send(descriptor_, text.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL)
                                 : ::write(descriptor_, text.data(), size);
        if (written < 0) {
            if (errno == EINTR) continue;
            if (errno != EAGAIN) return Outcome::failed;
            // Writable, but not for this much: the reader has to make more room.
            if (left.count() <= 0) return Outcome::timedOut;
            poll(nullptr, 0, 1);
            continue;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return Outcome::done;
}

}  // namespace quorvane::platform::process
