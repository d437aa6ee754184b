// How a command ends: one JSON document on standard output, or one line on standard error.
// Threads: the main thread.
#pragma once

#include <exception>
#include <string>

#include "support/json.h"

namespace quorvane::app {

// Ends the process at once: no destructor waits for a thread that a hanging server holds.
[[noreturn]] void exitProcess(int status);

// Prints the error's line on standard error and exits with status 1.
[[noreturn]] void fail(const std::exception_ptr& error);

// Prints the line on standard output; fails when it cannot be written.
void printLine(const std::string& line);

// Prints a fixed JSON object on standard error and exits with status 1: the result of a command
// could not be encoded.
[[noreturn]] void failEncoding();

// Prints the record as one line of compact JSON with sorted members.
template <class Value>
void writeJSON(const Value& value) {
    std::string text;
    try {
        text = support::jsonText(value, support::JsonOrder::sorted);
    } catch (const support::JsonEncodingError&) {
        failEncoding();
    }
    printLine(text);
}

}  // namespace quorvane::app
