#include "webcam/webcam_preview.h"

#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "webcam/rect_argument.h"
#include "webcam/stdin_line_reader.h"
#include "webcam/webcam_command.h"
#include "webcam/webcam_preview_app_delegate.h"
#include "webcam/webcam_preview_shape.h"
#include "webcam/webcam_preview_window.h"

namespace quorvane::webcam {
namespace {

constexpr std::size_t largestRead = 4096;  // bytes

void close(WebcamPreviewWindow& window, platform::ApplicationLoop& application) {
    window.stop();
    application.terminate();
}

// As a task of the main queue.
void carryOut(const WebcamCommand& command, WebcamPreviewWindow& window,
              platform::ApplicationLoop& application) {
    if (command.word == "reposition") {
        if (const auto rect = parseRectArg(command.argument)) window.reposition(*rect);
    } else if (command.word == "device") {
        window.setDevice(command.argument.empty() ? std::nullopt : std::optional(command.argument));
    } else if (command.word == "shape") {
        window.setShape(WebcamPreviewShape::resolved(command.argument));
    } else if (command.word == "quit") {
        close(window, application);
    }
}

void startStandardInputLoop(const std::shared_ptr<WebcamPreviewWindow>& window,
                            platform::Platform& platform) {
    auto& mainQueue = platform.dispatch.mainQueue();
    auto& application = platform.application;
    const auto reader = std::make_shared<StdinLineReader>();
    platform.process.readStandardInput(
        largestRead, [=, &mainQueue, &application](std::span<const std::byte> bytes) {
            const bool ended = bytes.empty();
            if (ended) {
                reader->endInput();
            } else {
                reader->append(bytes);
            }
            while (const auto line = reader->read()) {
                auto command = parseWebcamCommand(*line);
                if (!command) continue;
                mainQueue.post([command = std::move(*command), window, &application] {
                    carryOut(command, *window, application);
                });
            }
            if (ended) mainQueue.post([window, &application] { close(*window, application); });
        });
}

}  // namespace

support::Async<int> runWebcamPreview(cli::Arguments arguments, platform::Platform& platform) {
    const auto rectText = cli::argumentValue("--rect", arguments);
    const auto rect = rectText ? parseRectArg(*rectText) : std::nullopt;
    if (!rect) {
        platform.process.writeStandardError("webcam-preview: missing or malformed --rect\n");
        co_return 2;
    }
    auto deviceID = cli::argumentValue("--device", arguments);
    const auto shape = WebcamPreviewShape::resolved(cli::argumentValue("--shape", arguments));

    // A window system that goes away is told of as an error, not by the signal of a broken socket.
    platform.process.ignoreSignal(platform::Signal::brokenPipe);
    auto& application = platform.application;
    auto& mainQueue = platform.dispatch.mainQueue();
    const auto delegate = std::make_shared<WebcamPreviewAppDelegate>();
    application.setDelegate(delegate);
    application.setActivationPolicy(platform::ActivationPolicy::accessory);
    delegate->window = WebcamPreviewWindow::make(*rect, std::move(deviceID), shape, application,
                                                 platform.cameras, platform.dispatch);
    delegate->window->orderFrontRegardless();

    // Only now: a signal that comes while a window system does not answer ends the process.
    std::vector<std::unique_ptr<platform::EventSource>> sources;
    for (const auto signal : {platform::Signal::interrupt, platform::Signal::terminate}) {
        platform.process.ignoreSignal(signal);
        sources.push_back(platform.process.signalSource(
            signal, mainQueue,
            [window = delegate->window, &application] { close(*window, application); }));
    }
    startStandardInputLoop(delegate->window, platform);

    co_await support::suspend<void>(mainQueue, [&application](support::Continuation<> ended) {
        auto waiter = std::make_shared<support::Continuation<>>(std::move(ended));
        application.run([waiter](std::exception_ptr error) {
            if (error) {
                waiter->resumeThrowing(std::move(error));
            } else {
                waiter->resume();
            }
        });
    });
    co_return 0;
}

}  // namespace quorvane::webcam
