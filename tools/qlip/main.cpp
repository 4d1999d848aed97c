// qlip: the library as a command-line host. Parses the command line, runs one command, turns failures into a
// message and an exit code.
#include <dlfcn.h>
#include <fmt/format.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <string>

#include "commands/commands.h"
#include "commands/manual.h"
#include "host/message.h"
#include "host/output.h"
#include "host/tool_error.h"
#include "qlip/qlip.h"

using namespace qlip_tool;

namespace {

constexpr const char* kAbout =
    "Looks into 3GP files, turns their tracks into a native stream, and plays them as RTP.\n"
    "\n"
    "Examples:\n"
    "  qlip info clip.3gp                    what is in it, and what can be delivered\n"
    "  qlip stream clip.3gp -o clip.stream   one track as a native stream\n"
    "  qlip records clip.stream              that stream, record by record\n"
    "  qlip rtp clip.3gp --sdp clip.sdp      the track to a player, over RTP\n"
    "  qlip boxes clip.3gp                   the file's boxes, also of a file that does not open\n";

constexpr const char* kExitCodes =
    "\nExit codes: 0 done; 1 the file or stream is damaged or has no such track; 2 the command line is "
    "wrong;\n"
    "3 something could not be opened, read, written or sent; 4 the file is not complete.\n"
    "'qlip COMMAND --help' has the options of a command and examples.";

int fail(const ToolError& error) {
    say("qlip: {}\n", error.what());
    if (!error.advice().empty()) say("      try: {}\n", error.advice());
    return static_cast<int>(error.exit());
}

ToolError no_such_command(const std::string& name) {
    return {Exit::usage, fmt::format("there is no command '{}'", name), "qlip --help"};
}

// What is wrong with the command line, and where the help for it is.
int refuse(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
    const auto chosen = app.get_subcommands();
    const std::string what = error.what();
    if (chosen.empty() && argc > 1 && argv[1][0] != '-') return fail(no_such_command(argv[1]));
    return fail(ToolError(Exit::usage, what,
                          "qlip " + (chosen.empty() ? "" : chosen[0]->get_name() + " ") + "--help"));
}

// The library that is loaded, which need not be the one that the tool was built with: its file's name says.
std::string version_text() {
    std::string library = "libqlip " QLIP_TOOL_VERSION;
    Dl_info place = {};
    std::error_code error;
    if (dladdr(reinterpret_cast<const void*>(&qlip_Open), &place) != 0 && place.dli_fname) {
        const std::string file = std::filesystem::canonical(place.dli_fname, error).string();
        const size_t version = file.rfind(".so.");
        if (!error && version != std::string::npos)
            library = fmt::format("libqlip {} ({})", file.substr(version + 4), file);
    }
    return "qlip " QLIP_TOOL_VERSION "\n" + library;
}

int run(int argc, char** argv) {
    CLI::App app(kAbout, "qlip");
    app.require_subcommand(1);
    app.set_version_flag("--version", version_text, "Show the versions of the tool and of the library");
    app.footer(kExitCodes);
    app.add_flag_callback("--diagnostics", show_diagnostics,
                          "Show on standard error what the library prints while it reads");
    for (const auto add : kAllCommands)
        add(app);
    add_manual(app);
    try {
        app.parse(argc, argv);
        return static_cast<int>(Exit::ok);
    } catch (const CLI::Success& help) {
        Output out;
        out.write(help.get_name() == "CallForVersion" ? std::string(help.what()) + "\n" : app.help());
        out.finish();
        return static_cast<int>(Exit::ok);
    } catch (const CLI::ParseError& error) {
        return refuse(app, error, argc, argv);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);  // a file size limit is a failed write like any other
    try {
        claim_standard_streams();
        return run(argc, argv);
    } catch (const ToolError& error) {
        return fail(error);
    } catch (const OutputClosed&) {
        return static_cast<int>(Exit::ok);
    } catch (const std::exception& error) {
        return fail(ToolError(Exit::io, error.what()));
    }
}
