// The tool's commands on arbitrary files: each ends with a result or with an error of the tool's own, JSON is
// whole, and what is printed is in proportion to the file.
//
// Input: the command, its options, then the file.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "fuzz/cost.h"
#include "fuzz/mpeg4_visual.h"
#include "fuzz/require.h"
#include "host/message.h"
#include "host/tool_error.h"

using qlip_fuzz::require;

namespace {

uint64_t told = 0;  // bytes on standard error

// A file in memory under a name of the file system.
class NamedMemory {
  public:
    explicit NamedMemory(const char* name) : fd_(memfd_create(name, 0)) { require(fd_ >= 0); }
    int fd() const { return fd_; }
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }
    void fill(const std::vector<unsigned char>& bytes) const {
        require(ftruncate(fd_, 0) == 0);
        require(pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }
    uint64_t size() const {
        struct stat facts = {};
        require(fstat(fd_, &facts) == 0);
        return static_cast<uint64_t>(facts.st_size);
    }
    std::string text() const {
        std::string out(size(), 0);
        require(pread(fd_, out.data(), out.size(), 0) == static_cast<ssize_t>(out.size()));
        return out;
    }

  private:
    int fd_;
};

// Standard output, where results go, is one too.
const NamedMemory& standard_output() {
    static const NamedMemory memory("results");
    static const bool placed = dup2(memory.fd(), STDOUT_FILENO) == STDOUT_FILENO;
    require(placed);
    return memory;
}

struct Option {
    unsigned int bit;
    std::vector<const char*> words;
};

struct Command {
    void (*add)(CLI::App&);
    std::vector<const char*> words;  // FILE and OUT stand for the two files
    std::vector<Option> options;
};

const std::vector<Command>& commands() {
    using namespace qlip_tool;
    static const std::vector<Command> all = {
        {add_info, {"info", "FILE"}, {{1, {"--json"}}}},
        {add_stream,
         {"stream", "FILE", "-o", "OUT"},
         {{1, {"--indexed"}}, {2, {"--mode", "ra"}}, {4, {"--engine", "box"}}, {12, {"--seek", "1500"}}}},
        {add_records, {"records", "FILE"}, {{1, {"--json"}}, {2, {"--payload"}}, {4, {"--limit", "3"}}}},
        {add_rtp,
         {"rtp", "FILE", "--asap", "--pcap", "OUT"},
         {{1, {"--mode", "ra"}}, {2, {"--as-is"}}, {4, {"--sdp", "-"}}, {8, {"--engine", "box"}}}},
        {add_boxes, {"boxes", "FILE"}, {{1, {"--json"}}, {2, {"--depth", "2"}}}},
        {add_seek, {"seek", "FILE", "--at", "700"}, {{1, {"--json"}}, {2, {"--mode", "ra"}}}},
        {add_h263, {"h263", "FILE"}, {{1, {"--json"}}, {2, {"--verbose"}}}},
        {add_fragments, {"fragments", "FILE", "--rfc", "2190"}, {{1, {"--json"}}}},
        {add_fragments,
         {"fragments", "FILE", "--rfc", "2190mb", "-o", "OUT"},
         {{1, {"--max-payload", "100"}}}},
        {add_make, {"make", "OUT", "--amr", "FILE"}, {{1, {"--direct"}}, {2, {"--max-size", "4000"}}}},
        {add_make, {"make", "OUT", "--h263", "FILE"}, {{1, {"--fps", "15"}}, {2, {"--brand", "3gp6 isom"}}}},
        {add_lint, {"lint", "FILE"}, {{1, {"--json"}}, {2, {"--diff"}}}},
        {add_copy, {"copy", "FILE", "OUT"}, {{1, {"--direct"}}, {2, {"--tracks", "1"}}}}};
    return all;
}

std::vector<std::string> arguments(const Command& command, unsigned int options, const std::string& file,
                                   const std::string& out) {
    std::vector<const char*> words = command.words;
    for (const Option& option : command.options) {
        if ((options & option.bit) == option.bit)
            words.insert(words.end(), option.words.begin(), option.words.end());
    }
    std::vector<std::string> all;
    for (const std::string word : words)
        all.push_back(word == "FILE" ? file : word == "OUT" ? out : word);
    return {all.rbegin(), all.rend()};  // as CLI11 takes them
}

void run(const Command& command, std::vector<std::string> words) {
    CLI::App app("", "qlip");
    command.add(app);
    try {
        app.parse(std::move(words));
    } catch (const qlip_tool::ToolError& error) {
        require(*error.what() != '\0' && error.exit() != qlip_tool::Exit::ok);
    } catch (const qlip_tool::OutputClosed&) {
        require(false);
    }
}

}  // namespace

void qlip_tool::tell(std::string_view text) {
    told += text.size();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    static const NamedMemory input("input"), output("output");
    const Command& command = commands()[data[0] % commands().size()];
    std::vector<unsigned char> file(data + 2, data + size);
    qlip_fuzz::make_mpeg4_visual(file);
    input.fill(file);
    output.fill({});
    standard_output().fill({});
    lseek(STDOUT_FILENO, 0, SEEK_SET);
    told = 0;
    const qlip_fuzz::Cost cost(size, 64);
    const auto words = arguments(command, data[1], input.path(), output.path());
    run(command, words);
    require(told <= 4096 + size);
    require(output.size() <= 64 * size + 100000);
    require(standard_output().size() <= 4096 * size + 100000);
    if (std::find(words.begin(), words.end(), "--json") == words.end()) return 0;
    const std::string json = standard_output().text();
    require(json.empty() || nlohmann::json::accept(json));
    return 0;
}
