#include "lint/report.h"

#include <algorithm>

#include "host/text.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kDiffsShown = 200;

void show_kind(Output& out, const Findings::Kind& kind) {
    const Rule& found = rule(kind.rule);
    out.print("  {:<7}  {}: {}\n", severity_name(found.severity), found.name, found.says);
    for (const Finding& finding : kind.first) {
        const std::string where = text_of(finding.place);
        out.print("           {}{}{}\n", where, where.empty() ? "" : ": ", finding.what);
    }
    if (kind.count > kind.first.size())
        out.print("           and {} more\n", count_text(kind.count - kind.first.size()));
    out.print("           rule: {}\n           help: {}\n", found.published, found.remedy);
}

void show_cost(Output& out, const SentTrack& track) {
    const double frames = static_cast<double>(std::max<uint64_t>(track.frames, 1));
    out.print(
        "  cost     track {}, {}{}: {} packets in {} frames ({:.1f} a frame, at most {}), longest frame {} "
        "bytes\n",
        track.id, track.encoding, track.hinted ? " by its hint track" : "", count_text(track.packets.size()),
        count_text(track.frames), static_cast<double>(track.packets.size()) / frames, track.most_packets,
        count_text(track.longest_frame));
    out.print(
        "           {:.1f} kbit/s, {:.1f} in its fullest second, {:.0f} ms jitter by frame; {:.0f} calls and "
        "{} bytes read "
        "for a second of play, {} bytes of memory after open\n",
        track.mean_rate / 1000, track.peak_rate / 1000, track.jitter_ms, track.reads_per_second,
        count_text(static_cast<uint64_t>(track.bytes_per_second)), count_text(track.open_memory));
}

void show_diffs(Output& out, const std::vector<PacketDiff>& diffs) {
    for (size_t i = 0; i < std::min(diffs.size(), kDiffsShown); ++i) {
        const PacketDiff& diff = diffs[i];
        out.print("  differs  frame {}, packet {}: hint track {}; library {}\n", diff.frame, diff.packet,
                  diff.hinted.empty() ? "none" : diff.hinted, diff.own.empty() ? "none" : diff.own);
    }
    if (diffs.size() > kDiffsShown)
        out.print("           and {} more\n", count_text(diffs.size() - kDiffsShown));
}

Json json_of(const Finding& finding) {
    Json object = {{"what", printable(finding.what)}};
    const Place& place = finding.place;
    if (place.track != 0) object["track"] = place.track;
    if (!place.part.empty()) object["part"] = place.part;
    if (place.sample) object["sample"] = *place.sample;
    if (place.packet) object["packet"] = *place.packet;
    if (place.offset) object["offset"] = *place.offset;
    return object;
}

Json json_of(const Findings::Kind& kind) {
    const Rule& found = rule(kind.rule);
    Json object = {{"rule", found.name},       {"severity", severity_name(found.severity)},
                   {"says", found.says},       {"published", found.published},
                   {"remedy", found.remedy},   {"count", kind.count},
                   {"findings", Json::array()}};
    for (const Finding& finding : kind.first)
        object["findings"].push_back(json_of(finding));
    return object;
}

Json json_of(const SentTrack& track) {
    return {{"track", track.id},
            {"encoding", track.encoding},
            {"hinted", track.hinted},
            {"duration", track.seconds},
            {"frames", track.frames},
            {"packets", track.packets.size()},
            {"most_packets_of_a_frame", track.most_packets},
            {"longest_frame", track.longest_frame},
            {"bit_rate", track.mean_rate},
            {"peak_bit_rate", track.peak_rate},
            {"jitter_ms", track.jitter_ms},
            {"reads_per_second", track.reads_per_second},
            {"bytes_read_per_second", track.bytes_per_second},
            {"open_memory", track.open_memory}};
}

std::string counted(const Findings& findings, Severity severity) {
    const uint64_t count = findings.count(severity);
    return fmt::format("{} {}{}", count_text(count), severity_name(severity), count == 1 ? "" : "s");
}

}  // namespace

void show_report(Output& out, const LintReport& report) {
    out.print("{}: {}, {}, {}\n", report.file, counted(report.findings, Severity::Error),
              counted(report.findings, Severity::Warning), counted(report.findings, Severity::Note));
    for (const auto& kind : report.findings.sorted())
        show_kind(out, kind);
    for (const SentTrack& track : report.sent)
        show_cost(out, track);
    show_diffs(out, report.diffs);
}

Json json_report(const LintReport& report) {
    Json object = {{"file", report.file}, {"bytes", report.size}};
    for (const Severity severity : {Severity::Error, Severity::Warning, Severity::Note})
        object[std::string(severity_name(severity)) + "s"] = report.findings.count(severity);
    object["findings"] = Json::array();
    for (const auto& kind : report.findings.sorted())
        object["findings"].push_back(json_of(kind));
    object["cost"] = Json::array();
    for (const SentTrack& track : report.sent)
        object["cost"].push_back(json_of(track));
    if (report.diffs.empty()) return object;
    object["diff"] = Json::array();
    for (const PacketDiff& diff : report.diffs)
        object["diff"].push_back({{"frame", diff.frame},
                                  {"packet", diff.packet},
                                  {"hint_track", diff.hinted},
                                  {"library", diff.own}});
    return object;
}

std::string rules_document() {
    std::string text =
        "# The rules of `qlip lint`\n\n"
        "Made by `qlip lint --rules` from the tool's own table. An error breaks playback or the library's "
        "stream, a warning\n"
        "costs a server or a receiver, a note is good to know.\n\n"
        "| Rule | Severity | What it means | Published rule | What to do |\n|---|---|---|---|---|\n";
    for (const Rule& row : all_rules()) {
        text += fmt::format("| `{}` | {} | {} | {} | {} |\n", row.name, severity_name(row.severity), row.says,
                            row.published, row.remedy);
    }
    return text;
}

}  // namespace qlip_tool
