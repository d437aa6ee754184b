// Plays a known sound into a node of PipeWire until it is ended by a signal.
//   sound_source NODE [--tone FREQUENCY,LEFT,RIGHT] [--beeps COUNT] [--period SECONDS]
//                     [--frequency HZ] [--amplitude VALUE] [--length MS]
// NODE is a node.name. --tone: a steady sine, amplitudes in [0, 1]. --beeps: that many beeps, one a
// period (default 1 s), the first after a period; then it ends, and a tone with it.
// Prints "ready" once the sound flows, and for each beep "beep NUMBER TIME": the host time
// (CLOCK_MONOTONIC ns) at which its first sample is heard from the node.
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sound_player.h"

namespace {

using quorvane::support::MediaTime;
using quorvane::tools::Beep;
using quorvane::tools::SoundPlayer;
using quorvane::tools::Tone;

struct Options {
    std::string node;
    std::optional<Tone> tone;
    int beeps = 0;
    double period = 1;  // seconds
    Beep beep;
};

Tone toneFrom(const std::string& text) {
    Tone tone;
    char rest = '\0';
    if (std::sscanf(text.c_str(), "%lf,%lf,%lf%c", &tone.frequency, &tone.left, &tone.right,
                    &rest) != 3) {
        throw std::runtime_error("A tone is FREQUENCY,LEFT,RIGHT.");
    }
    return tone;
}

Options parse(const std::vector<std::string>& words) {
    Options options;
    if (words.empty()) throw std::runtime_error("Into which node?");
    options.node = words.front();
    for (std::size_t index = 1; index < words.size(); index += 2) {
        const std::string& name = words[index];
        if (index + 1 == words.size()) throw std::runtime_error(name + " needs a value.");
        const std::string& value = words[index + 1];
        if (name == "--tone") {
            options.tone = toneFrom(value);
        } else if (name == "--beeps") {
            options.beeps = std::stoi(value);
        } else if (name == "--period") {
            options.period = std::stod(value);
        } else if (name == "--frequency") {
            options.beep.frequency = std::stod(value);
        } else if (name == "--amplitude") {
            options.beep.amplitude = std::stod(value);
        } else if (name == "--length") {
            options.beep.length = std::chrono::milliseconds(std::stoi(value));
        } else {
            throw std::runtime_error("Unknown option " + name + ".");
        }
    }
    return options;
}

void playBeeps(SoundPlayer& player, const Options& options) {
    const auto period = std::chrono::nanoseconds(static_cast<std::int64_t>(options.period * 1e9));
    MediaTime next(std::chrono::steady_clock::now().time_since_epoch());
    for (int count = 0; count < options.beeps; ++count) {
        next += period;
        const int number = player.playBeepAt(next, options.beep);
        const auto heard = player.beepHeardAt(
            number, std::chrono::ceil<std::chrono::milliseconds>(period) + std::chrono::seconds(2));
        if (!heard) throw std::runtime_error("No sound flows any more.");
        std::printf("beep %d %lld\n", number,
                    static_cast<long long>(heard->time_since_epoch().count()));
        std::fflush(stdout);
    }
    // The last beep was rendered, and is still on its way.
    std::this_thread::sleep_for(options.beep.length + std::chrono::milliseconds(200));
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parse({argv + 1, argv + argc});
        SoundPlayer player(options.node);
        player.setTone(options.tone);
        std::puts("ready");
        std::fflush(stdout);
        playBeeps(player, options);
        while (options.beeps == 0)
            std::this_thread::sleep_for(std::chrono::hours(1));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sound_source: %s\n", error.what());
        return 1;
    }
    return 0;
}
