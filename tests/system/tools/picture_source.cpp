// Shows a test picture in a window until it is ended by a signal.
//   picture_source KIND [--x N] [--y N] [--width N] [--height N] [--managed] [--cursor]
//                       [--rate N] [--only N] [--log FILE]
// KIND: pattern, counter, typing, scrolling or motion (see test_pictures.h). --cursor gives the
// window a cursor of known shape; --rate is the counter's; --only shows one picture of the motion.
// Prints "ready" once the window is on the screen.
#include <cstdio>
#include <exception>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "draw_log.h"
#include "test_pictures.h"
#include "test_window.h"

namespace {

using quorvane::tools::DrawLog;
using quorvane::tools::Placement;
using quorvane::tools::TestWindow;

struct Options {
    std::string kind;
    Placement placement;
    bool cursor = false;
    double rate = 60;
    std::optional<std::uint32_t> only;
    std::string log;
};

Options parse(const std::vector<std::string>& words) {
    Options options;
    if (words.empty()) throw std::runtime_error("Which picture?");
    options.kind = words.front();
    options.placement.title = options.kind;
    const std::map<std::string, int*> numbers{{"--x", &options.placement.x},
                                              {"--y", &options.placement.y},
                                              {"--width", &options.placement.width},
                                              {"--height", &options.placement.height}};
    for (std::size_t index = 1; index < words.size(); ++index) {
        const auto& word = words[index];
        if (word == "--managed") {
            options.placement.managed = true;
        } else if (word == "--cursor") {
            options.cursor = true;
        } else if (index + 1 == words.size()) {
            throw std::runtime_error("Unknown option or no value: " + word);
        } else if (const auto number = numbers.find(word); number != numbers.end()) {
            *number->second = std::stoi(words[++index]);
        } else if (word == "--rate") {
            options.rate = std::stod(words[++index]);
        } else if (word == "--only") {
            options.only = static_cast<std::uint32_t>(std::stoul(words[++index]));
        } else if (word == "--log") {
            options.log = words[++index];
        } else {
            throw std::runtime_error("Unknown option: " + word);
        }
    }
    return options;
}

void run(const Options& options) {
    DrawLog log(options.log);
    TestWindow window(options.placement);
    if (options.cursor) window.setSquareCursor();
    window.showAll();
    window.sync();
    if (options.kind == "pattern") quorvane::tools::drawPattern(window);
    if (options.only) quorvane::tools::drawMotion(window, *options.only);
    window.sync();
    std::puts("ready");
    std::fflush(stdout);

    if (options.kind == "pattern" || options.only) window.serve();
    if (options.kind == "counter") quorvane::tools::runCounter(window, log, options.rate);
    if (options.kind == "typing") quorvane::tools::runTyping(window, log);
    if (options.kind == "scrolling") quorvane::tools::runScrolling(window, log);
    if (options.kind == "motion") quorvane::tools::runMotion(window, log);
    throw std::runtime_error("Unknown picture: " + options.kind);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(parse({argv + 1, argv + argc}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "picture_source: %s\n", error.what());
        return 1;
    }
}
