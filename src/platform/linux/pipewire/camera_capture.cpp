#include "platform/linux/pipewire/camera_capture.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/linux/pipewire/camera_formats.h"
#include "platform/linux/pipewire/camera_stream.h"
#include "platform/linux/pipewire/connection.h"
#include "platform/linux/pipewire/last_picture.h"
#include "platform/linux/pipewire/sound_graph.h"
#include "platform/platform_error.h"

namespace quorvane::platform::pipewire {
namespace {

// Between two attempts to make a stream that the server or the session manager refused.
constexpr auto retryDelay = std::chrono::milliseconds(500);

using Size = CameraPreviewLayer::Size;

// What a preset means at the least.
Size leastSizeOf(CameraSessionPreset preset) {
    switch (preset) {
        case CameraSessionPreset::medium:
            return {480, 360};
    }
    return {};
}

}  // namespace

struct CameraCapture::State {
    State(CameraSessionPreset asked, LastPicture& receiver, std::function<WantedCamera()> ask)
        : preset(asked), lastPicture(receiver), askWanted(std::move(ask)), wanted(askWanted()) {
        awaited = connection.sync();
        watchExpiry();
    }

    // The server's answers come in steps: what there is, the defaults; then what a camera offers.
    void onDone(int number) {
        if (number == formatsAnswer) {
            formatsAnswer.reset();
            update();
        }
        if (number != awaited) return;
        ++answers;
        if (answers < 2) {
            awaited = connection.sync();
        } else {
            awaited.reset();
            update();
        }
    }

    void onWake() {
        wanted = askWanted();
        if (wanted.isOver) {
            connection.quit();
        } else {
            update();
        }
    }

    const SoundNode* findCamera() const {
        if (!wanted.name || !graph.hasSessionManager()) return nullptr;
        for (const SoundNode* node : graph.nodesOfClass("Video/Source")) {
            if (node->name == *wanted.name) return node;
        }
        return nullptr;
    }

    // Brings the stream into line with what is wanted and what the server says now. Never called
    // from one of the stream's own callbacks, because it may end the stream.
    void update() {
        if (answers < 2) return;
        const SoundNode* camera = findCamera();
        if (cameraID && (camera == nullptr || camera->id != *cameraID)) leave();
        if (camera == nullptr) return;
        if (!cameraID) {
            cameraID = camera->id;
            formats.emplace(connection, graph.registry(), camera->id);
            formatsAnswer = connection.sync();
        }
        if (formatsAnswer || retrying) return;
        if (stream && stream->hasFailed()) {
            lastPicture.cameraLeft();
            watchExpiry();
            stream.reset();
            retrying = true;
            retryTimer->start(retryDelay);
        } else if (!stream || isTooSmall()) {
            makeStream(camera->name);
        }
    }

    void leave() {
        stream.reset();
        formats.reset();
        formatsAnswer.reset();
        cameraID.reset();
        lastPicture.cameraLeft();
        watchExpiry();
    }

    Size wantedSize() const {
        const Size least = leastSizeOf(preset);
        const Size drawn = lastPicture.drawnSize();
        return {std::max(least.width, drawn.width), std::max(least.height, drawn.height)};
    }

    // Whether the bubble has outgrown the pictures, and the camera has larger ones.
    bool isTooSmall() const {
        const Size size = wantedSize();
        if (!chosen || (chosen->size.width >= size.width && chosen->size.height >= size.height)) {
            return false;
        }
        const auto better = formats->best(size);
        return better && better != chosen;
    }

    void makeStream(const std::string& camera) {
        try {
            stream.reset();
            chosen = formats->best(wantedSize());
            checkedSize = wantedSize();
            stream.emplace(connection, camera, chosen,
                           CameraStream::Events{
                               [this](const support::VideoPicture& picture) { show(picture); },
                               [this] { connection.wake(); }});
        } catch (const PlatformError&) {
            stream.reset();
            retrying = true;
            retryTimer->start(retryDelay);
        }
    }

    void show(const support::VideoPicture& picture) {
        if (!isLinkedAsMeant()) return;
        lastPicture.show(picture);
        if (checkedSize == wantedSize()) return;
        checkedSize = wantedSize();
        connection.wake();
    }

    bool isLinkedAsMeant() const {
        const auto own = stream ? stream->nodeID() : std::nullopt;
        if (!own || !cameraID) return false;
        const auto sources = graph.nodesLinkedInto(*own);
        return !sources.empty() && std::all_of(sources.begin(), sources.end(),
                                               [&](auto source) { return source == *cameraID; });
    }

    void watchExpiry() {
        if (const auto left = lastPicture.expire()) expiryTimer->start(*left);
    }

    const CameraSessionPreset preset;
    LastPicture& lastPicture;
    std::function<WantedCamera()> askWanted;
    WantedCamera wanted;

    Connection connection{ConnectionUse::query,
                          {[this](int number) { onDone(number); }, [this] { onWake(); }}};
    SoundGraph graph{connection, {nullptr, [this] { update(); }}};
    std::unique_ptr<Timer> retryTimer = connection.makeTimer([this] {
        retrying = false;
        update();
    });
    std::unique_ptr<Timer> expiryTimer = connection.makeTimer([this] { watchExpiry(); });
    std::optional<std::uint32_t> cameraID;  // the node that is there under the wanted name
    std::optional<CameraFormats> formats;   // of that node
    std::optional<int> formatsAnswer;       // the sync() after which they are known
    std::optional<CameraFormat> chosen;
    Size checkedSize;  // the one that the choice was made or confirmed for
    std::optional<CameraStream> stream;
    std::optional<int> awaited;  // the sync() of the next step
    int answers = 0;
    bool retrying = false;
};

CameraCapture::CameraCapture(CameraSessionPreset preset, LastPicture& lastPicture,
                             std::function<WantedCamera()> wanted)
    : state_(std::make_unique<State>(preset, lastPicture, std::move(wanted))) {}

CameraCapture::~CameraCapture() {
    state_->lastPicture.cameraLeft();
}

void CameraCapture::run() {
    if (!state_->wanted.isOver) state_->connection.run();
}

void CameraCapture::wake() noexcept {
    state_->connection.wake();
}

}  // namespace quorvane::platform::pipewire
