#include "host/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr size_t kFlushAt = 1 << 16;
int result_fd = STDOUT_FILENO;

bool same_file(const std::string& one, const std::string& other) {
    struct stat a = {};
    struct stat b = {};
    return stat(one.c_str(), &a) == 0 && stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

int open_output(const std::string& path, const std::string& not_onto) {
    if (path == "-") return result_fd;
    if (!not_onto.empty() && same_file(path, not_onto)) {
        throw ToolError(Exit::usage, path + " is the input: the output would destroy it",
                        "name another output file");
    }
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) throw io_error("cannot create " + path);
    return fd;
}

}  // namespace

void claim_standard_output() {
    const int copy = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (copy < 0) return;  // standard output is closed; writing will say so
    result_fd = copy;
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

void show_diagnostics() {
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

Output::Output(const std::string& path, const std::string& not_onto)
    : name_(path == "-" ? "standard output" : path), fd_(open_output(path, not_onto)) {}

Output::~Output() {
    try {
        flush();
    } catch (...) {  // a destructor cannot report; commands flush before they end
        pending_.clear();
    }
    if (fd_ != result_fd) close(fd_);
}

void Output::write(std::span<const unsigned char> bytes) {
    write(std::string_view{reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void Output::write(std::string_view text) {
    pending_.append(text);
    if (pending_.size() >= kFlushAt) flush();
}

void Output::flush() {
    std::string out;
    out.swap(pending_);
    drain(out.data(), out.size());
}

bool Output::is_terminal() const {
    return isatty(fd_) != 0;
}

void Output::drain(const char* from, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd_, from, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && errno == EPIPE) throw OutputClosed{};
        if (written < 0) throw io_error("cannot write " + name_);
        from += written;
        size -= static_cast<size_t>(written);
    }
}

}  // namespace qlip_tool
