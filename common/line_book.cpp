#include "common/line_book.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace qlip {

namespace {

constexpr size_t kLongestLine = 1023;

// Lines come from deep inside: boxes, descriptors and producers know no object that is open. The call that
// led there does.
constinit thread_local LineBook* current_book = nullptr;

// What a file brings into a line must not make two of it.
void make_one_line(char* text) {
    for (size_t end = std::strlen(text); end > 0 && text[end - 1] == '\n'; --end)
        text[end - 1] = '\0';
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte < ' ' || byte == 0x7F) *text = '?';
    }
}

}  // namespace

LineBook::Admission LineBook::admit(int level, uintptr_t kind) {
    if (lines_left_ == 0) return Admission::Drop;
    if (level < QLIP_LINE_DEBUG) {
        unsigned int& lines = place_of(kind).lines;
        if (lines > kMostOfAKind) return Admission::Drop;
        if (lines++ == kMostOfAKind) {
            --lines_left_;
            return Admission::SayLeftOut;
        }
    }
    return --lines_left_ == 0 ? Admission::SayLeftOut : Admission::Write;
}

void LineBook::hand_over(int level, const char* format, va_list arguments) const {
    std::array<char, kLongestLine + 1> text;
    std::vsnprintf(text.data(), text.size(), format, arguments);
    make_one_line(text.data());
    function_(level, text.data(), user_);
}

void LineBook::hand_over(int level, const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    hand_over(level, format, arguments);
    va_end(arguments);
}

LineBook* LineBook::current() {
    return current_book;
}

LineBook::Kind& LineBook::place_of(uintptr_t kind) {
    auto place = std::find_if(kinds_.begin(), kinds_.end() - 1,
                              [kind](const Kind& known) { return known.lines == 0 || known.kind == kind; });
    place->kind = kind;
    return *place;
}

LineScope::LineScope(LineBook* book) : outer_(current_book) {
    current_book = book;
}

LineScope::~LineScope() {
    current_book = outer_;
}

}  // namespace qlip
