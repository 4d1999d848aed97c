#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "host/json_text.h"
#include "host/tool_error.h"
#include "lint/page.h"
#include "lint/report.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kMostPoints = 4000;  // of a series: a page must stay light

// Every n-th of `count` things, so that no more than kMostPoints are taken.
size_t stride(size_t count) {
    return count / kMostPoints + 1;
}

Json rate_points(const SentTrack& track) {
    Json points = Json::array();
    if (track.packets.empty()) return points;
    const double start = track.packets.front().time;
    std::vector<double> seconds(
        std::min<size_t>(kMostPoints, static_cast<size_t>(track.packets.back().time - start) + 1));
    for (const SentPacket& packet : track.packets) {
        const auto second = static_cast<size_t>(packet.time - start);
        if (second < seconds.size()) seconds[second] += packet.size * 8.0 / 1000.0;
    }
    for (size_t i = 0; i < seconds.size(); ++i)
        points.push_back({start + static_cast<double>(i), seconds[i]});
    return points;
}

// The largest of each stride: what matters of packets is how large they get.
Json packet_points(const SentTrack& track) {
    Json points = Json::array();
    const size_t step = stride(track.packets.size());
    for (size_t i = 0; i < track.packets.size(); i += step) {
        const auto from = track.packets.begin() + static_cast<std::ptrdiff_t>(i);
        const auto to = from + static_cast<std::ptrdiff_t>(std::min(step, track.packets.size() - i));
        const auto largest = std::max_element(
            from, to, [](const SentPacket& one, const SentPacket& other) { return one.size < other.size; });
        points.push_back({largest->time, largest->size});
    }
    return points;
}

// Where each chunk begins and ends, in bytes and in seconds.
Json chunk_points(const TableTrack& track) {
    std::vector<std::pair<uint64_t, double>> ends;
    const size_t step = stride(track.chunk_starts.size());
    for (size_t i = 0; i < track.chunk_starts.size(); i += step) {
        const size_t behind =
            i + 1 < track.chunk_starts.size() ? track.chunk_starts[i + 1] : track.samples.size();
        if (track.chunk_starts[i] >= behind) continue;
        const TableSample& first = track.samples[track.chunk_starts[i]];
        const TableSample& last = track.samples[behind - 1];
        ends.emplace_back(first.offset, track.seconds(first.time));
        ends.emplace_back(uint64_t{last.offset} + last.size, track.seconds(last.time + last.duration));
    }
    std::sort(ends.begin(), ends.end());
    Json points = Json::array();
    for (const auto& [offset, seconds] : ends)
        points.push_back({offset, seconds});
    return points;
}

Json coverage_points(const HintCoverage& coverage, const TableTrack& media) {
    Json points = Json::array();
    const size_t step = stride(coverage.missing.size());
    for (size_t i = 0; i < coverage.missing.size() && i < media.samples.size(); i += step) {
        const double size = std::max(media.samples[i].size, 1U);
        points.push_back({i + 1, 100.0 * (size - coverage.missing[i]) / size});
    }
    return points;
}

Json series(unsigned int track, Json points) {
    return {{"track", track}, {"points", std::move(points)}};
}

Json plots_of(const LintReport& report) {
    Json plots = {{"rates", Json::array()},
                  {"packets", Json::array()},
                  {"chunks", Json::array()},
                  {"coverage", Json::array()}};
    for (const SentTrack& track : report.sent) {
        plots["rates"].push_back(series(track.id, rate_points(track)));
        plots["packets"].push_back(series(track.id, packet_points(track)));
    }
    for (const TableTrack& track : report.tables)
        plots["chunks"].push_back(series(track.id, chunk_points(track)));
    for (const HintCoverage& coverage : report.coverage) {
        const auto media = std::find_if(report.tables.begin(), report.tables.end(),
                                        [&](const TableTrack& track) { return track.id == coverage.track; });
        if (media != report.tables.end())
            plots["coverage"].push_back(series(coverage.track, coverage_points(coverage, *media)));
    }
    return plots;
}

// JSON inside a script element must not end it.
std::string script_text(const Json& value) {
    std::string text = json_text(value);
    for (size_t at = 0; (at = text.find("</", at)) != std::string::npos; at += 3)
        text.replace(at, 2, "<\\/");
    return text;
}

}  // namespace

std::string html_report(const std::vector<LintReport>& reports) {
    if (std::string_view(kPlotScript).empty()) {
        throw ToolError(Exit::usage, "--html: this qlip was built without the plotting library",
                        "--json, or build it after scripts/setup");
    }
    Json documents = Json::array();
    for (const LintReport& report : reports) {
        Json document = json_report(report);
        document["plots"] = plots_of(report);
        documents.push_back(std::move(document));
    }
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>qlip lint</title>\n<style>{}</style>\n<style>{}</style>\n</head>\n<body>\n"
        "<h1>What these files do to a server and to a receiver</h1>\n"
        "<script type=\"application/json\" id=\"reports\">{}</script>\n"
        "<script>{}</script>\n<script>{}</script>\n</body>\n</html>\n",
        kPlotStyle, kPageStyle, script_text(documents), kPlotScript, kPageScript);
}

}  // namespace qlip_tool
