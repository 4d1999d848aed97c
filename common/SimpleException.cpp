#include "qlip/SimpleException.h"

#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string_view>

#include "common/line_book.h"
#include "common/log.h"

using namespace qlip;

int sx_Debug = 3;
int malloccount;
int freecount;

namespace {

constexpr int kPriority = LOG_ERR;
constexpr const char* kNoMessage = "%sUnknown error occured\n";

int level_of(const char* prefix) {
    if (std::strcmp(prefix, kWarningPrefix) == 0) return QLIP_LINE_WARNING;
    if (std::strcmp(prefix, kDebugPrefix) == 0) return QLIP_LINE_DEBUG;
    if (std::strcmp(prefix, kVerbosePrefix) == 0) return QLIP_LINE_VERBOSE;
    return QLIP_LINE_ERROR;
}

// Lines of one place in the source are of one kind.
uintptr_t kind_of(const SimpleException& line) {
    return std::hash<std::string_view>{}(line.m_file) + static_cast<uintptr_t>(line.m_line);
}

// One line, for the system log or the host's function. `format` begins with the prefix, which the function
// gets as a level.
template <typename... Values>
void write(const char* prefix, uintptr_t kind, const char* format, Values... values) {
    LineBook* book = LineBook::current();
    const int level = level_of(prefix);
    const auto admission = book ? book->admit(level, kind) : LineBook::Admission::Write;
    if (admission == LineBook::Admission::Drop) return;
    const bool whole = admission == LineBook::Admission::Write;
    if (!book || !book->has_function()) {
        whole ? syslog(kPriority, format, prefix, values...)
              : syslog(kPriority, "%s%s", prefix, LineBook::kLeftOut);
    } else {
        whole ? book->hand_over(level, format, "", values...)
              : book->hand_over(level, "%s", LineBook::kLeftOut);
    }
}

std::string formatted(const char* format, va_list arguments) {
    std::array<char, 256> text;
    vsnprintf(text.data(), text.size(), format, arguments);
    return text.data();
}

}  // namespace

void qlip::write_line(const char* prefix, const char* path, long line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = formatted(format, arguments);
    va_end(arguments);
    SimpleException(path, line, "%s", message.c_str()).Log(prefix);
}

void qlip::write_plain_line(long line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = formatted(format, arguments);
    va_end(arguments);
    SimpleException({}, line, "%s", message.c_str()).LogPlain("");
}

SimpleException::SimpleException() = default;

SimpleException::SimpleException(const std::string& file, long line, const char* format, ...)
    : m_line(line), m_file(file) {
    va_list arguments;
    va_start(arguments, format);
    m_message = formatted(format, arguments);
    va_end(arguments);
}

SimpleException::~SimpleException() = default;

void SimpleException::Log(const char* prefix) const {
    if (m_message.empty()) {
        write(prefix, kind_of(*this), kNoMessage);
    } else {
        write(prefix, kind_of(*this), "%s%s(%ld): %s\n", m_file.c_str(), m_line, m_message.c_str());
    }
}

void SimpleException::LogPlain(const char* prefix) const {
    if (m_message.empty()) {
        write(prefix, kind_of(*this), kNoMessage);
    } else {
        write(prefix, kind_of(*this), "%s%s", m_message.c_str());
    }
}
