// How an error reads to the parent and its user.
// Threads: pure, any. Errors: none; any exception has a text.
#pragma once

#include <exception>
#include <string>

namespace quorvane::cli {

// The error's sentence alone, as a "warning" line carries it.
std::string localizedDescription(const std::exception_ptr& error);

// The one line that a failed command leaves on standard error, without its line feed: the sentence,
// the error's identity "(domain code)", and the failure that caused it.
std::string failureLine(const std::exception_ptr& error);

}  // namespace quorvane::cli
