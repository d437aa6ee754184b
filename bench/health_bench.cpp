// What the health log costs an audio buffer.
#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "health/recording_health_telemetry.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/process/linux_process.h"
#include "support/asio_dispatch.h"

namespace quorvane::health {
namespace {

class Sound final : public platform::SampleBuffer {
  public:
    bool isValid() const noexcept override { return true; }
    std::optional<support::MediaTime> presentationTime() const noexcept override {
        return support::MediaTime(std::chrono::seconds(12345));
    }
    std::int64_t sampleCount() const noexcept override { return 1024; }
};

// Lines included: one in two seconds.
void recordAudioSample(benchmark::State& state) {
    const auto folder =
        (std::filesystem::temp_directory_path() / ("health-" + std::to_string(getpid()))).string();
    std::filesystem::create_directory(folder);
    support::AsioDispatch dispatch;
    platform::files::LinuxFileManager files;
    platform::process::LinuxProcess process;
    const Sound sound;
    {
        const auto telemetry = RecordingHealthTelemetry::open(folder + "/health.jsonl", true, true,
                                                              {dispatch.clock(), files, process});
        for (auto _ : state)
            telemetry->recordAudioSample("microphone", sound);
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK(recordAudioSample);

}  // namespace
}  // namespace quorvane::health
