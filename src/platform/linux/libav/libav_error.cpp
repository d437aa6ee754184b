#include "platform/linux/libav/libav_error.h"

#include <array>
#include <string>

extern "C" {
#include <libavutil/error.h>
}

namespace quorvane::platform::libav {

PlatformError libavError(int code, std::string_view doing) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    // Unknown codes get a text, too, which names the number.
    (void)av_strerror(code, text.data(), text.size());
    return {"libav", code, "Could not " + std::string(doing) + ": " + text.data()};
}

void throwIfError(int code, std::string_view doing) {
    if (code < 0) throw libavError(code, doing);
}

}  // namespace quorvane::platform::libav
