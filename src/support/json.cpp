#include "support/json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "support/text.h"

namespace quorvane::support {
namespace {

// Outside this range plain notation would be mostly zeros.
constexpr double leastPlain = 1e-5;
constexpr double mostPlain = 1e17;

template <class Float>
std::string shortestNumber(Float value) {
    if (!std::isfinite(value)) throw JsonEncodingError();
    const double magnitude = std::abs(static_cast<double>(value));
    const bool plain = magnitude == 0 || (magnitude >= leastPlain && magnitude < mostPlain);
    std::array<char, 64> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value,
                      plain ? std::chars_format::fixed : std::chars_format::scientific);
    return {text.data(), end.ptr};
}

}  // namespace

std::string JsonObject::text() && {
    if (order_ == JsonOrder::sorted) std::sort(members_.begin(), members_.end());
    std::string text = "{";
    for (const auto& [name, value] : members_) {
        if (text.size() > 1) text += ',';
        text += jsonString(name);
        text += ':';
        text += value;
    }
    return text + "}";
}

std::string jsonNumber(double value) {
    return shortestNumber(value);
}

std::string jsonNumber(float value) {
    return shortestNumber(value);
}

std::string jsonString(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : validUtf8(text)) {
        switch (character) {
            case '"':
            case '\\':
            case '/':
                quoted += '\\';
                quoted += character;
                break;
            case '\b':
                quoted += "\\b";
                break;
            case '\f':
                quoted += "\\f";
                break;
            case '\n':
                quoted += "\\n";
                break;
            case '\r':
                quoted += "\\r";
                break;
            case '\t':
                quoted += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(character) < 0x20) {
                    quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
                } else {
                    quoted += character;
                }
        }
    }
    return quoted + "\"";
}

}  // namespace quorvane::support
