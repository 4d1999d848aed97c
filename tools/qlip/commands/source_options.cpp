#include "commands/source_options.h"

#include "commands/commands.h"
#include "host/checks.h"
#include "host/tool_error.h"
#include "stream/box_source.h"

namespace qlip_tool {
namespace {

void add_seek(CLI::App& command, SourceOptions& options, bool plays) {
    auto* seek = command
                     .add_option("--seek", options.seek_ms,
                                 plays ? "Start where decoding can start, at or before this time"
                                       : "With --engine box: start at this time")
                     ->type_name("MS");
    const auto flag = [&](const char* name, unsigned int value, const char* text) {
        return command
            .add_flag_callback(
                name, [&options, value] { options.seek_flag = value; }, text)
            ->needs(seek);
    };
    auto* nearest = flag("--nearest", QLIP_SEEK_NEAREST_SYNC,
                         "With --engine box: seek to the sync sample that the library's nearest mode picks: "
                         "the farther one");
    auto* next = flag("--next", QLIP_SEEK_NEXT_SYNC, "With --engine box: seek to the next sync sample");
    auto* previous =
        flag("--previous", QLIP_SEEK_PREVIOUS_SYNC, "Seek to the previous sync sample (the default)");
    nearest->excludes(next);
    nearest->excludes(previous);
    next->excludes(previous);
}

}  // namespace

void SourceOptions::add_to(CLI::App& command, bool plays) {
    const std::vector<std::string> modes =
        plays ? std::vector<std::string>{"ra", "rv", "both"} : std::vector<std::string>{"ra", "rv"};
    command.add_option("FILE", file, "The 3GP file")->required();
    command
        .add_option("--mode", mode,
                    plays
                        ? "ra: the audio track; rv: the video track; both: one beside the other. Without it, "
                          "video if there is any, else audio"
                        : "ra: the audio track; rv: the video track. Without it, video if there is any, "
                          "else audio")
        ->check(one_of(modes))
        ->type_name(plays ? "ra|rv|both" : "ra|rv");
    command
        .add_option(
            "--engine", engine,
            "c: the C entry points, with the host kit; box: the second reader, which needs hint tracks")
        ->check(one_of({"c", "box"}))
        ->type_name("c|box")
        ->capture_default_str();
    add_seek(command, *this, plays);
    command.add_flag("--indexed", indexed,
                     "With --engine box: read by absolute position, as --engine c always does");
    command.add_flag("--follow", follow,
                     "The file is still being written: wait for bytes that are not there yet");
    command
        .add_option("--patience", patience, "With --follow: give up when the file has not grown for so long")
        ->check(not_negative())
        ->type_name("SECONDS")
        ->capture_default_str();
}

std::unique_ptr<ChunkSource> open_stream(FileHost& host, const SourceOptions& options) {
    if (!options.uses_box()) {
        if (options.seek_ms) {
            throw ToolError(Exit::usage, "the C entry points read a native stream from its start",
                            "--engine box --seek MS, for a track with hints; or qlip rtp --seek MS");
        }
        return std::make_unique<KitTrack>(host, options.growth(host),
                                          TrackOptions{.mode = options.mode, .as_stream = true});
    }
    auto source = std::make_unique<BoxSource>(host, options.growth(host), options.mode, options.indexed);
    if (options.seek_ms) source->seek(*options.seek_ms, options.seek_flag.value_or(QLIP_SEEK_PREVIOUS_SYNC));
    return source;
}

}  // namespace qlip_tool
