// Where the tool writes: standard output or a file.
#pragma once

#include <fmt/format.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/pending_file.h"

namespace qlip_tool {

// Keeps standard output for the tool's own results. What the library prints there, its diagnostics, goes
// nowhere, or to standard error after show_diagnostics. Standard descriptors that came closed are filled, so
// that no file takes their place. Called once, first thing in main.
void claim_standard_streams();
void show_diagnostics();

// Standard output under one of its names, "-" or a path.
bool is_standard_output(const std::string& path);

// A terminal, a pipe, a device: what is written as it comes and cannot be put in place as a whole.
bool is_written_directly(const std::string& path);

// Throws ToolError when writing to `path` would destroy one of the inputs, "-" being standard input. Empty
// names are none.
void refuse_to_overwrite(const std::string& path, const std::vector<std::string>& inputs);

// Whether two outputs would get into each other's way.
bool same_output(const std::string& one, const std::string& other);

// A buffered output. Throws ToolError when it cannot write, OutputClosed when its reader has gone.
class Output {
  public:
    // Standard output for "-". A file appears under its name with finish(); `inputs` must not be overwritten.
    explicit Output(const std::string& path = "-", const std::vector<std::string>& inputs = {},
                    Interrupted interrupted = Interrupted::Discards);
    // Without finish(), standard output still gets what is pending.
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::span<const unsigned char> bytes);
    void write(std::string_view text);
    void flush();
    void finish();

    // Throws ToolError when this is a terminal, and `what` is nothing to look at.
    void refuse_terminal(const std::string& what, const std::string& advice) const;

    template <typename... Args>
    void print(fmt::format_string<Args...> format, Args&&... args) {
        write(std::string_view{fmt::format(format, std::forward<Args>(args)...)});
    }

  private:
    void drain(const char* from, size_t size);

    std::string name_;
    std::optional<PendingFile> file_;
    int fd_;
    std::string pending_;
};

}  // namespace qlip_tool
