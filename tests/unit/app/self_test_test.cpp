#include "app/self_test.h"

#include <gtest/gtest.h>

#include "capture/writer_status_rule.h"

namespace quorvane::app {
namespace {

TEST(SelfTest, Holds) {
    EXPECT_NO_THROW(runRecorderSelfTests());
}

TEST(WriterStatusRule, OnlyAWritingWriterIsToldThatItsInputsAreFinished) {
    using platform::MovieWriterStatus;
    EXPECT_FALSE(capture::recorderShouldMarkInputsFinished(MovieWriterStatus::unknown));
    EXPECT_TRUE(capture::recorderShouldMarkInputsFinished(MovieWriterStatus::writing));
    EXPECT_FALSE(capture::recorderShouldMarkInputsFinished(MovieWriterStatus::completed));
    EXPECT_FALSE(capture::recorderShouldMarkInputsFinished(MovieWriterStatus::failed));
    EXPECT_FALSE(capture::recorderShouldMarkInputsFinished(MovieWriterStatus::cancelled));
}

}  // namespace
}  // namespace quorvane::app
