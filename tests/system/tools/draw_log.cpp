#include "draw_log.h"

#include <cinttypes>
#include <stdexcept>

namespace quorvane::tools {

DrawLog::DrawLog(const std::string& path) {
    if (path.empty()) return;
    file_.reset(std::fopen(path.c_str(), "we"));
    if (!file_) throw std::runtime_error("Could not create " + path + ".");
    // A line at a time, so that the log is whole whenever the program is ended.
    std::setvbuf(file_.get(), nullptr, _IOLBF, BUFSIZ);
}

void DrawLog::add(std::uint32_t number, std::int64_t before, std::int64_t after) {
    if (!file_) return;
    if (std::fprintf(file_.get(), "%" PRIu32 " %" PRId64 " %" PRId64 "\n", number, before, after) <
        0) {
        throw std::runtime_error("Could not write the log of drawings.");
    }
}

}  // namespace quorvane::tools
