// A file on disk behind the library's callback record: what a host has to write to use the library.
#pragma once

#include <cstdint>
#include <string>

#include "qlip/qlip.h"

namespace qlip_tool {

class FileHost {
  public:
    // Throws ToolError when the file cannot be opened, is no regular file, or passes 4 GiB: positions in the
    // library have 32 bits.
    explicit FileHost(const std::string& path);
    ~FileHost();
    FileHost(const FileHost&) = delete;
    FileHost& operator=(const FileHost&) = delete;

    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record() { return &record_; }
    const std::string& path() const { return path_; }

    // Bytes that the file has now; asked anew on each call, since the file may be growing.
    uint64_t size() const;

    // Back to the start, for the structure to be read: reads may come back short from now on.
    void start_over();

    // For the media data: a read that the file cannot serve whole fails from now on, as "not there yet".
    void refuse_short_reads();

    // How far into the file reading has come since a count began: a measure of progress.
    void count_from_here() { furthest_ = 0; }
    uint64_t furthest() const { return furthest_; }

    // Whether a read failed, which the library does not tell from bytes that are not there.
    bool unreadable() const { return read_error_ != 0; }
    void throw_if_unreadable() const;

    // Bytes from an absolute offset, without the library; short at the end.
    size_t read_at(uint64_t offset, void* into, size_t size);

  private:
    friend struct FileHostSlots;

    std::string path_;
    int fd_;
    unsigned int position_ = 0;
    bool refuse_short_reads_ = false;
    int read_error_ = 0;
    uint64_t furthest_ = 0;
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE record_;
};

}  // namespace qlip_tool
