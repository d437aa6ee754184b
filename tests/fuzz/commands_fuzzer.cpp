// The command channel: however the bytes are cut into reads, the same lines come out, none of them
// too long, and a line decodes or it does not.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "control/messages.h"
#include "control/recorder_line_buffer.h"

namespace {

using quorvane::control::RecorderLineBuffer;

std::vector<std::string> lines(std::span<const std::byte> bytes, std::size_t read) {
    RecorderLineBuffer buffer;
    std::vector<std::string> all;
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(read, bytes.size()));
        for (auto& line : buffer.append(part))
            all.push_back(std::move(line));
        bytes = bytes.subspan(part.size());
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = std::as_bytes(std::span(data, size));
    const auto whole = lines(bytes, bytes.size());
    if (whole != lines(bytes, 1) || whole != lines(bytes, 4096)) std::abort();
    for (const auto& line : whole) {
        if (line.empty() || line.size() > RecorderLineBuffer::maximumLineLength) std::abort();
        (void)quorvane::control::decodeRecorderCommand(line);
    }
    return 0;
}
