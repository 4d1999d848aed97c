// A file that stands under its name once it is whole: until then it grows under another name beside it, so
// that whatever happens, a good file is never replaced by half of one.
#pragma once

#include <string>

namespace qlip_tool {

// What becomes of the file when a signal ends the tool.
enum class Interrupted { Discards, Keeps };

class PendingFile {
  public:
    // A name that is a link stands for what it leads to. Throws ToolError when no file can be made there, or
    // the one that is there may not be written.
    PendingFile(const std::string& path, Interrupted interrupted);
    // Removes the file, unless it was put in place.
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    int fd() const { return fd_; }  // for reading, too

    // Gives the file its name, with the owner and the mode of the one that it replaces. Throws ToolError.
    void put_in_place();

  private:
    std::string name_;  // as it was given
    std::string target_;
    std::string temporary_;
    int fd_ = -1;
    int slot_ = -1;
};

}  // namespace qlip_tool
