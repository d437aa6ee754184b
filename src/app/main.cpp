#include "app/linux_platform.h"
#include "app/output.h"
#include "app/quorvane_recorder.h"
#include "support/async.h"

namespace {

quorvane::support::Async<> runToExit(quorvane::cli::Arguments arguments,
                                     quorvane::platform::Platform& platform,
                                     quorvane::control::RecorderEvents& events) {
    co_await quorvane::app::QuorvaneRecorder::main(std::move(arguments), platform, events);
    quorvane::app::exitProcess(0);
}

}  // namespace

int main(int argc, char** argv) {
    quorvane::app::LinuxPlatform platform;
    quorvane::control::RecorderEvents events(platform.ports().process);
    quorvane::support::startDetached(
        platform.ports().dispatch.mainQueue(),
        runToExit({argv + (argc > 0 ? 1 : 0), argv + argc}, platform.ports(), events));
    platform.dispatch().run();
}
