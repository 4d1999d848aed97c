#include "common/diagnostics.h"

#include <pthread.h>
#include <stdio_ext.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <ctime>

#include "common/line_book.h"

using namespace qlip;

namespace {

// While this lives, writing to a pipe that nobody reads is an error like any other: the signal, which would
// end the process, is held back from this thread and taken away again.
class HeldPipeSignal {
  public:
    HeldPipeSignal() {
        sigset_t pending;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigpending(&pending);
        if (sigismember(&pending, SIGPIPE)) return;  // the host holds it back already
        holds_ = pthread_sigmask(SIG_BLOCK, &pipe_, &before_) == 0;
    }
    ~HeldPipeSignal() {
        if (!holds_) return;
        const timespec at_once{};
        while (sigtimedwait(&pipe_, nullptr, &at_once) == -1 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    HeldPipeSignal(const HeldPipeSignal&) = delete;
    HeldPipeSignal& operator=(const HeldPipeSignal&) = delete;

  private:
    sigset_t pipe_, before_;
    bool holds_ = false;
};

// The line leaves the buffer of stdio here and now, where the signal is held back; in there it would raise it
// in some later call of the host's. What the host left in the buffer goes first, and stays the host's.
int print(const char* format, va_list arguments) {
    const int error = errno;
    const HeldPipeSignal held;
    flockfile(stdout);
    int printed = -1;
    if (std::fflush(stdout) == 0) {
        printed = std::vprintf(format, arguments);
        if (std::fflush(stdout) != 0) __fpurge(stdout);
    }
    funlockfile(stdout);
    errno = error;
    return printed;
}

int write_line(const LineBook* book, const char* format, va_list arguments) {
    if (!book || !book->has_function()) return print(format, arguments);
    book->hand_over(QLIP_LINE_WARNING, format, arguments);
    return 0;
}

int write(const LineBook* book, const char* format, ...) __attribute__((format(printf, 2, 3)));

int write(const LineBook* book, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int printed = write_line(book, format, arguments);
    va_end(arguments);
    return printed;
}

}  // namespace

int myprintf(const char* /*format*/, ...) {
    return 0;
}

int myfprintf(FILE* /*stream*/, const char* format, ...) {
    LineBook* book = LineBook::current();
    const auto kind = reinterpret_cast<uintptr_t>(format);
    const auto admission = book ? book->admit(QLIP_LINE_WARNING, kind) : LineBook::Admission::Write;
    if (admission == LineBook::Admission::Drop) return 0;
    if (admission == LineBook::Admission::SayLeftOut) return write(book, "%s\n", LineBook::kLeftOut);
    va_list arguments;
    va_start(arguments, format);
    const int printed = write_line(book, format, arguments);
    va_end(arguments);
    return printed;
}
