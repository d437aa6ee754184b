// The bubble's standard input: however the bytes are cut into reads, the same lines come out, and a
// line is a command or it is not.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "webcam/rect_argument.h"
#include "webcam/stdin_line_reader.h"
#include "webcam/webcam_command.h"

namespace {

using namespace quorvane;

std::vector<std::string> lines(std::span<const std::byte> bytes, std::size_t read) {
    webcam::StdinLineReader reader;
    std::vector<std::string> all;
    const auto takeLines = [&] {
        while (auto line = reader.read())
            all.push_back(std::move(*line));
    };
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(read, bytes.size()));
        reader.append(part);
        takeLines();
        bytes = bytes.subspan(part.size());
    }
    reader.endInput();
    takeLines();
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = std::as_bytes(std::span(data, size));
    const auto whole = lines(bytes, size);
    if (whole != lines(bytes, 1) || whole != lines(bytes, 7)) std::abort();
    for (const auto& line : whole) {
        if (line.find('\n') != std::string::npos) std::abort();
        const auto command = webcam::parseWebcamCommand(line);
        if (!command) continue;
        if (command->word.find(' ') != std::string::npos) std::abort();
        (void)webcam::parseRectArg(command->argument);
    }
    return 0;
}
