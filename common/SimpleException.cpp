#include "qlip/SimpleException.h"

#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>

int sx_Debug = 3;
int malloccount;
int freecount;

namespace {

constexpr int kPriority = LOG_ERR;
constexpr const char* kNoMessage = "%sUnknown error occured\n";

}  // namespace

SimpleException::SimpleException() = default;

SimpleException::SimpleException(const std::string& file, long line, const char* format, ...)
    : m_line(line), m_file(file) {
    std::array<char, 256> text;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    m_message = text.data();
}

SimpleException::~SimpleException() = default;

void SimpleException::Log(const char* prefix) const {
    if (m_message.empty()) {
        syslog(kPriority, kNoMessage, prefix);
        return;
    }
    syslog(kPriority, "%s%s(%ld): %s\n", prefix, m_file.c_str(), m_line, m_message.c_str());
}

void SimpleException::LogPlain(const char* prefix) const {
    if (m_message.empty()) {
        syslog(kPriority, kNoMessage, prefix);
        return;
    }
    syslog(kPriority, "%s%s", prefix, m_message.c_str());
}
