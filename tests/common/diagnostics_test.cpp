#include "common/diagnostics.h"

#include <gtest/gtest.h>

namespace {

TEST(DiagnosticsTest, MyfprintfIgnoresItsStreamAndPrintsToStandardOutput) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    myfprintf(stderr, "read_buf, EOF %d left\n", 3);
    myprintf("never shown %d\n", 4);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "read_buf, EOF 3 left\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
