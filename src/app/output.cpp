#include "app/output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "cli/error_text.h"
#include "platform/platform_error.h"

namespace quorvane::app {

void exitProcess(int status) {
    std::fflush(stdout);
    std::_Exit(status);
}

void fail(const std::exception_ptr& error) {
    const auto line = cli::failureLine(error) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    exitProcess(1);
}

void printLine(const std::string& line) {
    const auto text = line + "\n";
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        fail(std::make_exception_ptr(platform::posixError(errno, "Could not write the result")));
}

void failEncoding() {
    std::fputs("{\"error\":\"Could not encode JSON.\"}\n", stderr);
    exitProcess(1);
}

}  // namespace quorvane::app
