#include "movie/track_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <sstream>

#include "host/text.h"
#include "movie/movie.h"

namespace qlip_tool {
namespace {

constexpr int kPacketLimit = 1400;  // hint tracks with larger packets are not taken

struct CodecRow {
    int codec;
    const char* entry;
    const char* text;
    bool audio, video;  // delivered with "ra", "rv"
};

constexpr std::array<CodecRow, 10> kCodecRows = {{
    {ISO_CODEC_MP4V, "mp4v", "MPEG-4 visual", false, true},
    {ISO_CODEC_MP4A, "mp4a", "AAC", false, false},
    {ISO_CODEC_S263, "s263", "H.263", false, true},
    {ISO_CODEC_SAMR, "samr", "AMR-NB", true, false},
    {ISO_CODEC_AVC1, "avc1", "H.264", false, true},
    {ISO_CODEC_SAWB, "sawb", "AMR-WB", true, false},
    {ISO_CODEC_SAWP, "sawp", "AMR-WB+", false, false},
    {ISO_CODEC_RTP, "rtp ", "RTP hints", false, false},
    {ISO_CODEC_SRTP, "srtp", "SRTP hints", false, false},
    {ISO_CODEC_NONE, "", "unknown", false, false},
}};

const CodecRow& row_of(int codec) {
    for (const CodecRow& row : kCodecRows) {
        if (row.codec == codec) return row;
    }
    return kCodecRows.back();
}

// 3GPP TS 26.244 D.2: one bit for each frame type, the lowest for mode 0.
std::vector<std::string> modes_of(const iso_track& track) {
    static constexpr std::array<const char*, 9> kNarrow = {"4.75", "5.15", "5.90", "6.70", "7.40",
                                                           "7.95", "10.2", "12.2", "SID"};
    static constexpr std::array<const char*, 10> kWide = {"6.60",  "8.85",  "12.65", "14.25", "15.85",
                                                          "18.25", "19.85", "23.05", "23.85", "SID"};
    std::vector<std::string> modes;
    const auto collect = [&](const auto& names) {
        for (size_t i = 0; i < names.size(); ++i) {
            if ((track.mode_set >> i & 1U) != 0) modes.emplace_back(names[i]);
        }
    };
    if (track.codec == ISO_CODEC_SAMR) collect(kNarrow);
    if (track.codec == ISO_CODEC_SAWB) collect(kWide);
    return modes;
}

// ITU-T H.264 annex A, H.263 annex X; MPEG-4 visual has both in one number (ISO/IEC 14496-2 annex G).
std::string profile_of(const iso_track& track) {
    switch (track.codec) {
        case ISO_CODEC_AVC1: {
            static const std::map<unsigned int, const char*> kNames = {
                {66, "Baseline"}, {77, "Main"}, {88, "Extended"}, {100, "High"}};
            const auto name = kNames.find(track.profile);
            return fmt::format("{} profile, level {}.{}",
                               name == kNames.end() ? std::to_string(track.profile) : name->second,
                               track.level / 10, track.level % 10);
        }
        case ISO_CODEC_S263:
            return fmt::format("profile {}, level {}", track.profile, track.level);
        case ISO_CODEC_MP4V:
            return fmt::format("profile and level {}", track.level);
        default:
            return {};
    }
}

std::vector<EditFacts> edits_of(const Movie& movie, const iso_track& track) {
    constexpr unsigned int kEmpty = 0xFFFFFFFF;
    std::vector<EditFacts> edits;
    for (int i = 0; track.edits && i < track.edit_count; ++i) {
        const unsigned int from = track.edits[i][1];
        edits.push_back({track.edits[i][0] / static_cast<double>(std::max(movie->timescale, 1U)),
                         from == kEmpty ? -1.0 : from / static_cast<double>(std::max(track.timescale, 1U))});
    }
    return edits;
}

std::string why_not_taken(const iso_track& hint, const iso_track* chosen, bool video) {
    if (!video) return "audio is delivered frame by frame, without hints";
    if (hint.max_packet_size == 0) return "its largest packet size is 0, which counts as no hint track";
    if (hint.max_packet_size > kPacketLimit) {
        return fmt::format("its packets go up to {} bytes, the limit is {}", hint.max_packet_size,
                           kPacketLimit);
    }
    return &hint == chosen ? "" : "another hint track comes first";
}

std::vector<HintFacts> hints_for(const Movie& movie, iso_track& media) {
    std::vector<HintFacts> hints;
    if (is_hint(media)) return hints;
    const iso_track* chosen = isoFFrtpHinter(&media, kPacketLimit);
    for (const iso_track* track : movie.tracks()) {
        if (!is_hint(*track) || track->hint_ref_track != media.track_id) continue;
        std::string why_not = why_not_taken(*track, chosen, row_of(media.codec).video);
        const bool taken = why_not.empty();
        hints.push_back({track->track_id, track->max_packet_size, taken, std::move(why_not)});
    }
    return hints;
}

TrackFacts describe(const Movie& movie, iso_track& track) {
    const CodecRow& row = row_of(track.codec);
    TrackFacts facts = {};
    int bytes = 0;
    isoFFtrackInfo(&track, nullptr, &facts.samples, &facts.seconds, &bytes);
    facts.id = track.track_id;
    facts.handler = printable(track.handler);
    facts.entry = row.entry;
    facts.codec = row.text;
    facts.is_hint = is_hint(track);
    facts.hints_for = facts.is_hint ? track.hint_ref_track : 0;
    facts.timescale = track.timescale;
    facts.bytes = static_cast<unsigned int>(bytes);
    facts.largest_sample =
        track.sample_size != 0 ? track.sample_size : static_cast<unsigned int>(track.max_sample_size);
    facts.bits_per_second = facts.seconds > 0.0 ? facts.bytes * 8.0 / facts.seconds : 0.0;
    if (row.video) {
        facts.width = track.width;
        facts.height = track.height;
    }
    facts.profile = profile_of(track);
    facts.profile_number = track.profile;
    facts.level_number = track.level;
    facts.sync_samples = static_cast<unsigned int>(track.sync_count > 0 ? track.sync_count : facts.samples);
    facts.edits = edits_of(movie, track);
    facts.is_amr = row.audio;
    facts.mode_set = track.mode_set;
    facts.frames_per_sample = track.frames_per_sample;
    facts.amr_modes = modes_of(track);
    facts.hint_tracks = hints_for(movie, track);
    return facts;
}

bool serves(const CodecRow& row, bool audio) {
    return audio ? row.audio : row.video;
}

std::string why_no_track(const Movie& movie, const FileState& state, bool audio) {
    if (state.ends_early() && !state.moov_whole())
        return "the file ends before its structure (the moov box) does";
    if (movie.tracks().empty()) {
        return "no tracks were found: this is no 3GP file, or its structure (the moov box) is missing or "
               "damaged";
    }
    const bool aac = std::any_of(movie.tracks().begin(), movie.tracks().end(),
                                 [](const iso_track* track) { return track->codec == ISO_CODEC_MP4A; });
    if (!audio) return "it has no MPEG-4 visual, H.263 or H.264 track";
    return aac ? "its audio is AAC, which is not supported" : "it has no AMR-NB or AMR-WB track";
}

// The track that serves the medium and is delivered, the last one; null if there is none.
const iso_track* delivered_track(const Movie& movie, bool audio) {
    const iso_track* found = nullptr;
    for (const iso_track* track : movie.tracks()) {
        if (serves(row_of(track->codec), audio)) found = track;
    }
    return found;
}

unsigned int id_of(const iso_track* track) {
    return track ? track->track_id : 0;
}

OpenFacts try_open(FileHost& host, const Movie& movie, const FileState& state, const char* mode) {
    const bool audio = mode[1] == 'a';
    OpenFacts facts = {mode, QLIP_SUCCESS, 0, {}};
    mm_Interface* session = nullptr;
    host.start_over();
    facts.status = qlip_Open(&session, host.record(), mode);
    qlip_Close(&session);
    if (facts.status == QLIP_SUCCESS) {
        facts.track_id = id_of(delivered_track(movie, audio));
    } else {
        facts.why_not = why_no_track(movie, state, audio);
    }
    return facts;
}

std::vector<std::string> split(const char* text) {
    std::vector<std::string> words;
    std::istringstream stream(text ? text : "");
    for (std::string word; stream >> word;)
        words.push_back(printable(word));
    return words;
}

}  // namespace

FileFacts read_facts(FileHost& host) {
    const Movie movie(host);
    FileFacts facts = {};
    facts.major_brand = printable(movie->major_brand);
    facts.has_brands = movie->major_brand[0] != '\0';
    facts.minor_version = facts.has_brands ? movie->minor_version : 0;
    facts.compatible_brands = split(movie->compatible_brands);
    facts.state = file_state(host, movie);
    isoFFfileInfo(movie.file(), nullptr, &facts.seconds, nullptr);
    for (iso_track* track : movie.tracks())
        facts.tracks.push_back(describe(movie, *track));
    facts.audio = try_open(host, movie, facts.state, "ra");
    facts.video = try_open(host, movie, facts.state, "rv");
    return facts;
}

}  // namespace qlip_tool
