// A window that flashes white at the very moments at which the speaker beeps, until a signal ends
// it.
//   flash_and_beep [--node NAME] [--x N] [--y N] [--width N] [--height N] [--log FILE]
// About three and a half events a second at uneven distances, so that an offset cannot hide behind
// a period. Flashes last 100 ms, beeps (into the node, "speakers" unless told) 30 ms. The log has a
// line "NUMBER HEARD SHOWN" an event: the host times (ns) at which the beep's first sample leaves
// the speaker and at which the white window was on the screen. Prints "ready" once sound flows.
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "draw_log.h"
#include "host_clock.h"
#include "sound_player.h"
#include "test_window.h"

namespace {

using namespace quorvane::tools;
using namespace std::chrono_literals;

struct Options {
    std::string node = "speakers";
    Placement placement{.x = 0, .y = 0, .width = 160, .height = 120};
    std::string log;
};

Options parse(const std::vector<std::string>& words) {
    Options options;
    for (std::size_t index = 0; index < words.size(); index += 2) {
        if (index + 1 == words.size()) throw std::runtime_error(words[index] + " needs a value.");
        const auto& name = words[index];
        const auto& value = words[index + 1];
        if (name == "--node") {
            options.node = value;
        } else if (name == "--log") {
            options.log = value;
        } else if (name == "--x") {
            options.placement.x = std::stoi(value);
        } else if (name == "--y") {
            options.placement.y = std::stoi(value);
        } else if (name == "--width") {
            options.placement.width = std::stoi(value);
        } else if (name == "--height") {
            options.placement.height = std::stoi(value);
        } else {
            throw std::runtime_error("Unknown option: " + name);
        }
    }
    return options;
}

void fillWindow(TestWindow& window, std::uint32_t colour) {
    window.fill(colour, 0, 0, window.width(), window.height());
    window.showAll();
    window.sync();
}

[[noreturn]] void run(const Options& options) {
    constexpr std::uint32_t black = 0x000000;
    constexpr std::uint32_t white = 0xFFFFFF;
    DrawLog log(options.log);
    TestWindow window(options.placement);
    fillWindow(window, black);
    SoundPlayer player(options.node);
    std::puts("ready");
    std::fflush(stdout);

    std::int64_t next = hostTime() + nanosecondsPerSecond;
    for (std::uint32_t event = 0;; ++event) {
        const int beep =
            player.playBeepAt(quorvane::support::MediaTime(std::chrono::nanoseconds(next)),
                              {.amplitude = 0.5, .length = 30ms});
        const auto heard = player.beepHeardAt(beep, 3s);
        if (!heard) throw std::runtime_error("The beep was not played.");
        const std::int64_t moment = heard->time_since_epoch().count();
        sleepUntil(moment);
        fillWindow(window, white);
        log.add(event, moment, hostTime());
        sleepUntil(moment + 100'000'000);
        fillWindow(window, black);
        next += 260'000'000 + event * 37 % 50 * 1'000'000;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(parse({argv + 1, argv + argc}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "flash_and_beep: %s\n", error.what());
        return 1;
    }
}
