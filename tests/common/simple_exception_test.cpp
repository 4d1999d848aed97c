#include <gtest/gtest.h>

#include <type_traits>

#include "common/log.h"
#include "tests/support/syslog_capture.h"

namespace {

using qlip_test::syslog_lines;

TEST(SimpleExceptionTest, LinesShowPrefixPositionAndMessageOrThatTheErrorIsUnknown) {
    const SimpleException told("interface/src/libqlip", 42, "status %d of %s", 7, "x"),
        empty("path", 1, "%s", "");
    const SimpleException lengthy("path", 1, "%s", std::string(1000, 'a').c_str());
    syslog_lines().clear();
    told.Log("ERR: ");
    told.LogPlain("WARN:");
    SimpleException().Log("DBG: ");
    empty.LogPlain("DBG2:");
    lengthy.LogPlain("");
    const std::string unknown = "Unknown error occured\n";
    const std::string expected[] = {"ERR: interface/src/libqlip(42): status 7 of x\n", "WARN:status 7 of x",
                                    "DBG: " + unknown, "DBG2:" + unknown, std::string(255, 'a')};
    ASSERT_EQ(syslog_lines().size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(syslog_lines()[i].text, expected[i]);
        EXPECT_EQ(syslog_lines()[i].priority, 3);
    }
}

TEST(SimpleExceptionTest, LevelsOpenOneAfterTheOther) {
    const int before = sx_Debug;
    int evaluated = 0;
    for (sx_Debug = 1; sx_Debug <= 5; ++sx_Debug) {
        QLIP_LOG_ERROR("p", "%d", ++evaluated);
        QLIP_LOG_WARNING("p", "%d", ++evaluated);
        QLIP_LOG_DEBUG("p", "%d", ++evaluated);
        QLIP_LOG_VERBOSE("p", "%d", ++evaluated);
    }
    sx_Debug = before;
    EXPECT_EQ(evaluated, 0 + 1 + 2 + 3 + 4);
    EXPECT_EQ(syslog_lines().back().text.substr(0, 5), "DBG2:");
}

static_assert(std::has_virtual_destructor_v<SimpleException>);

}  // namespace
