#include "cli/arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "cli/recorder_error.h"

namespace quorvane::cli {
namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// Takes the digits at the front off the text and says how many there were.
std::size_t takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    text.remove_prefix(count);
    return count;
}

bool takeSign(std::string_view& text) {
    if (text.empty() || (text.front() != '+' && text.front() != '-')) return false;
    text.remove_prefix(1);
    return true;
}

bool isFloatingPointLiteral(std::string_view text) {
    takeSign(text);
    std::size_t digits = takeDigits(text);
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        digits += takeDigits(text);
    }
    if (digits == 0) return false;
    if (text.empty()) return true;
    if (text.front() != 'e' && text.front() != 'E') return false;
    text.remove_prefix(1);
    takeSign(text);
    return takeDigits(text) > 0 && text.empty();
}

template <class Integer>
std::optional<Integer> parseInteger(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (text.empty() || !isDigit(text.front())) return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max())
        return std::nullopt;
    return static_cast<Integer>(value);
}

// The value of an optional option by its parser; an absent option is nothing, a bad one an error.
template <class Parse>
auto optionalArgument(std::string_view name, const Arguments& arguments, Parse parse)
    -> decltype(parse(std::string())) {
    const auto text = argumentValue(name, arguments);
    if (!text) return std::nullopt;
    auto value = parse(*text);
    if (!value) throw RecorderError::invalidArgument(std::string(name));
    return value;
}

}  // namespace

std::optional<std::string> argumentValue(std::string_view name, const Arguments& arguments) {
    const auto found = std::find(arguments.begin(), arguments.end(), name);
    if (found == arguments.end() || found + 1 == arguments.end()) return std::nullopt;
    return *(found + 1);
}

bool isTruthy(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    return text == "1" || lowered == "true" || lowered == "yes";
}

bool boolArgument(std::string_view name, const Arguments& arguments) {
    return isTruthy(argumentValue(name, arguments).value_or(""));
}

double doubleArgument(std::string_view name, const Arguments& arguments) {
    const auto value = optionalDoubleArgument(name, arguments);
    if (!value) throw RecorderError::missingArgument(std::string(name));
    return *value;
}

std::optional<double> optionalDoubleArgument(std::string_view name, const Arguments& arguments) {
    return optionalArgument(name, arguments, parseDouble);
}

std::optional<std::uint32_t> optionalUInt32Argument(std::string_view name,
                                                    const Arguments& arguments) {
    return optionalArgument(name, arguments, parseUInt32);
}

std::optional<std::int32_t> optionalPidArgument(std::string_view name, const Arguments& arguments) {
    return optionalArgument(name, arguments, parseInteger<std::int32_t>);
}

std::optional<double> parseDouble(const std::string& text) {
    if (!isFloatingPointLiteral(text)) return std::nullopt;
    // std::from_chars would report a number too small like one too large. The program never sets a
    // locale, so the decimal point is a point.
    const double value = std::strtod(text.c_str(), nullptr);
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<std::uint32_t> parseUInt32(std::string_view text) {
    return parseInteger<std::uint32_t>(text);
}

std::string normalizedVideoQuality(const std::optional<std::string>& text) {
    for (const char* known : {"highest", "high", "balanced", "compact"}) {
        if (text == known) return known;
    }
    return "highest";
}

}  // namespace quorvane::cli
