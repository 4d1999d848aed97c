#include "host/file_host.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "host/tool_error.h"

namespace qlip_tool {

namespace {

// Statuses of this host.
enum Status : unsigned int {
    kDone = 0,
    kNotThereYet = 5,  // also what ConvertStatus makes of it: the second reader knows 5
    kReadFailed = 6,
    kNotWritable = 7,
};

constexpr unsigned int kCurrentPosition = 0xFFFFFFFF;
constexpr uint64_t kMostBytes = std::numeric_limits<uint32_t>::max();

int open_input(const std::string& path) {
    if (path == "-") {
        throw ToolError(Exit::usage, "a 3GP file is read at many places, which standard input cannot be",
                        "a file name in place of -");
    }
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) return fd;
    const int error = errno;
    throw ToolError(Exit::io, "cannot open " + path + ": " + std::strerror(error),
                    error == ENOENT ? "check the name; the file does not exist" : "");
}

}  // namespace

struct FileHostSlots {
    static FileHost& host(void* context) { return *static_cast<FileHost*>(context); }

    static unsigned int read(FileHost& from, unsigned int offset, void* data, unsigned int wanted,
                             unsigned int* got) {
        *got = static_cast<unsigned int>(from.read_at(offset, data, wanted));
        if (from.read_error_ != 0) return kReadFailed;
        return *got == wanted || !from.refuse_short_reads_ ? kDone : kNotThereYet;
    }

    static unsigned int GetOffset(void* context, unsigned int* offset) {
        *offset = host(context).position_;
        return kDone;
    }

    static unsigned int Seek(void* context, unsigned int offset) {
        host(context).position_ = offset;
        return kDone;
    }

    static unsigned int SeekNRead(void* context, unsigned char* data, unsigned int* count,
                                  unsigned int position) {
        FileHost& from = host(context);
        if (position != kCurrentPosition) from.position_ = position;
        const unsigned int status = read(from, from.position_, data, *count, count);
        if (status == kDone) from.position_ += *count;
        return status;
    }

    static unsigned int SeekNWrite(void*, unsigned char*, unsigned int, unsigned int) { return kNotWritable; }

    static unsigned int Tell(void* context, unsigned int* size) {
        *size = static_cast<unsigned int>(std::min(host(context).size(), kMostBytes));
        return kDone;
    }

    static unsigned int IsEOF(void* context) {
        const FileHost& from = host(context);
        return from.position_ >= from.size() ? 1 : 0;
    }

    static unsigned int IndexRead(void* context, unsigned char* data, unsigned int offset, unsigned int count,
                                  unsigned int* got) {
        return read(host(context), offset, data, count, got);
    }

    // A file keeps its bytes, so there is nothing to release.
    static unsigned int AdvanceRead(void*, unsigned int) { return kDone; }

    static unsigned int ConvertStatus(unsigned int* result, unsigned int status) {
        const bool passes = status == kDone || status == kNotThereYet;
        *result = passes ? status : static_cast<unsigned int>(QLIP_FAILURE);
        return kDone;
    }
};

FileHost::FileHost(const std::string& path)
    : path_(path),
      fd_(open_input(path)),
      record_{this,
              FileHostSlots::GetOffset,
              FileHostSlots::Seek,
              FileHostSlots::SeekNRead,
              FileHostSlots::SeekNWrite,
              FileHostSlots::Tell,
              FileHostSlots::IsEOF,
              FileHostSlots::IndexRead,
              FileHostSlots::AdvanceRead,
              FileHostSlots::ConvertStatus} {
    struct stat facts = {};
    const bool known = fstat(fd_, &facts) == 0;
    if (known && S_ISREG(facts.st_mode) && size() <= kMostBytes) return;
    close(fd_);
    if (!known || !S_ISREG(facts.st_mode)) {
        throw ToolError(Exit::io, path + " is not a regular file",
                        "save it to disk first: a 3GP file is read at many places, not from front to end");
    }
    throw ToolError(Exit::bad_input, path + " is larger than 4 GiB: positions have 32 bits here",
                    "split the file; nothing in it can be delivered as it is");
}

FileHost::~FileHost() {
    close(fd_);
}

uint64_t FileHost::size() const {
    struct stat facts = {};
    return fstat(fd_, &facts) == 0 ? static_cast<uint64_t>(facts.st_size) : 0;
}

void FileHost::start_over() {
    position_ = 0;
    refuse_short_reads_ = false;
}

void FileHost::refuse_short_reads() {
    refuse_short_reads_ = true;
    count_from_here();
}

void FileHost::throw_if_unreadable() const {
    if (unreadable()) throw io_error("cannot read " + path_, read_error_);
}

size_t FileHost::read_at(uint64_t offset, void* into, size_t size) {
    size_t done_so_far = 0;
    while (done_so_far < size) {
        const ssize_t got = pread(fd_, static_cast<char*>(into) + done_so_far, size - done_so_far,
                                  static_cast<off_t>(offset + done_so_far));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) read_error_ = errno;
        if (got <= 0) break;
        done_so_far += static_cast<size_t>(got);
    }
    furthest_ = std::max(furthest_, offset + done_so_far);
    return done_so_far;
}

}  // namespace qlip_tool
