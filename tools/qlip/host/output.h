// Where the tool writes: standard output or a file.
#pragma once

#include <fmt/format.h>

#include <span>
#include <string>
#include <string_view>

namespace qlip_tool {

// Keeps standard output for the tool's own results. What the library prints there, its diagnostics, goes
// nowhere, or to standard error after show_diagnostics. Called once, first thing in main.
void claim_standard_output();
void show_diagnostics();

// A buffered output. Throws ToolError when it cannot write, OutputClosed when its reader has gone.
class Output {
  public:
    // Standard output for "-". A file is created or cut to nothing; `not_onto` names an input that must not
    // be overwritten.
    explicit Output(const std::string& path = "-", const std::string& not_onto = {});
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::span<const unsigned char> bytes);
    void write(std::string_view text);
    void flush();
    bool is_terminal() const;

    template <typename... Args>
    void print(fmt::format_string<Args...> format, Args&&... args) {
        write(std::string_view{fmt::format(format, std::forward<Args>(args)...)});
    }

  private:
    void drain(const char* from, size_t size);

    std::string name_;
    int fd_;
    std::string pending_;
};

}  // namespace qlip_tool
