// The record command's options: any list parses or throws RecorderError, and what parses is sane.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cli/recorder_error.h"
#include "cli/recording_request.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Words are separated by zero bytes, as in a process's argument vector.
    quorvane::cli::Arguments arguments{"record"};
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (std::size_t start = 0; start <= text.size();) {
        const auto end = std::min(text.find('\0', start), text.size());
        arguments.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    try {
        const auto request = quorvane::cli::parseRecordingRequest(arguments);
        const auto& region = request.region;
        if (request.outputPath.empty() || !std::isfinite(region.x) || !std::isfinite(region.y) ||
            !std::isfinite(region.width) || !std::isfinite(region.height))
            std::abort();
    } catch (const quorvane::cli::RecorderError&) {
    }
    return 0;
}
