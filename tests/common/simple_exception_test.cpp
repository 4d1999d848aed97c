#include <gtest/gtest.h>

#include <type_traits>

#include "common/log.h"
#include "tests/support/syslog_capture.h"

namespace {

using qlip_test::syslog_lines;

class SimpleExceptionTest : public testing::Test {
  protected:
    void SetUp() override { syslog_lines().clear(); }
    void TearDown() override { sx_Debug = 3; }

    std::string only_line() {
        EXPECT_EQ(syslog_lines().size(), 1U);
        if (syslog_lines().empty()) return {};
        EXPECT_EQ(syslog_lines()[0].priority, 3);
        return syslog_lines()[0].text;
    }
};

TEST_F(SimpleExceptionTest, LogShowsPositionAndMessage) {
    SimpleException("interface/src/libqlip", 42, "status %d of %s", 7, "x").Log("ERR: ");
    EXPECT_EQ(only_line(), "ERR: interface/src/libqlip(42): status 7 of x\n");
}

TEST_F(SimpleExceptionTest, LogPlainShowsTheMessageAlone) {
    SimpleException("interface/src/libqlip", 42, "status %d", 7).LogPlain("WARN:");
    EXPECT_EQ(only_line(), "WARN:status 7");
}

TEST_F(SimpleExceptionTest, WithoutAMessageBothFormsSayUnknownError) {
    SimpleException().Log("DBG: ");
    EXPECT_EQ(only_line(), "DBG: Unknown error occured\n");
    syslog_lines().clear();
    SimpleException("path", 1, "%s", "").LogPlain("DBG2:");
    EXPECT_EQ(only_line(), "DBG2:Unknown error occured\n");
}

TEST_F(SimpleExceptionTest, ALongMessageIsCutInsideItsBuffer) {
    const SimpleException exception("path", 1, "%s", std::string(1000, 'a').c_str());
    EXPECT_EQ(exception.m_message, std::string(255, 'a'));
}

TEST_F(SimpleExceptionTest, LevelsOpenOneAfterTheOther) {
    int evaluated = 0;
    for (sx_Debug = 1; sx_Debug <= 5; ++sx_Debug) {
        QLIP_LOG_ERROR("p", "%d", ++evaluated);
        QLIP_LOG_WARNING("p", "%d", ++evaluated);
        QLIP_LOG_DEBUG("p", "%d", ++evaluated);
        QLIP_LOG_VERBOSE("p", "%d", ++evaluated);
    }
    EXPECT_EQ(evaluated, 0 + 1 + 2 + 3 + 4);
    EXPECT_EQ(syslog_lines().back().text.substr(0, 5), "DBG2:");
}

static_assert(std::has_virtual_destructor_v<SimpleException>);

}  // namespace
