#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/text.h"
#include "lint/checks.h"
#include "movie/file_state.h"

namespace qlip_tool {
namespace {

constexpr double kLongestRun = 1.0;  // seconds

Place at_track(const TableTrack& track) {
    return {track.id, {}, track.offset, {}, {}};
}

void check_state(FileHost& host, const Movie& movie, Findings& findings) {
    const TopLevel top = read_top_level(host);
    if (!top.moov) {
        findings.add(RuleId::StructureCut, {}, "the file has no moov box");
        return;
    }
    const Place place{0, {}, top.moov->offset, {}, {}};
    const FileState state = file_state(host, movie);
    if (!state.moov_whole()) {
        findings.add(RuleId::StructureCut, place,
                     fmt::format("{} of the {} bytes of moov are there", count_text(state.moov_there),
                                 count_text(state.moov_size)));
    }
    if (top.media_in_front)
        findings.add(RuleId::StructureBehindMedia, place, "moov stands behind the media (mdat)");
}

void check_what_is_read(const Movie& movie, const std::vector<TableTrack>& tracks, Findings& findings) {
    for (const TableTrack& track : tracks) {
        const auto& read = movie.tracks();
        const auto found = std::find_if(read.begin(), read.end(), [&](const iso_track* candidate) {
            return candidate->track_id == track.id;
        });
        if (found == read.end()) {
            findings.add(RuleId::TrackNotRead, at_track(track), "the library does not see the track");
        } else if ((*found)->sample_count >= 0 &&
                   static_cast<uint64_t>((*found)->sample_count) < track.samples.size()) {
            findings.add(RuleId::TrackNotRead, at_track(track),
                         fmt::format("the library sees {} of {} samples",
                                     count_text(static_cast<uint64_t>((*found)->sample_count)),
                                     count_text(track.samples.size())));
        }
    }
}

void check_samples(FileHost& host, const TableTrack& track, Findings& findings) {
    const uint64_t size = host.size();
    for (size_t i = 0; i < track.samples.size(); ++i) {
        const TableSample& sample = track.samples[i];
        const Place place{track.id, {}, sample.offset, i + 1, {}};
        if (uint64_t{sample.offset} + sample.size > size) {
            findings.add(RuleId::SamplesBeyondFile, place,
                         fmt::format("the sample ends at byte {}, the file at {}",
                                     count_text(uint64_t{sample.offset} + sample.size), count_text(size)));
        }
        if (sample.size > kLargestSample && !track.is_hint())
            findings.add(RuleId::SampleTooLarge, place, fmt::format("{} bytes", count_text(sample.size)));
    }
}

bool is_delivered(std::string_view entry) {
    constexpr std::array<std::string_view, 5> kDelivered = {"samr", "sawb", "s263", "mp4v", "avc1"};
    return std::find(kDelivered.begin(), kDelivered.end(), entry) != kDelivered.end();
}

void check_description(const TableTrack& track, Findings& findings) {
    if (!track.is_hint() && !track.entries.empty() && !is_delivered(track.entry())) {
        findings.add(RuleId::CodecNotDelivered, at_track(track),
                     fmt::format("its sample entry is '{}'", printable(track.entry())));
    }
    const auto& used = track.descriptions_used;
    const bool others = std::any_of(used.begin(), used.end(), [](uint32_t index) { return index != 1; });
    if (track.entries.size() > 1 || others) {
        findings.add(RuleId::SeveralDescriptions, at_track(track),
                     fmt::format("it has {} sample descriptions{}", track.entries.size(),
                                 others ? ", and uses others than the first" : ""));
    }
}

void check_track(FileHost& host, const TableTrack& track, Findings& findings) {
    check_samples(host, track, findings);
    check_description(track, findings);
    if (track.is_video() && !track.has_sync_table && track.samples.size() > 1)
        findings.add(RuleId::NoSyncTable, at_track(track), "it has no stss box");
    if (track.is_shifted && !track.is_hint()) {
        findings.add(RuleId::EditList, at_track(track),
                     fmt::format("{} {}", track.edits, track.edits == 1 ? "edit" : "edits"));
    }
}

struct Chunk {
    uint64_t offset;
    const TableTrack* track;
    size_t first, behind;  // samples

    double begin() const { return track->seconds(track->samples[first].time); }
    double end() const {
        const TableSample& last = track->samples[behind - 1];
        return track->seconds(last.time + last.duration);
    }
};

std::vector<Chunk> chunks_by_place(const std::vector<TableTrack>& tracks) {
    std::vector<Chunk> chunks;
    for (const TableTrack& track : tracks) {
        if (!track.is_audio() && !track.is_video()) continue;
        const auto& starts = track.chunk_starts;
        for (size_t i = 0; i < starts.size(); ++i) {
            const size_t behind = i + 1 < starts.size() ? starts[i + 1] : track.samples.size();
            if (starts[i] < behind)
                chunks.push_back({track.samples[starts[i]].offset, &track, starts[i], behind});
        }
    }
    std::sort(chunks.begin(), chunks.end(),
              [](const Chunk& one, const Chunk& other) { return one.offset < other.offset; });
    return chunks;
}

// The longest run of one track's chunks without another's between them.
void check_interleaving(const std::vector<TableTrack>& tracks, Findings& findings) {
    const std::vector<Chunk> chunks = chunks_by_place(tracks);
    const bool several = std::any_of(chunks.begin(), chunks.end(),
                                     [&](const Chunk& chunk) { return chunk.track != chunks.front().track; });
    if (!several) return;
    const Chunk* longest = nullptr;
    double most = kLongestRun;
    for (size_t first = 0; first < chunks.size();) {
        size_t last = first;
        while (last + 1 < chunks.size() && chunks[last + 1].track == chunks[first].track)
            ++last;
        const double run = chunks[last].end() - chunks[first].begin();
        if (run > most) {
            most = run;
            longest = &chunks[first];
        }
        first = last + 1;
    }
    if (!longest) return;
    findings.add(RuleId::Interleaving, {longest->track->id, {}, longest->offset, longest->first + 1, {}},
                 fmt::format("{} of the track lie in one run", duration_text(most)));
}

}  // namespace

void check_structure(FileHost& host, const Movie& movie, const std::vector<TableTrack>& tracks,
                     Findings& findings) {
    check_state(host, movie, findings);
    check_what_is_read(movie, tracks, findings);
    for (const TableTrack& track : tracks)
        check_track(host, track, findings);
    check_interleaving(tracks, findings);
}

}  // namespace qlip_tool
