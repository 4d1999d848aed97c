#include "commands/source_options.h"

#include "commands/commands.h"
#include "host/checks.h"
#include "host/tool_error.h"
#include "stream/box_source.h"
#include "stream/session_source.h"

namespace qlip_tool {
namespace {

void add_seek(CLI::App& command, SourceOptions& options) {
    auto* seek = command.add_option("--seek", options.seek_ms, "With --engine box: start at this time")
                     ->type_name("MS");
    const auto flag = [&](const char* name, unsigned int value, const char* text) {
        return command
            .add_flag_callback(
                name, [&options, value] { options.seek_flag = value; }, text)
            ->needs(seek);
    };
    auto* nearest = flag("--nearest", QLIP_SEEK_NEAREST_SYNC,
                         "Seek to the sync sample that the library's nearest mode picks: the farther one");
    auto* next = flag("--next", QLIP_SEEK_NEXT_SYNC, "Seek to the next sync sample");
    auto* previous =
        flag("--previous", QLIP_SEEK_PREVIOUS_SYNC, "Seek to the previous sync sample (the default)");
    nearest->excludes(next);
    nearest->excludes(previous);
    next->excludes(previous);
}

[[noreturn]] void refuse_seek(FileHost& host, const std::string& mode) {
    Growth no_growth(host, false, Seconds(0));
    const bool hinted = prepare(host, no_growth, mode).hinted;
    throw ToolError(Exit::usage,
                    hinted
                        ? "the C entry points cannot seek"
                        : "the C entry points cannot seek, and the reader that can needs a hint track, which "
                          "this track has not",
                    hinted ? "--engine box --seek MS" : "");
}

}  // namespace

void SourceOptions::add_to(CLI::App& command) {
    command.add_option("FILE", file, "The 3GP file")->required();
    command
        .add_option("--mode", mode,
                    "ra: the audio track; rv: the video track. Without it, video if there is any, else audio")
        ->check(one_of({"ra", "rv"}))
        ->type_name("ra|rv");
    command
        .add_option("--engine", engine,
                    "c: the C entry points; box: the second reader, which needs hint tracks and can seek")
        ->check(one_of({"c", "box"}))
        ->type_name("c|box")
        ->capture_default_str();
    add_seek(command, *this);
    command.add_flag("--indexed", indexed,
                     "Read by absolute position, as a host does that holds the file in buffers of its own");
    command.add_flag("--follow", follow,
                     "The file is still being written: wait for bytes that are not there yet");
    command
        .add_option("--patience", patience, "With --follow: give up when the file has not grown for so long")
        ->check(not_negative())
        ->type_name("SECONDS")
        ->capture_default_str();
}

std::unique_ptr<ChunkSource> open_source(FileHost& host, const SourceOptions& options) {
    const Growth growth(host, options.follow, Seconds(options.patience));
    if (options.engine == "c") {
        if (options.seek_ms) refuse_seek(host, options.mode);
        return std::make_unique<SessionSource>(host, growth, options.mode, options.indexed);
    }
    auto source = std::make_unique<BoxSource>(host, growth, options.mode, options.indexed);
    if (options.seek_ms) source->seek(*options.seek_ms, options.seek_flag);
    return source;
}

}  // namespace qlip_tool
