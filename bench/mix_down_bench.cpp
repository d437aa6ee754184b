// Mixes the audio tracks of a movie down in place, as a recording's end does; bench/mix-down
// measures it.
#include <cstdio>
#include <exception>
#include <string>

#include "app/linux_platform.h"
#include "app/output.h"
#include "control/recorder_events.h"
#include "postprocess/audio_mix_down.h"
#include "support/async.h"

namespace {

quorvane::support::Async<> mixDown(std::string path, quorvane::platform::Platform& platform,
                                   quorvane::control::RecorderEvents& events) {
    try {
        co_await quorvane::postprocess::mixDownRecordingAudioTracksIfNeeded(path, platform, events);
    } catch (...) {
        quorvane::app::fail(std::current_exception());
    }
    quorvane::app::exitProcess(0);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: bench_mix_down MOVIE\n", stderr);
        return 2;
    }
    quorvane::app::LinuxPlatform platform;
    quorvane::control::RecorderEvents events(platform.ports().process);
    quorvane::support::startDetached(platform.ports().dispatch.mainQueue(),
                                     mixDown(argv[1], platform.ports(), events));
    platform.dispatch().run();
}
