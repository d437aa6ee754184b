// One line of the parent as a command.
// Threads: pure, any. Errors: none.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvane::webcam {

struct WebcamCommand {
    std::string word;      // as written; case counts
    std::string argument;  // everything behind the first space, further spaces included
    bool operator==(const WebcamCommand&) const = default;
};

// Nothing for a line of nothing but white space and line breaks.
std::optional<WebcamCommand> parseWebcamCommand(std::string_view line);

}  // namespace quorvane::webcam
