// qlip info: what a file holds, and what of it can be delivered.
#include <algorithm>
#include <array>
#include <memory>

#include "commands/commands.h"
#include "host/json_text.h"
#include "host/message.h"
#include "host/output.h"
#include "host/text.h"
#include "host/tool_error.h"
#include "movie/movie.h"
#include "movie/track_facts.h"
#include "qlip/qlip.h"
#include "stream/kit_track.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kAbout =
    "Shows the brands and tracks of a 3GP file, which hint track would be replayed for which track, and "
    "whether the\n"
    "library opens the file for audio (ra) and for video (rv), and if not, why. 'state' tells whether the "
    "file is "
    "all there.\n"
    "\n"
    "Examples:\n"
    "  qlip info clip.3gp\n"
    "  qlip info *.3gp\n"
    "  qlip info clip.3gp --json | jq '.open.rv.opens'";

constexpr double kMostShown = 1e18;  // of a bit rate

struct Options {
    std::vector<std::string> files;
    bool json = false;
};

Json json_of(const HintFacts& hint) {
    Json object = {
        {"track", hint.track_id}, {"max_packet_size", hint.max_packet_size}, {"taken", hint.taken}};
    if (!hint.taken) object["why_not"] = hint.why_not;
    return object;
}

double frame_rate(const TrackFacts& track) {
    return track.seconds > 0.0 ? track.samples / track.seconds : 0.0;
}

Json json_of(const TrackFacts& track) {
    Json object = {{"id", track.id},
                   {"handler", track.handler},
                   {"codec", track.codec},
                   {"sample_entry", track.entry},
                   {"samples", track.samples},
                   {"bytes", track.bytes},
                   {"largest_sample", track.largest_sample},
                   {"duration", track.seconds},
                   {"timescale", track.timescale},
                   {"bit_rate", track.bits_per_second}};
    if (track.width != 0 || track.height != 0)
        object.update({{"width", track.width}, {"height", track.height}});
    if (!track.profile.empty()) {
        object["frame_rate"] = frame_rate(track);
        object["profile"] = track.profile_number;
        object["level"] = track.level_number;
    }
    object["sync_samples"] = track.sync_samples;
    object["edits"] = Json::array();
    for (const EditFacts& edit : track.edits)
        object["edits"].push_back(
            {{"duration", edit.seconds}, {"from", edit.from < 0.0 ? Json() : Json(edit.from)}});
    if (track.is_amr) {
        object["amr"] = {{"mode_set", track.mode_set},
                         {"modes", track.amr_modes},
                         {"frames_per_sample", track.frames_per_sample}};
    }
    if (track.is_hint) {
        object["hints_for"] = track.hints_for;
        return object;
    }
    object["hint_tracks"] = Json::array();
    for (const HintFacts& hint : track.hint_tracks)
        object["hint_tracks"].push_back(json_of(hint));
    return object;
}

Json json_of(const OpenFacts& open) {
    Json object = {{"opens", open.status == QLIP_SUCCESS}, {"status", open.status}};
    object["status_text"] = qlip_StatusString(open.status);
    if (open.status == QLIP_SUCCESS) {
        object["track"] = open.track_id;
    } else {
        object["why_not"] = open.why_not;
    }
    return object;
}

Json json_of(const FileState& state) {
    constexpr std::array<const char*, 3> kPlaces = {"missing", "front", "behind"};
    Json object = {{"moov", kPlaces[static_cast<size_t>(state.moov)]}, {"whole", state.moov_whole()}};
    if (!state.moov_fault.empty()) object["fault"] = state.moov_fault;
    if (!state.damage.empty()) object["damage"] = state.damage;
    return object;
}

// What a player of the file would wait for.
qlip_source_info source_state(FileHost& host) {
    qlip_source_info state = QLIP_SOURCE_INFO_INIT;
    qlip_source_state(kit_source(host, true).get(), &state);
    return state;
}

Json json_of(const qlip_source_info& source) {
    constexpr std::array<const char*, 3> kStates = {"not yet", "whole", "damaged"};
    return {{"structure", kStates[source.structure]},
            {"structure_first", source.structure_first != 0},
            {"complete", source.complete != 0},
            {"needed_bytes", source.needed}};
}

Json json_of(const FileFacts& facts, FileHost& host) {
    Json object = {{"file", host.path()}, {"bytes", host.size()}};
    object["major_brand"] = facts.has_brands ? Json(facts.major_brand) : Json();
    object["minor_version"] = facts.minor_version;
    object["compatible_brands"] = facts.compatible_brands;
    object["duration"] = facts.seconds;
    object["structure"] = json_of(facts.state);
    object["missing_media_bytes"] = facts.state.missing ? Json(*facts.state.missing) : Json();
    object["source"] = json_of(source_state(host));
    object["tracks"] = Json::array();
    for (const TrackFacts& track : facts.tracks)
        object["tracks"].push_back(json_of(track));
    object["open"] = {{"ra", json_of(facts.audio)}, {"rv", json_of(facts.video)}};
    return object;
}

void show_brands(Output& out, const FileFacts& facts) {
    if (!facts.has_brands) {
        out.print("  brands    none\n");
        return;
    }
    out.print("  brands    {} (version {}), compatible with {}\n", facts.major_brand, facts.minor_version,
              facts.compatible_brands.empty() ? "none"
                                              : fmt::format("{}", fmt::join(facts.compatible_brands, ", ")));
}

