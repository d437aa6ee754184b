#include "webcam/stdin_line_reader.h"

#include <utility>

#include "support/text.h"

namespace quorvane::webcam {
namespace {

bool isValidUtf8(const std::string& text) {
    return support::validUtf8(text) == text;
}

}  // namespace

void StdinLineReader::append(std::span<const std::byte> bytes) {
    buffer_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

void StdinLineReader::endInput() {
    ended_ = true;
}

std::optional<std::string> StdinLineReader::read() {
    const auto lineFeed = buffer_.find('\n', searched_);
    if (lineFeed != std::string::npos) {
        std::string line = buffer_.substr(0, lineFeed);
        buffer_.erase(0, lineFeed + 1);
        searched_ = 0;
        return isValidUtf8(line) ? line : std::string();
    }
    searched_ = buffer_.size();
    if (!ended_ || buffer_.empty()) return std::nullopt;
    std::string line = std::exchange(buffer_, {});
    searched_ = 0;
    if (!isValidUtf8(line)) return std::nullopt;
    return line;
}

}  // namespace quorvane::webcam
