// qlip serve: an RTSP server over files. It is a program of its own, since it needs GStreamer and the tool
// does not; the command finds it, and becomes it.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Each file plays at rtsp://ADDRESS:PORT/NAME, sound and picture together, over UDP or through the "
    "connection, from\n"
    "any place (Range). Of a folder, all files in it and below are served, also those that come later; what "
    "leads out of\n"
    "it is not. Files that are still being written play as far as they go. Each request is a line on "
    "standard "
    "error.\n"
    "Ctrl-C ends it.\n"
    "\n"
    "Examples:\n"
    "  qlip serve clip.3gp & ffplay rtsp://127.0.0.1:8554/clip.3gp\n"
    "  qlip serve /srv/films --address 0.0.0.0 --clients 500";

struct Options {
    std::vector<std::string> files;
    std::string address = "127.0.0.1";
    unsigned int port = 8554;
    unsigned int clients = 1000;
    unsigned int idle = 60;
};

// Beside the tool, as it is built, or where it is installed.
std::string server_program() {
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    std::error_code error;
    for (const char* place : {"qlip-serve", QLIP_LIBEXEC_FROM_BIN "/qlip-serve"}) {
        const auto program = std::filesystem::canonical(folder / place, error);
        if (!error) return program;
    }
    throw ToolError(Exit::io, "qlip-serve is not installed: this build is without GStreamer",
                    "building with -DQLIP_GSTREAMER=ON, which needs libgstrtspserver-1.0-dev");
}

// GLib would set memory aside for each thread, of which a session has five: a quarter of what a session
// takes.
void leave_small_memory_to_the_c_library() {
    constexpr int kUnlessTheUserDid = 0;
    setenv("G_SLICE", "always-malloc", kUnlessTheUserDid);
}

void become_server(const Options& options) {
    const std::string program = server_program();
    std::vector<std::string> words = {"qlip-serve", options.address, std::to_string(options.port),
                                      std::to_string(options.clients), std::to_string(options.idle)};
    words.insert(words.end(), options.files.begin(), options.files.end());
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    leave_small_memory_to_the_c_library();
    execv(program.c_str(), arguments.data());
    throw io_error("cannot run " + program);
}

}  // namespace

void add_serve(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("serve", "Serve files to players over RTSP");
    command->footer(kAbout);
    command->add_option("FILE", options->files, "Files, and folders of files")->required();
    command->add_option("--address", options->address, "Where to listen; 0.0.0.0 for all addresses")
        ->type_name("ADDRESS")
        ->capture_default_str();
    command->add_option("--port", options->port, "TCP port to listen at; 0: any that is free")
        ->type_name("PORT")
        ->check(CLI::Range(0, 65535).description(""))
        ->capture_default_str();
    command->add_option("--clients", options->clients, "How many clients are served at once")
        ->type_name("N")
        ->check(CLI::Range(1, 100000).description(""))
        ->capture_default_str();
    command->add_option("--idle", options->idle, "Let go of clients that say nothing for so many seconds")
        ->type_name("S")
        ->check(CLI::Range(1, 86400).description(""))
        ->capture_default_str();
    command->callback([options] { become_server(*options); });
}

}  // namespace qlip_tool
