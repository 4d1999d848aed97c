// qlip seek: where a seek lands.
#include <algorithm>
#include <array>
#include <memory>

#include "commands/commands.h"
#include "host/json_text.h"
#include "host/output.h"
#include "host/tool_error.h"
#include "stream/box_source.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kAbout =
    "Asks the second reader where a seek to a time would land, under each of its three flags: the sync "
    "sample, its\n"
    "time, and the lowest file offset that reading on from there needs. The file must have a hint track. "
    "Nearest is the\n"
    "library's name for its third mode; it picks the sync sample that is farther from the time.\n"
    "\n"
    "Examples:\n"
    "  qlip seek clip.3gp --at 1500\n"
    "  qlip seek clip.3gp --at 1500 --mode ra --json";

struct FlagRow {
    const char* name;
    unsigned int value;
};
constexpr std::array<FlagRow, 3> kFlagRows = {{{"next", QLIP_SEEK_NEXT_SYNC},
                                               {"previous", QLIP_SEEK_PREVIOUS_SYNC},
                                               {"nearest", QLIP_SEEK_NEAREST_SYNC}}};
constexpr unsigned int kOffsetUnknown = 0xFFFFFFFF;

struct Options {
    std::string file;
    std::string mode;
    unsigned int at = 0;
    bool json = false;
};

struct Landing {
    const char* flag;
    unsigned int status;
    _TAG_QLIP_SEEK_PARAMS params;
};

Json json_of(const Landing& landing) {
    Json object = {{"flag", landing.flag}, {"status", landing.status}};
    object["status_text"] = box_status_text(landing.status);
    if (landing.status != QLIP_SUCCESS) return object;
    object["time_ms"] = landing.params.nTime;
    object["sample"] = landing.params.uFrameNum;
    const unsigned int offset = landing.params.uFileOffset;
    object["file_offset"] = offset == kOffsetUnknown ? Json() : Json(offset);
    return object;
}

void show(Output& out, const Landing& landing) {
    if (landing.status != QLIP_SUCCESS) {
        out.print("{:<10}status {}: {}\n", landing.flag, landing.status, box_status_text(landing.status));
        return;
    }
    const unsigned int offset = landing.params.uFileOffset;
    out.print("{:<10}{:>10}{:>10}{:>14}\n", landing.flag, landing.params.nTime, landing.params.uFrameNum,
              offset == kOffsetUnknown ? "unknown" : std::to_string(offset));
}

void run(const Options& options) {
    FileHost host(options.file);
    BoxSource source(host, Growth(host, false, Seconds(0)), options.mode, false,
                     BoxSource::Command::OnlySeeks);
    std::array<Landing, kFlagRows.size()> landings = {};
    for (size_t i = 0; i < kFlagRows.size(); ++i) {
        landings[i] = {kFlagRows[i].name, 0, {}};
        landings[i].status = source.try_seek(options.at, kFlagRows[i].value, landings[i].params);
    }
    Output out;
    if (options.json) {
        Json list = Json::array();
        for (const Landing& landing : landings)
            list.push_back(json_of(landing));
        out.print("{}\n", json_text({{"file", options.file}, {"at_ms", options.at}, {"landings", list}}, 2));
    } else {
        out.print("{:<10}{:>10}{:>10}{:>14}\n", "flag", "time/ms", "sample", "file offset");
        for (const Landing& landing : landings)
            show(out, landing);
    }
    out.finish();
    const bool lands = std::any_of(landings.begin(), landings.end(),
                                   [](const Landing& landing) { return landing.status == QLIP_SUCCESS; });
    if (!lands) {
        throw ToolError(Exit::bad_input, fmt::format("{}: no seek to {} ms lands", options.file, options.at),
                        "a time inside the track");
    }
}

}  // namespace

void add_seek(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("seek", "Show where a seek lands");
    command->footer(kAbout);
    command->add_option("FILE", options->file, "The 3GP file")->required();
    command->add_option("--at", options->at, "The time to seek to")->type_name("MS")->required();
    command->add_option("--mode", options->mode, "ra or rv; without it, video if there is any")
        ->check(one_of({"ra", "rv"}))
        ->type_name("ra|rv");
    command->add_flag("--json", options->json, "One JSON document instead of a table");
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
