#include "control/recorder_line_buffer.h"

#include <utility>

namespace quorvane::control {

std::vector<std::string> RecorderLineBuffer::append(std::span<const std::byte> bytes) {
    std::vector<std::string> lines;
    for (const std::byte byte : bytes) {
        const char character = static_cast<char>(byte);
        if (character == '\n') {
            if (!discarding_ && !pending_.empty()) lines.push_back(pending_);
            pending_.clear();
            discarding_ = false;
        } else if (discarding_) {
            continue;
        } else if (pending_.size() >= maximumLineLength) {
            pending_.clear();
            discarding_ = true;
        } else {
            pending_ += character;
        }
    }
    return lines;
}

}  // namespace quorvane::control
