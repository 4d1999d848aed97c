// Collects what the process under test sends to syslog(3). Link one test executable with syslog_capture.cpp:
// it stands in for the C library's syslog there.
#pragma once

#include <string>
#include <vector>

namespace qlip_test {

struct SyslogLine {
    int priority;
    std::string text;
};

// All lines since the last clear.
std::vector<SyslogLine>& syslog_lines();

}  // namespace qlip_test
