// How the tool fails: every failure that a person can cause is a ToolError, and main turns it into one
// message and one exit code.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace qlip_tool {

enum class Exit {
    ok = 0,
    bad_input = 1,   // the file or stream is damaged, or has no track that can be delivered
    usage = 2,       // the command line makes no sense
    io = 3,          // something could not be opened, read, written or sent
    incomplete = 4,  // the file ends before its media data does
};

class ToolError : public std::runtime_error {
  public:
    ToolError(Exit exit, const std::string& message, std::string advice = {})
        : std::runtime_error(message), exit_(exit), advice_(std::move(advice)) {}

    Exit exit() const { return exit_; }
    // The input is at fault: what it gave until then is good.
    bool about_input() const { return exit_ == Exit::bad_input || exit_ == Exit::incomplete; }
    const std::string& advice() const { return advice_; }  // what to try, or empty

  private:
    Exit exit_;
    std::string advice_;
};

// The reader of our output has gone. Not a failure: the tool ends quietly.
struct OutputClosed {};

inline ToolError io_error(const std::string& action, int error = errno) {
    return {Exit::io, action + ": " + std::strerror(error)};
}

}  // namespace qlip_tool
