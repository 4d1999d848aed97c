#include "movie/file_state.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "boxes/box_walk.h"
#include "host/text.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

// What holds the sample tables. Others, such as user data, are not looked into: nothing depends on them.
bool holds_tables(std::string_view type) {
    constexpr std::array<std::string_view, 5> kTypes = {"moov", "trak", "mdia", "minf", "stbl"};
    return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}

std::string first_fault(const std::vector<BoxNode>& nodes) {
    for (const BoxNode& node : nodes) {
        if (!node.fault.empty() && !node.is_padding)
            return fmt::format("'{}' at {} {}", printable(node.type), node.offset, node.fault);
        if (!holds_tables(node.type)) continue;
        if (std::string fault = first_fault(node.children); !fault.empty()) return fault;
    }
    return {};
}

// Bytes of a track's chunks that the file holds; each chunk counts, also where others lie over it.
uint64_t bytes_there(const iso_track& track, uint64_t size) {
    uint64_t there = 0;
    for (int i = 0; track.chunks && i < track.chunk_count; ++i) {
        const uint64_t end = std::min<uint64_t>(track.chunks[i].end, size);
        there += end - std::min<uint64_t>(track.chunks[i].start, end);
    }
    return there;
}

uint64_t end_of_media(const Movie& movie) {
    uint64_t end = 0;
    for (const iso_track* track : movie.tracks()) {
        if (track->location || !track->chunks) continue;  // its media is in another file, or it has none
        for (int i = 0; i < track->chunk_count; ++i)
            end = std::max<uint64_t>(end, std::max(track->chunks[i].start, track->chunks[i].end));
    }
    return end;
}

std::optional<uint64_t> missing_media(const FileState& state, const TopLevel& top, const Movie& movie,
                                      uint64_t size) {
    uint64_t end = 0;
    if (state.moov_whole()) {
        end = end_of_media(movie);
    } else if (!state.found() && top.has_media && top.end != kOpenEnd) {
        end = top.end;
    } else if (state.moov != FileState::Moov::Behind) {
        return std::nullopt;
    }
    return end - std::min(end, size);
}

}  // namespace

TopLevel read_top_level(FileHost& host) {
    struct {
        uint32_t size;
        char type[4];
    } box = {};
    TopLevel top;
    while (host.read_at(top.end, &box, sizeof box) == sizeof box) {
        const uint32_t size = ntohl(box.size);
        const std::string_view type(box.type, sizeof box.type);
        top.has_media = top.has_media || type == "mdat";
        if (type == "moov" && !top.moov) {
            top.moov = TopLevel::Moov{top.end, size};
            top.media_in_front = top.has_media;
        }
        top.end = size < sizeof box ? kOpenEnd : top.end + size;
        if (top.end == kOpenEnd) break;
    }
    return top;
}

FileState file_state(FileHost& host, const Movie& movie) {
    const uint64_t size = host.size();
    const TopLevel top = read_top_level(host);
    FileState state;
    if (top.moov) {
        state.moov = top.media_in_front ? FileState::Moov::Behind : FileState::Moov::Front;
        state.moov_size = top.moov->size;
        state.moov_there = std::min(top.moov->size, size - std::min(size, top.moov->offset));
        if (state.moov_whole())
            state.moov_fault =
                first_fault(walk_boxes(host, top.moov->offset, top.moov->offset + top.moov->size));
    }
    state.missing = missing_media(state, top, movie, size);
    for (const iso_track* track : movie.tracks()) {
        if (state.damage.empty()) state.damage = claims_too_much(host, *track);
    }
    return state;
}

std::string state_text(const FileState& state) {
    if (!state.found()) {
        return state.missing.value_or(0) == 0
                   ? "no moov; media unknown"
                   : fmt::format("no moov; {} bytes of media missing", count_text(*state.missing));
    }
    std::string text = state.moov == FileState::Moov::Front ? "moov in front, " : "moov behind, ";
    if (!state.moov_whole()) {
        text += fmt::format("cut after {} of {} bytes", count_text(state.moov_there),
                            count_text(state.moov_size));
    } else if (state.moov_fault.empty()) {
        text += "whole";
    } else {
        text += "damaged: " + state.moov_fault;
    }
    if (!state.missing) return text + "; media unknown";
    if (*state.missing == 0) return text + "; media complete";
    return text + fmt::format("; {} bytes of media missing", count_text(*state.missing));
}

uint64_t bytes_of(const iso_track& track) {
    const auto count = static_cast<size_t>(std::max(track.sample_count, 0));
    if (track.sample_size != 0 || !track.sample_sizes) return uint64_t{track.sample_size} * count;
    return std::accumulate(track.sample_sizes, track.sample_sizes + count, uint64_t{0});
}

// A sample takes its size in bytes, or the row of a table that says it has none.
std::string claims_too_much(FileHost& host, const iso_track& track) {
    constexpr uint64_t kTableRow = 4;
    if (track.location || track.sample_count <= 0) return {};
    const uint64_t each = track.sample_size != 0 ? track.sample_size : kTableRow;
    const uint64_t claimed = each * static_cast<uint64_t>(track.sample_count);
    const uint64_t size = host.size();
    if (claimed <= size && bytes_there(track, size) <= size) return {};
    // A file that is cut or still growing holds less than it will; its boxes say how much that is.
    const TopLevel top = read_top_level(host);
    if (bytes_there(track, size) <= size && (claimed <= top.end || !top.has_media)) return {};
    return fmt::format("track {} claims {} samples, more than a file of {} bytes can hold", track.track_id,
                       count_text(static_cast<uint64_t>(track.sample_count)), count_text(size));
}

void throw_unless_structure_is_whole(FileHost& host, const FileState& state) {
    if (state.found() && !state.moov_whole()) {
        throw ToolError(
            Exit::incomplete,
            fmt::format("{} ends inside its structure: {} of the {} bytes of its moov box are there",
                        host.path(), state.moov_there, state.moov_size));
    }
    if (!state.moov_fault.empty()) {
        throw ToolError(Exit::bad_input,
                        fmt::format("{}: the moov box is damaged: {}", host.path(), state.moov_fault));
    }
}

void throw_unless_whole(FileHost& host, const FileState& state) {
    throw_unless_structure_is_whole(host, state);
    if (!state.damage.empty()) throw ToolError(Exit::bad_input, host.path() + ": " + state.damage);
    if (state.missing.value_or(0) == 0) return;
    throw ToolError(Exit::incomplete, fmt::format("{} ends before its media data does: {} bytes are missing",
                                                  host.path(), count_text(*state.missing)));
}

}  // namespace qlip_tool
