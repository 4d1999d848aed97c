#include "host/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr size_t kFlushAt = 1 << 16;
int result_fd = STDOUT_FILENO;

// An input or output by what it is, not by its name.
bool look_up(const std::string& path, int standard, bool is_standard, struct stat& facts) {
    return is_standard ? fstat(standard, &facts) == 0 : stat(path.c_str(), &facts) == 0;
}

bool is_descriptor(const std::string& path) {
    return path == "/dev/stderr" || path.starts_with("/dev/fd/") || path.starts_with("/proc/");
}

int open_directly(const std::string& path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) throw io_error("cannot open " + path);
    return fd;
}

}  // namespace

void claim_standard_streams() {
    // A closed descriptor stays one that cannot be used: it is filled with the wrong direction.
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(standard, F_GETFD) < 0) open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    const int copy = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (copy < 0 || nowhere < 0) throw io_error("cannot open /dev/null");
    result_fd = copy;
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

void show_diagnostics() {
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

bool is_standard_output(const std::string& path) {
    constexpr std::array<std::string_view, 4> kNames = {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"};
    return std::find(kNames.begin(), kNames.end(), path) != kNames.end();
}

bool is_written_directly(const std::string& path) {
    if (is_standard_output(path) || is_descriptor(path)) return true;
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode);
}

void refuse_to_overwrite(const std::string& path, const std::vector<std::string>& inputs) {
    struct stat out = {};
    if (!look_up(path, result_fd, is_standard_output(path), out) || !S_ISREG(out.st_mode)) return;
    for (const std::string& input : inputs) {
        struct stat in = {};
        if (input.empty() || !look_up(input, STDIN_FILENO, input == "-", in)) continue;
        if (in.st_dev != out.st_dev || in.st_ino != out.st_ino) continue;
        throw ToolError(Exit::usage, path + " is the input: the output would destroy it",
                        "name another output file");
    }
}

bool same_output(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty()) return false;
    if (is_standard_output(one) || is_standard_output(other))
        return is_standard_output(one) && is_standard_output(other);
    if (is_written_directly(one)) return false;
    const auto place = [](const std::string& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path));
    };
    return place(one) == place(other);
}

Output::Output(const std::string& path, const std::vector<std::string>& inputs, Interrupted interrupted)
    : name_(is_standard_output(path) ? "standard output" : path) {
    refuse_to_overwrite(path, inputs);
    if (is_standard_output(path)) {
        fd_ = result_fd;
    } else if (is_written_directly(path)) {
        fd_ = open_directly(path);
    } else {
        fd_ = file_.emplace(path, interrupted).fd();
    }
}

Output::~Output() {
    try {
        if (!file_) flush();
    } catch (...) {  // a destructor cannot report; commands finish before they end
        pending_.clear();
    }
    if (!file_ && fd_ != result_fd) close(fd_);
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

void Output::finish() {
    flush();
    if (file_) file_->put_in_place();
}

void Output::refuse_terminal(const std::string& what, const std::string& advice) const {
    if (isatty(fd_) == 0) return;
    throw ToolError(Exit::usage, what + " is binary, and " + name_ + " is a terminal", advice);
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
