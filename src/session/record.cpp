#include "session/record.h"

#include <memory>
#include <vector>

#include "capture/screen_capture_recorder.h"
#include "postprocess/audio_mix_down.h"
#include "postprocess/raw_recording.h"

namespace quorvane::session {

using platform::Signal;

support::Async<> record(cli::RecordingRequest request, platform::Platform& platform,
                        control::RecorderEvents& events) {
    auto& process = platform.process;
    // Before the recorder, which opens its health log: a signal at that moment would end the
    // process, and so would the log's warning to a parent that has closed its end.
    for (const auto signal : {Signal::brokenPipe, Signal::interrupt, Signal::terminate})
        process.ignoreSignal(signal);
    const auto outputPath = request.outputPath;
    const auto rawOutputPath = request.rawOutputPath;
    const auto recorder =
        std::make_shared<capture::ScreenCaptureRecorder>(std::move(request), platform, events);

    const auto signalQueue = platform.dispatch.makeSerialQueue("quorvane.signals");
    const auto stopOnMainQueue = [&mainQueue = platform.dispatch.mainQueue(), recorder] {
        mainQueue.post([recorder] { recorder->stop(); });
    };
    std::vector<std::unique_ptr<platform::EventSource>> sources;
    for (const auto signal : {Signal::interrupt, Signal::terminate})
        sources.push_back(process.signalSource(signal, *signalQueue, stopOnMainQueue));
    sources.push_back(process.parentExitSource(*signalQueue, stopOnMainQueue));

    co_await recorder->start();
    co_await recorder->waitUntilFinished();
    for (const auto& source : sources)
        source->cancel();
    if (const auto failure = recorder->failure()) std::rethrow_exception(failure);

    // Before the mix-down, so that the copy keeps the separate audio tracks. Without a movie an
    // older copy stays.
    if (recorder->hasMovie())
        postprocess::preserveRawRecordingIfNeeded(outputPath, rawOutputPath, platform.files);
    control::RecorderMessage processing;
    processing.kind = control::RecorderMessage::Kind::processing;
    events.send(processing);
    // This opens the movie, whatever there is to mix, so success always means one that plays.
    co_await postprocess::mixDownRecordingAudioTracksIfNeeded(outputPath, platform, events);
}

}  // namespace quorvane::session
