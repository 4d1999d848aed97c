#include "tests/support/syslog_capture.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace qlip_test {

std::vector<SyslogLine>& syslog_lines() {
    static std::vector<SyslogLine> lines;
    return lines;
}

namespace {

void keep(int priority, const char* format, va_list arguments) {
    std::array<char, 1024> text;
    vsnprintf(text.data(), text.size(), format, arguments);
    static std::mutex one_at_a_time;  // like the function that this stands in for
    const std::lock_guard lock(one_at_a_time);
    syslog_lines().push_back({priority, text.data()});
}

}  // namespace
}  // namespace qlip_test

extern "C" void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    qlip_test::keep(priority, format, arguments);
    va_end(arguments);
}

// What syslog becomes under _FORTIFY_SOURCE.
extern "C" void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    qlip_test::keep(priority, format, arguments);
    va_end(arguments);
}
