#include "source_options.h"

#include <CLI/CLI.hpp>

#include "session_source.h"
#include "track_facts.h"

namespace qlip_tool {

void SourceOptions::add_to(CLI::App& command) {
    command.add_option("FILE", file, "The 3GP file")->required();
    command
        .add_option("--mode", mode,
                    "ra: the audio track; rv: the video track. Without it, video if there is any, else audio")
        ->check(CLI::IsMember({"ra", "rv"}))
        ->type_name("ra|rv");
    command.add_flag("--indexed", indexed,
                     "Read by absolute position, as a host does that holds the file in buffers of its own");
    command.add_flag("--follow", follow,
                     "The file is still being written: wait for bytes that are not there yet");
    command
        .add_option("--patience", patience, "With --follow: give up when the file has not grown for so long")
        ->check(CLI::NonNegativeNumber)
        ->type_name("SECONDS")
        ->capture_default_str();
}

std::unique_ptr<ChunkSource> open_source(FileHost& host, const SourceOptions& options) {
    Growth growth(host, options.follow, Seconds(options.patience));
    return std::make_unique<SessionSource>(host, growth, options.mode, options.indexed);
}

}  // namespace qlip_tool
