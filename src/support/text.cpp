#include "support/text.h"

#include <utf8proc.h>

namespace quorvane::support {

std::string validUtf8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        utf8proc_int32_t scalar = 0;
        const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                             static_cast<utf8proc_ssize_t>(text.size()), &scalar);
        if (length > 0) {
            valid.append(text.substr(0, static_cast<std::size_t>(length)));
            text.remove_prefix(static_cast<std::size_t>(length));
        } else {
            valid.append("\xEF\xBF\xBD");
            text.remove_prefix(1);
        }
    }
    return valid;
}

}  // namespace quorvane::support
