// What it takes to list windows once connected: the questions to the server, and the names of the
// applications. On the display of the environment, with windows of its own beside those that are
// there: scripts/desktop-session -- build/release/bench_listing
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include "platform/linux/desktop/desktop_application_directory.h"
#include "platform/linux/x11/connection.h"
#include "platform/linux/x11/monitors.h"
#include "platform/linux/x11/window_list.h"
#include "platform/linux/x11/window_survey.h"

namespace {

namespace x11 = quorvane::platform::x11;

// Windows with titles and a class. They only ever become more: opening and closing hundreds of them
// again and again keeps a window manager busy for longer than anything that is measured here.
class Windows {
  public:
    const x11::Connection& connection() const { return connection_; }

    // Returns once the window manager has so many.
    void growTo(std::size_t count) {
        for (; count_ < count; ++count_)
            open("Window " + std::to_string(count_));
        xcb_flush(connection_.xcb());
        while (managedWindows() < count)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

  private:
    void open(const std::string& title) {
        xcb_connection_t* xcb = connection_.xcb();
        const std::uint32_t window = xcb_generate_id(xcb);
        xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window, connection_.root(), 0, 0, 200, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        setText(window, XCB_ATOM_WM_NAME, title);
        setText(window, XCB_ATOM_WM_CLASS, std::string("bench\0Bench", 12));
        xcb_map_window(xcb, window);
    }

    void setText(std::uint32_t window, std::uint32_t property, const std::string& text) {
        xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, window, property,
                            XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(text.size()),
                            text.data());
    }

    std::size_t managedWindows() const {
        const auto survey = x11::surveyWindows(connection_);
        return static_cast<std::size_t>(
            std::count_if(survey.windows.begin(), survey.windows.end(),
                          [](const x11::SurveyedWindow& window) { return window.isManaged; }));
    }

    x11::Connection connection_{""};
    std::size_t count_ = 0;
};

void listWindows(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    static Windows windows;
    windows.growTo(count);
    const auto& connection = windows.connection();
    quorvane::platform::desktop::DesktopApplicationDirectory directory;
    for (auto _ : state) {
        benchmark::DoNotOptimize(x11::listMonitors(connection));
        const auto content =
            x11::windowsAndApplications(x11::surveyWindows(connection), {}, directory);
        if (content.windows.size() < count) state.SkipWithError("windows are missing");
    }
}
BENCHMARK(listWindows)->Arg(1)->Arg(20)->Arg(200)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
