#include "platform/linux/pipewire/graph_query.h"

#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/sound_graph.h"

namespace quorvane::platform::pipewire {
namespace {

// Less than the second that a caller may be blocked, by what a slow start of the library takes.
constexpr auto answerPatience = std::chrono::milliseconds(800);

GraphAnswer askServer(const std::function<void(const SoundGraph&)>& read) {
    int answers = 0;
    bool refused = false;
    bool late = false;
    std::unique_ptr<Connection> connection;
    // The first answer ends the list of what there is, the second the defaults.
    const auto onDone = [&](int) {
        if (++answers < 2) {
            connection->sync();
        } else {
            connection->quit();
        }
    };
    const auto onRefusal = [&](int error) {
        if (error != -EACCES && error != -EPERM) return;
        refused = true;
        connection->quit();
    };
    connection = std::make_unique<Connection>(ConnectionUse::query,
                                              Connection::Events{onDone, nullptr, onRefusal});
    const SoundGraph graph(*connection, {});
    const auto timer = connection->makeTimer([&] {
        late = true;
        connection->quit();
    });
    timer->start(answerPatience);
    connection->sync();
    connection->run();
    if (answers == 2) {
        read(graph);
        return GraphAnswer::complete;
    }
    if (refused) return GraphAnswer::refused;
    return late ? GraphAnswer::late : GraphAnswer::unreachable;
}

}  // namespace

GraphAnswer queryGraph(const std::function<void(const SoundGraph&)>& read) {
    try {
        return askServer(read);
    } catch (const std::exception&) {
        return GraphAnswer::unreachable;
    }
}

}  // namespace quorvane::platform::pipewire
