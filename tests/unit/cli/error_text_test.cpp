#include "cli/error_text.h"

#include <stdexcept>
#include <system_error>

#include <gtest/gtest.h>

#include "cli/recorder_error.h"
#include "platform/platform_error.h"

namespace quorvane::cli {
namespace {

using platform::PlatformError;

template <class Error>
std::exception_ptr pointer(Error error) {
    return std::make_exception_ptr(std::move(error));
}

TEST(FailureLine, GivesTextIdentityAndCause) {
    struct Row {
        const char* name;
        std::exception_ptr error;
        const char* line;
    };
    const auto cause = std::make_shared<const PlatformError>("POSIX", 28, "No space");
    const auto nameless = std::make_shared<const PlatformError>("NSCocoaErrorDomain", 0, "Odd");
    const Row rows[] = {
        {"missing argument", pointer(RecorderError::missingArgument("--output")),
         "Missing --output. (main.RecorderError 0)"},
        {"invalid argument", pointer(RecorderError::invalidArgument("command")),
         "Invalid command. (main.RecorderError 1)"},
        {"unavailable", pointer(RecorderError::unavailable("No luck today.")),
         "No luck today. (main.RecorderError 2)"},
        {"an empty message is used as it is", unavailable(""), " (main.RecorderError 2)"},
        {"no displays", pointer(RecorderError::noDisplays()),
         "No recordable displays were found. (main.RecorderError 3)"},
        {"no display for the region", pointer(RecorderError::noDisplayForRegion()),
         "The selected region is not on a recordable display. (main.RecorderError 4)"},
        {"platform error", pointer(PlatformError("X11", -3, "Gone.")), "Gone. (X11 -3)"},
        {"with a cause", pointer(PlatformError("libav", 5, "Failed.", cause)),
         "Failed. (libav 5) underlying: No space (POSIX 28)"},
        {"the identity that says nothing", pointer(PlatformError("NSCocoaErrorDomain", 0, "Odd")),
         "Odd"},
        {"the same domain with a code", pointer(PlatformError("NSCocoaErrorDomain", 4, "Odd")),
         "Odd (NSCocoaErrorDomain 4)"},
        {"a cause that says nothing is given all the same",
         pointer(PlatformError("A", 0, "B", nameless)),
         "B (A 0) underlying: Odd (NSCocoaErrorDomain 0)"},
        {"any exception", pointer(std::runtime_error("Oops")), "Oops (Exception 0)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(failureLine(row.error), row.line);
    }
}

TEST(LocalizedDescription, IsTheSentenceAlone) {
    EXPECT_EQ(localizedDescription(pointer(PlatformError("X11", -3, "Gone."))), "Gone.");
    EXPECT_EQ(localizedDescription(unavailable("No luck.")), "No luck.");
}

}  // namespace
}  // namespace quorvane::cli
