#include "app/output.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "cli/recorder_error.h"

namespace quorvane::app {
namespace {

struct Size {
    double width = 0;
    double height = 0;
};
void encode(const Size& size, support::JsonObject& object) {
    object.member("width", size.width);
    object.member("height", size.height);
}

TEST(WriteJson, PrintsOneLineWithSortedMembers) {
    testing::internal::CaptureStdout();
    writeJSON(Size{1920, 0.5});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "{\"height\":0.5,\"width\":1920}\n");
}

TEST(WriteJson, ANumberThatIsNotFiniteEndsTheProcessWithTheFixedErrorAndStatus1) {
    for (const double width :
         {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        SCOPED_TRACE(width);
        // Standard output joins standard error, to show that nothing of the record is printed.
        EXPECT_EXIT(
            {
                dup2(STDERR_FILENO, STDOUT_FILENO);
                writeJSON(Size{width, 1});
            },
            testing::ExitedWithCode(1), testing::Eq("{\"error\":\"Could not encode JSON.\"}\n"));
    }
}

TEST(Fail, PrintsTheErrorsLineAndExitsWithStatus1) {
    EXPECT_EXIT(fail(std::make_exception_ptr(cli::RecorderError::invalidArgument("command"))),
                testing::ExitedWithCode(1),
                testing::Eq("Invalid command. (main.RecorderError 1)\n"));
}

}  // namespace
}  // namespace quorvane::app
