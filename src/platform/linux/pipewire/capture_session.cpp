#include "platform/linux/pipewire/capture_session.h"

#include <chrono>
#include <optional>
#include <utility>

#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/port_latency.h"
#include "platform/linux/pipewire/sound_buffer.h"
#include "platform/linux/pipewire/sound_delivery.h"
#include "platform/linux/pipewire/sound_graph.h"
#include "platform/platform_error.h"
#include "support/mutex.h"

namespace quorvane::platform::pipewire {
namespace {

// How long the last sound may be on its way after the end.
constexpr auto lastSoundPatience = std::chrono::milliseconds(100);
// Between two attempts to make a stream that the server or the session manager refused.
constexpr auto retryDelay = std::chrono::milliseconds(500);

}  // namespace

struct CaptureSession::State {
    State(const SoundTarget& wanted, SoundDelivery& receiver, std::function<void()> ready)
        : target(wanted), delivery(receiver), onReady(std::move(ready)) {
        awaited = connection.sync();
    }

    // The server's answers come in steps: what there is, the defaults, the stream.
    void onDone(int number) {
        if (number == latencyAnswer) {
            latencyAnswer.reset();
            drain();
        }
        if (number != awaited) return;
        ++answers;
        if (answers == 2) update();
        if (answers < 3) {
            awaited = connection.sync();
        } else {
            awaited.reset();
            onReady();
        }
    }

    void onWake() {
        const auto end = finishing ? std::nullopt : requestedEnd();
        if (end) {
            finishing = true;
            delivery.limit(*end);
            finishTimer->start(lastSoundPatience);
        }
        drain();
        if (finishing && !device) connection.quit();
    }

    std::optional<support::MediaTime> requestedEnd() {
        support::MutexLock lock(finishLock);
        return finishAt;
    }

    bool isDevicePresent() const {
        if (!graph.hasSessionManager()) return false;
        if (target.kind == SoundTarget::Kind::systemAudio) return graph.hasSinks();
        if (target.deviceID) return graph.sourceNamed(*target.deviceID) != nullptr;
        return graph.defaultSource() != nullptr;
    }

    bool isMeant(const SoundNode& node) const {
        if (target.kind == SoundTarget::Kind::systemAudio) return node.isSink();
        return node.isSource() && (!target.deviceID || node.name == *target.deviceID);
    }

    // The device whose sound comes; nothing when none is linked, or one that is not meant.
    std::optional<std::uint32_t> linkedDevice() const {
        if (!stream || stream->hasFailed()) return std::nullopt;
        const auto own = stream->nodeID();
        if (!own) return std::nullopt;
        std::optional<std::uint32_t> found;
        for (const std::uint32_t id : graph.nodesLinkedInto(*own)) {
            const SoundNode* node = graph.node(id);
            if (node == nullptr || !isMeant(*node)) return std::nullopt;
            found = id;
        }
        return found;
    }

    // Brings the stream and the device into line with what the server says now.
    void update() {
        if (answers < 2) return;
        // A session manager that was restarted may not care for streams from before its time.
        const bool useless = stream && (stream->hasFailed() || !graph.hasSessionManager());
        if (useless && !retrying) {
            retrying = true;
            retryTimer->start(retryDelay);
        }
        if (!stream && !retrying && isDevicePresent()) makeStream();
        const auto now = linkedDevice();
        if (now == device) return;
        device = now;
        latency.reset();
        latencyAnswer.reset();
        if (device && target.kind == SoundTarget::Kind::systemAudio) watchLatency(*device);
    }

    void makeStream() {
        try {
            stream.emplace(connection, target, [this] {
                drain();
                update();
            });
        } catch (const PlatformError&) {
            stream.reset();
            retrying = true;
            retryTimer->start(retryDelay);
        }
    }

    void retry() {
        retrying = false;
        drain();
        stream.reset();
        update();
    }

    // A speaker's latency must be known before its first sound is dated.
    void watchLatency(std::uint32_t node) {
        const auto port = graph.anyPortOf(node, PortDirection::in);
        if (!port) return;
        latency.emplace(connection, graph, *port, PortDirection::in, [this] { drain(); });
        latencyAnswer = connection.sync();
    }

    // How long after its time in the graph a stretch was heard; negative for a microphone, which
    // heard it before the graph did.
    std::chrono::nanoseconds heardAfter(const CapturedCycle& cycle) const {
        if (target.kind == SoundTarget::Kind::microphone) {
            return -std::chrono::nanoseconds(cycle.upstreamDelay);
        }
        const std::chrono::nanoseconds length(std::int64_t{cycle.frames} * 1'000'000'000 /
                                              soundRate);
        std::chrono::nanoseconds after{0};
        if (latency) after += latency->value().in(length, cycle.graphRate);
        // A speaker that drives the graph works last in each cycle, so its monitor has the sound
        // of the cycle before. Any other speaker's monitor has that of the same cycle.
        if (cycle.driver == device) after -= length;
        return after;
    }

    // Everything that was captured up to now, judged by what was linked up to now.
    void drain() {
        if (!stream || latencyAnswer) return;
        CycleRing& ring = stream->ring();
        while (const CapturedCycle* cycle = ring.front()) {
            if (device) {
                delivery.deliver(ring, heardAfter(*cycle));
            } else {
                ring.pop();
            }
        }
        if (finishing && delivery.reachedLimit()) connection.quit();
    }

    const SoundTarget target;
    SoundDelivery& delivery;
    std::function<void()> onReady;

    Connection connection{ConnectionUse::sound,
                          {[this](int number) { onDone(number); }, [this] { onWake(); }}};
    SoundGraph graph{connection, {[this] { drain(); }, [this] { update(); }}};
    std::unique_ptr<Timer> retryTimer = connection.makeTimer([this] { retry(); });
    std::unique_ptr<Timer> finishTimer = connection.makeTimer([this] {
        drain();
        connection.quit();
    });
    std::optional<SoundStream> stream;
    std::optional<std::uint32_t> device;
    std::optional<PortLatency> latency;
    std::optional<int> awaited;        // the sync() of the next step
    std::optional<int> latencyAnswer;  // the sync() after which the latency is known
    int answers = 0;
    bool retrying = false;
    bool finishing = false;

    support::Mutex finishLock;
    std::optional<support::MediaTime> finishAt QUORVANE_GUARDED_BY(finishLock);
};

CaptureSession::CaptureSession(const SoundTarget& target, SoundDelivery& delivery,
                               std::function<void()> onReady)
    : state_(std::make_unique<State>(target, delivery, std::move(onReady))) {}

CaptureSession::~CaptureSession() = default;

void CaptureSession::run() {
    state_->connection.run();
}

void CaptureSession::finish(support::MediaTime end) {
    {
        support::MutexLock lock(state_->finishLock);
        state_->finishAt = end;
    }
    state_->connection.wake();
}

}  // namespace quorvane::platform::pipewire
