// qlip stream: one track of a 3GP file as a native stream.
#include <memory>

#include "commands/commands.h"
#include "commands/source_options.h"
#include "host/output.h"
#include "host/progress.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Turns one track of a 3GP file into the library's native stream: a header, then frames and packets that\n"
    "carry their RTP sequence numbers, timestamps and markers.\n"
    "\n"
    "Examples:\n"
    "  qlip stream clip.3gp -o clip.stream                the video track, or the audio if there is no "
    "video\n"
    "  qlip stream clip.3gp --mode ra -o - | wc -c        the audio track, to standard output\n"
    "  qlip stream growing.3gp --follow --patience 10 -o out.stream\n"
    "                                                     a file that another program is still writing\n"
    "  qlip stream clip.3gp | qlip records -              look at it at once";

struct Options {
    SourceOptions source;
    std::string out = "-";
};

void copy_stream(FileHost& host, ChunkSource& source, Output& out, bool at_once) {
    Progress progress("streaming", host.size(), "bytes of the file");
    try {
        for (auto piece = source.next(); !piece.empty(); piece = source.next()) {
            out.write(piece);
            if (at_once) out.flush();
            progress.advance_to(host.furthest());
        }
    } catch (const ToolError& error) {
        if (error.about_input()) out.finish();  // what there is, is delivered
        throw;
    }
    out.finish();
}

void run(const Options& options) {
    FileHost host(options.source.file);
    const auto source = open_stream(host, options.source);
    // Who stops waiting for a growing file wants what has arrived.
    Output out(options.out, {options.source.file},
               options.source.follow ? Interrupted::Keeps : Interrupted::Discards);
    out.refuse_terminal("a native stream", "-o OUT, or a pipe into 'qlip records -'");
    copy_stream(host, *source, out, options.source.follow);
}

}  // namespace

void add_stream(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("stream", "Turn one track into a native stream");
    command->footer(kAbout);
    options->source.add_to(*command, false);
    command->add_option("-o,--output", options->out, "Where the stream goes; - is standard output")
        ->type_name("OUT")
        ->capture_default_str();
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
