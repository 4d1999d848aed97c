// The entry points that make, feed and close sources.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "kit/guard.h"
#include "kit/source.h"

namespace qlip::kit {
namespace {

class FileStore : public ByteStore {
  public:
    FileStore(int fd, bool owned) : fd_(fd), owned_(owned) {}
    ~FileStore() override {
        if (owned_) close(fd_);
    }

    int64_t read_at(void* to, size_t size, uint64_t offset) override {
        const int kept = errno;
        size_t done = 0;
        while (done < size) {
            const ssize_t got =
                pread(fd_, static_cast<char*>(to) + done, size - done, static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) {
                errno = kept;
                return QLIP_READ_FAILED;
            }
            if (got == 0) break;
            done += static_cast<size_t>(got);
        }
        errno = kept;
        return static_cast<int64_t>(done);
    }

    uint64_t size() override {
        struct stat facts = {};
        return fstat(fd_, &facts) == 0 ? static_cast<uint64_t>(facts.st_size) : 0;
    }

  private:
    int fd_;
    bool owned_;
};

class MemoryStore : public ByteStore {
  public:
    MemoryStore(const void* bytes, uint64_t size)
        : bytes_(static_cast<const unsigned char*>(bytes)), size_(size) {}

    int64_t read_at(void* to, size_t size, uint64_t offset) override {
        const uint64_t there = size_.load(std::memory_order_acquire);
        if (offset >= there) return 0;
        const uint64_t count = std::min<uint64_t>(size, there - offset);
        std::memcpy(to, bytes_ + offset, count);
        return static_cast<int64_t>(count);
    }

    uint64_t size() override { return size_.load(std::memory_order_acquire); }
    bool takes_sizes() const override { return true; }

    bool set_size(uint64_t size) override {
        if (size < this->size()) return false;
        size_.store(size, std::memory_order_release);
        return true;
    }

  private:
    const unsigned char* bytes_;
    std::atomic<uint64_t> size_;
};

class CustomStore : public ByteStore {
  public:
    CustomStore(const qlip_source_functions& functions, void* user) : functions_(functions), user_(user) {}
    ~CustomStore() override {
        if (functions_.release) functions_.release(user_);
    }

    // A count that cannot be is a failure.
    int64_t read_at(void* to, size_t size, uint64_t offset) override {
        const int64_t got = functions_.read_at(user_, to, size, offset);
        if (got < QLIP_READ_FAILED || got > static_cast<int64_t>(size)) return QLIP_READ_FAILED;
        return got;
    }

    uint64_t size() override { return functions_.size(user_); }

  private:
    qlip_source_functions functions_;
    void* user_;
};

template <class Store, class... Arguments>
int make_source(qlip_source** source, Arguments... arguments) {
    auto store = std::make_unique<Store>(arguments...);
    *source = new qlip_source(std::move(store));
    return QLIP_SUCCESS;
}

int check_file(int fd) {
    struct stat facts = {};
    if (fstat(fd, &facts) != 0) return QLIP_NO_SUCH_FILE;
    const bool fits = S_ISREG(facts.st_mode) && static_cast<uint64_t>(facts.st_size) <= kMostBytes;
    return fits ? QLIP_SUCCESS : QLIP_NOT_SUPPORTED;
}

int open_path(qlip_source** source, const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return QLIP_NO_SUCH_FILE;
    auto store = std::unique_ptr<FileStore>(new (std::nothrow) FileStore(fd, true));
    if (!store) {
        close(fd);
        return QLIP_NO_MEMORY;
    }
    const int status = check_file(fd);
    if (status == QLIP_SUCCESS) *source = new qlip_source(std::move(store));
    return status;
}

}  // namespace
}  // namespace qlip::kit

using namespace qlip::kit;

int qlip_source_path(qlip_source** source, const char* path) {
    if (!source || !path) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return open_path(source, path); });
}

int qlip_source_fd(qlip_source** source, int fd) {
    if (!source || fd < 0) return QLIP_BAD_ARGUMENT;
    return guarded([&] {
        const int status = check_file(fd);
        return status == QLIP_SUCCESS ? make_source<FileStore>(source, fd, false) : status;
    });
}

int qlip_source_memory(qlip_source** source, const void* bytes, size_t size) {
    if (!source || (!bytes && size != 0)) return QLIP_BAD_ARGUMENT;
    if (size > kMostBytes) return QLIP_NOT_SUPPORTED;
    return guarded([&] { return make_source<MemoryStore>(source, bytes, size); });
}

int qlip_source_set_size(qlip_source* source, size_t size) {
    if (!source) return QLIP_BAD_HANDLE;
    return guarded([&] { return source->set_size(size); });
}

int qlip_source_custom(qlip_source** source, const qlip_source_functions* functions, void* user) {
    if (!source || !functions) return QLIP_BAD_ARGUMENT;
    qlip_source_functions known = QLIP_SOURCE_FUNCTIONS_INIT;
    if (!take_record(known, functions) || !known.read_at || !known.size) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return make_source<CustomStore>(source, known, user); });
}

int qlip_source_set_growing(qlip_source* source, int growing) {
    if (!source) return QLIP_BAD_HANDLE;
    return guarded([&] {
        source->set_growing(growing != 0);
        return QLIP_SUCCESS;
    });
}

int qlip_source_wait(qlip_source* source, uint64_t size, int64_t timeout) {
    if (!source) return QLIP_BAD_HANDLE;
    return guarded([&] { return source->wait(size, timeout); });
}

int qlip_source_set_advanced(qlip_source* source, void (*advanced)(void* user, uint64_t offset), void* user) {
    if (!source) return QLIP_BAD_HANDLE;
    return guarded([&] {
        source->floors.tell(advanced, user);
        return QLIP_SUCCESS;
    });
}

int qlip_source_set_limits(qlip_source* source, const qlip_limits* limits) {
    if (!source) return QLIP_BAD_HANDLE;
    qlip_limits known = QLIP_LIMITS_INIT;
    if (!limits || !take_record(known, limits)) return QLIP_BAD_ARGUMENT;
    source->set_limits(known);
    return QLIP_SUCCESS;
}

int qlip_source_close(qlip_source** source) {
    if (!source) return QLIP_BAD_ARGUMENT;
    qlip_source* handle = *source;
    *source = nullptr;
    if (handle && handle->let_go()) delete handle;
    return QLIP_SUCCESS;
}
