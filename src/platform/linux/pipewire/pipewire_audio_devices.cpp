#include "platform/linux/pipewire/pipewire_audio_devices.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/sound_graph.h"

namespace quorvane::platform::pipewire {
namespace {

// Less than the second that a caller may be blocked, by what a slow start of the library takes.
constexpr auto answerPatience = std::chrono::milliseconds(800);

// Calls read with all that the server says; does not call it when there is no server, or none that
// answers in time.
void readGraph(const std::function<void(const SoundGraph&)>& read) {
    int answers = 0;
    std::unique_ptr<Connection> connection;
    // The first answer ends the list of what there is, the second the defaults.
    const auto onDone = [&](int) {
        if (++answers < 2) {
            connection->sync();
        } else {
            connection->quit();
        }
    };
    connection =
        std::make_unique<Connection>(ConnectionUse::query, Connection::Events{onDone, nullptr});
    const SoundGraph graph(*connection, {});
    const auto timer = connection->makeTimer([&] { connection->quit(); });
    timer->start(answerPatience);
    connection->sync();
    connection->run();
    if (answers == 2) read(graph);
}

}  // namespace

std::optional<AudioInputDevice> PipeWireAudioDevices::defaultInputDevice() {
    std::optional<AudioInputDevice> device;
    try {
        readGraph([&](const SoundGraph& graph) {
            if (const SoundNode* source = graph.defaultSource()) {
                device = AudioInputDevice{source->name, source->description};
            }
        });
    } catch (const std::exception&) {
        return std::nullopt;
    }
    return device;
}

}  // namespace quorvane::platform::pipewire
