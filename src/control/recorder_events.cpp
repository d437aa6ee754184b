#include "control/recorder_events.h"

#include <memory>
#include <span>
#include <string>
#include <utility>

#include "control/recorder_line_buffer.h"

namespace quorvane::control {
namespace {

constexpr std::size_t readChunk = 4096;  // bytes

// Lines that the next one of their kind makes worthless are not waited for.
std::chrono::milliseconds patience(RecorderMessage::Kind kind) {
    const bool repeats =
        kind == RecorderMessage::Kind::levels || kind == RecorderMessage::Kind::heartbeat;
    return std::chrono::milliseconds(repeats ? 0 : 1000);
}

}  // namespace

void RecorderEvents::send(const RecorderMessage& message) {
    support::MutexLock lock(lock_);
    std::string line;
    try {
        line = support::jsonText(message, support::JsonOrder::declared);
    } catch (const support::JsonEncodingError&) {
        return;
    }
    line += '\n';
    process_.writeStandardOutput(line, patience(message.kind));
}

void RecorderEvents::readCommands(std::function<void(const RecorderCommand&)> handler) {
    process_.readStandardInput(
        readChunk, [lines = RecorderLineBuffer(),
                    handler = std::move(handler)](std::span<const std::byte> bytes) mutable {
            for (const auto& line : lines.append(bytes)) {
                if (const auto command = decodeRecorderCommand(line)) handler(*command);
            }
        });
}

}  // namespace quorvane::control
