#include "support/text.h"

#include <cstdlib>
#include <memory>

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

std::string canonicalText(std::string_view text) {
    std::string valid = validUtf8(text);
    utf8proc_uint8_t* composed = nullptr;
    const auto length =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(valid.data()),
                     static_cast<utf8proc_ssize_t>(valid.size()), &composed,
                     static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(composed, &std::free);
    if (length < 0)
        return valid;  // memory is short; the order of equal texts suffers, nothing else
    return {reinterpret_cast<const char*>(composed), static_cast<std::size_t>(length)};
}

}  // namespace quorvane::support
