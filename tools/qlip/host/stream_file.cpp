#include "host/stream_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "host/tool_error.h"

namespace qlip_tool {

StreamFile::StreamFile(const std::string& path)
    : path_(path == "-" ? "standard input" : path),
      fd_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      piece_(1 << 16) {
    if (fd_ < 0) throw io_error("cannot open " + path);
}

StreamFile::~StreamFile() {
    if (fd_ != STDIN_FILENO) close(fd_);
}

std::span<const unsigned char> StreamFile::next() {
    ssize_t got = 0;
    do {
        got = read(fd_, piece_.data(), piece_.size());
    } while (got < 0 && errno == EINTR);
    if (got < 0) throw io_error("cannot read " + path_);
    return {piece_.data(), static_cast<size_t>(got)};
}

}  // namespace qlip_tool
