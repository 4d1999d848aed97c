// Help, man pages and shell completion: all of them from the table of commands that CLI11 has, so that they
// say what the tool does.
#pragma once

#include <CLI/App.hpp>

namespace qlip_tool {

// "help", and the hidden commands "man-page" and "completion", which the build and packages use. To be added
// last.
void add_manual(CLI::App& app);

}  // namespace qlip_tool
