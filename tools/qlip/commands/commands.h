// The commands. Each lives in a file of its own, adds itself to the application with its options and help,
// and runs from CLI11's callback; a new command is its file and its line here.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace qlip_tool {

void add_info(CLI::App& app);
void add_stream(CLI::App& app);
void add_records(CLI::App& app);
void add_rtp(CLI::App& app);
void add_serve(CLI::App& app);
void add_boxes(CLI::App& app);
void add_seek(CLI::App& app);
void add_h263(CLI::App& app);
void add_fragments(CLI::App& app);
void add_make(CLI::App& app);
void add_copy(CLI::App& app);
void add_lint(CLI::App& app);

// One of a few words; the type name of the option lists them.
inline CLI::Validator one_of(const std::vector<std::string>& words) {
    return CLI::IsMember(words).description("");
}

inline constexpr void (*kAllCommands[])(CLI::App&) = {add_info,      add_stream, add_records, add_rtp,
                                                      add_serve,     add_boxes,  add_seek,    add_h263,
                                                      add_fragments, add_make,   add_copy,    add_lint};

}  // namespace qlip_tool
