// Options in an argument list: a name with a leading "--" and the value that follows it, anywhere
// in the list; the first occurrence of a name wins.
// Threads: pure, any. Errors: RecorderError, missingArgument or invalidArgument with the name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::cli {

// The process's arguments without the program name: element 0 is the sub-command word.
using Arguments = std::vector<std::string>;

// The word after the first element equal to the name, whatever it is; nothing when the name is
// absent or the last word.
std::optional<std::string> argumentValue(std::string_view name, const Arguments& arguments);

// "1", or "true" or "yes" in any case.
bool isTruthy(std::string_view text);
bool boolArgument(std::string_view name, const Arguments& arguments);

// A finite decimal floating-point literal (hexadecimal is none); one too small for a double is 0.
double doubleArgument(std::string_view name, const Arguments& arguments);
std::optional<double> optionalDoubleArgument(std::string_view name, const Arguments& arguments);

std::optional<std::uint32_t> optionalUInt32Argument(std::string_view name,
                                                    const Arguments& arguments);
std::optional<std::int32_t> optionalPidArgument(std::string_view name, const Arguments& arguments);

// A finite decimal floating-point literal with nothing around it.
std::optional<double> parseDouble(const std::string& text);

// A decimal integer from 0 to 4294967295 with an optional sign, and nothing around it.
std::optional<std::uint32_t> parseUInt32(std::string_view text);

// "highest", "high", "balanced" or "compact" as given; "highest" for anything else.
std::string normalizedVideoQuality(const std::optional<std::string>& text);

}  // namespace quorvane::cli