void show_amr(Output& out, const TrackFacts& track) {
    out.print(
        "    AMR     mode set {:04x}: {}; {} frames in a sample\n", track.mode_set,
        track.amr_modes.empty() ? "none named" : fmt::format("{}", fmt::join(track.amr_modes, " ")),
        track.frames_per_sample == 0 ? "an unstated number of" : std::to_string(track.frames_per_sample));
}

void show_hints(Output& out, const TrackFacts& track) {
    if (track.hint_tracks.empty()) out.print("    hints   no hint track refers to it\n");
    for (const HintFacts& hint : track.hint_tracks) {
        out.print("    hints   track {}, packets up to {} bytes: {}\n", hint.track_id, hint.max_packet_size,
                  hint.taken ? "taken" : "not taken: " + hint.why_not);
    }
}

void show_track(Output& out, const TrackFacts& track) {
    out.print("  track {}   {} '{}', {}", track.id, track.codec, track.entry, track.handler);
    if (track.width != 0 || track.height != 0) out.print(", {}x{} pixels", track.width, track.height);
    out.print("\n    media   {} samples, {} bytes, {}, {} bit/s, largest sample {} bytes\n",
              count_text(static_cast<uint64_t>(std::max(track.samples, 0))), count_text(track.bytes),
              duration_text(track.seconds),
              count_text(static_cast<uint64_t>(std::min(track.bits_per_second, kMostShown))),
              track.largest_sample);
    if (track.largest_sample > kLargestSample) {
        out.print("    note    a sample above {} bytes ends the stream where it stands\n",
                  count_text(kLargestSample));
    }
    if (!track.profile.empty()) {
        out.print("    video   {}, {:.2f} pictures a second, {} of them sync samples\n", track.profile,
                  frame_rate(track), count_text(track.sync_samples));
    }
    for (const EditFacts& edit : track.edits) {
        out.print("    edit    {}, {}\n", duration_text(edit.seconds),
                  edit.from < 0.0 ? "of nothing" : "from " + duration_text(edit.from) + " of the media on");
    }
    if (track.is_amr) show_amr(out, track);
    if (track.is_hint) {
        out.print("    hints   for track {}\n", track.hints_for);
    } else {
        show_hints(out, track);
    }
}

void show_open(Output& out, const OpenFacts& open) {
    if (open.status == QLIP_SUCCESS) {
        out.print("  {}        opens, delivers track {}\n", open.mode, open.track_id);
    } else {
        out.print("  {}        does not open: {} (status {}: {})\n", open.mode, open.why_not, open.status,
                  qlip_StatusString(open.status));
    }
}

void show(Output& out, const FileFacts& facts, FileHost& host) {
    out.print("{}: {} bytes\n", host.path(), count_text(host.size()));
    show_brands(out, facts);
    out.print("  state     {}\n", state_text(facts.state));
    if (const qlip_source_info source = source_state(host);
        source.complete == 0 && source.needed > source.size)
        out.print("  needs     {} bytes, to go on\n", count_text(source.needed));
    if (!facts.state.damage.empty()) out.print("  damage    {}\n", facts.state.damage);
    out.print("  duration  {}\n", duration_text(facts.seconds));
    for (const TrackFacts& track : facts.tracks)
        show_track(out, track);
    show_open(out, facts.audio);
    show_open(out, facts.video);
}

void throw_unless_sound(FileHost& host, const FileFacts& facts) {
    throw_unless_whole(host, facts.state);
    if (facts.tracks.empty()) throw ToolError(Exit::bad_input, host.path() + ": " + facts.video.why_not);
}

void show_all(const Options& options, Output& out, std::vector<ToolError>& failures) {
    for (const std::string& file : options.files) {
        try {
            FileHost host(file);
            const FileFacts facts = read_facts(host);
            show(out, facts, host);
            throw_unless_sound(host, facts);
        } catch (const ToolError& error) {
            failures.push_back(error);
        }
    }
}

void show_json(const Options& options, Output& out, std::vector<ToolError>& failures) {
    Json list = Json::array();
    for (const std::string& file : options.files) {
        list.push_back({{"file", file}});
        try {
            FileHost host(file);
            const FileFacts facts = read_facts(host);
            list.back() = json_of(facts, host);
            throw_unless_sound(host, facts);
        } catch (const ToolError& error) {
            list.back()["failure"] = error.what();
            failures.push_back(error);
        }
    }
    const bool shown = list.size() > 1 || list.front().size() > 2;
    if (shown) out.print("{}\n", json_text(list.size() == 1 ? list.front() : list, 2));
}

// What is wrong with one file does not keep the others from being shown; the last failure is the command's.
void run(const Options& options) {
    std::vector<ToolError> failures;
    Output out;
    (options.json ? show_json : show_all)(options, out, failures);
    out.finish();
    if (failures.empty()) return;
    const ToolError last = failures.back();
    failures.pop_back();
    for (const ToolError& error : failures)
        say("qlip: {}\n", error.what());
    throw last;
}

}  // namespace

void add_info(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("info", "Show what a file holds and what can be delivered");
    command->footer(kAbout);
    command->add_option("FILE", options->files, "The 3GP file, or several")->required();
    command->add_flag("--json", options->json,
                      "One JSON document instead of lines; a list for several files");
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
