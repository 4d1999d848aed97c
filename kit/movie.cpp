#include "kit/movie.h"

#include <algorithm>
#include <numeric>

#include "formats/rtp.h"
#include "kit/track_times.h"

namespace qlip::kit {
namespace {

struct CodecRow {
    iso_codec entry;
    qlip_medium medium;
    qlip_codec codec;
    bool delivered;
};

constexpr CodecRow kCodecs[] = {
    {ISO_CODEC_SAMR, QLIP_AUDIO, QLIP_AMR_NB, true}, {ISO_CODEC_SAWB, QLIP_AUDIO, QLIP_AMR_WB, true},
    {ISO_CODEC_MP4A, QLIP_AUDIO, QLIP_AAC, false},   {ISO_CODEC_SAWP, QLIP_AUDIO, QLIP_AMR_WB_PLUS, false},
    {ISO_CODEC_S263, QLIP_VIDEO, QLIP_H263, true},   {ISO_CODEC_MP4V, QLIP_VIDEO, QLIP_MPEG4_VISUAL, true},
    {ISO_CODEC_AVC1, QLIP_VIDEO, QLIP_H264, true},
};

const CodecRow* row_of(const iso_track* track) {
    for (const CodecRow& row : kCodecs) {
        if (row.entry == track->codec) return &row;
    }
    return nullptr;
}

qlip_medium medium_of_handler(const iso_track* track) {
    const std::string_view handler(track->handler);
    if (handler == "soun") return QLIP_AUDIO;
    return handler == "vide" ? QLIP_VIDEO : QLIP_OTHER_MEDIUM;
}

uint64_t bytes_in_chunks(const iso_track* track) {
    uint64_t sum = 0;
    for (int i = 0; i < track->chunk_count; ++i)
        sum += track->chunks[i].end - track->chunks[i].start;
    return sum;
}

}  // namespace

int Movie::open(Trouble& trouble) {
    return open(look_at_structure(source_), trouble);
}

int Movie::open(const Structure& structure, Trouble& trouble) {
    if (structure.status != QLIP_SUCCESS)
        return trouble.tell(structure.status, "the source could not be read");
    if (structure.contradictory)
        return trouble.tell(QLIP_CORRUPT_FILE, "the sizes of the file's boxes contradict each other");
    if (!structure.whole) {
        return source_.growing()
                   ? trouble.tell(QLIP_NOT_AVAILABLE_YET, "the structure (moov) has not arrived yet")
                   : trouble.tell(QLIP_CORRUPT_FILE, "the structure (moov) is missing or cut short");
    }
    if (structure.fragmented)
        return trouble.tell(QLIP_NOT_SUPPORTED, "the file is in movie fragments, which are not supported");
    io_.stand_before(structure);
    char mode[] = "r";
    int error = 0;
    file_ = isoFFopenLimited(io_.record(), mode, &error, &source_.limits());
    if (error == ISOFF_OVER_LIMIT) return trouble.tell(QLIP_CORRUPT_FILE, "the structure passes a limit");
    if (!file_) return trouble.tell(QLIP_NO_MEMORY, "no memory for the structure of the file");
    file_->indexed_read = 1;
    if (source_.limits().steps == 0) file_->io = io_.record();  // no need to count the reads
    if (io_.refusal() != QLIP_SUCCESS)
        return trouble.tell(io_.refusal(), "the source could not be read at the structure (moov)");
    return QLIP_SUCCESS;
}

iso_track* Movie::media_track(unsigned int index) const {
    for (iso_track* track = file_->tracks; track; track = track->next) {
        if (!is_hint_track(track) && index-- == 0) return track;
    }
    return nullptr;
}

// As a session chooses: where several tracks share the last one's number, the first of them.
iso_track* Movie::last_track(qlip_medium medium) const {
    const iso_track* last = nullptr;
    for (const iso_track* track = file_->tracks; track; track = track->next) {
        if (is_deliverable(track, medium)) last = track;
    }
    for (iso_track* track = file_->tracks; track && last; track = track->next) {
        if (is_deliverable(track, medium) && track->track_id == last->track_id) return track;
    }
    return nullptr;
}

uint64_t Movie::media_end() const {
    uint64_t end = 0;
    for (const iso_track* track = file_->tracks; track; track = track->next) {
        for (int i = 0; i < track->chunk_count; ++i)
            end = std::max<uint64_t>(end, track->chunks[i].end);
    }
    return end;
}

bool is_hint_track(const iso_track* track) {
    return track->codec == ISO_CODEC_RTP || track->codec == ISO_CODEC_SRTP ||
           std::string_view(track->handler) == "hint";
}

qlip_codec codec_of(const iso_track* track) {
    const CodecRow* row = row_of(track);
    return row ? row->codec : QLIP_OTHER_CODEC;
}

qlip_medium medium_of(const iso_track* track) {
    const CodecRow* row = row_of(track);
    return row ? row->medium : medium_of_handler(track);
}

bool is_deliverable(const iso_track* track, qlip_medium medium) {
    const CodecRow* row = row_of(track);
    return row && row->delivered && row->medium == medium;
}

// A hint track that names no packet size cannot be replayed.
iso_track* arm_hint_track(iso_track* media) {
    if (medium_of(media) != QLIP_VIDEO) return nullptr;
    iso_track* hint = isoFFrtpHinter(media, kPacketBytes);
    return hint && hint->max_packet_size != 0 ? hint : nullptr;
}

// The engine works in 32 bits and gives up where tables disagree; what it leaves behind then does not add up.
const char* fault_of_tables(const iso_track* track) {
    if (track->sample_count < 0) return "the track claims more samples than any file can hold";
    if (track->timescale == 0) return "the track has no time scale, or a 64-bit media header";
    const int64_t timed = sum_of_counts(track->stts, track->stts_count);
    if (track->sample_count == 0 && timed == 0) return nullptr;
    if (track->chunk_count < 1) return "the track's samples have no places in the file, or 64-bit ones";
    if (timed < track->sample_count) return "the track has fewer times than samples";
    if (track->file_pos != track->chunks[0].start || bytes_in_chunks(track) != bytes_of(track))
        return "the track's tables of sizes and places disagree";
    return nullptr;
}

bool all_samples_kept(const iso_track* track) {
    return sum_of_counts(track->stts, track->stts_count) <= track->sample_count;
}

uint64_t bytes_of(const iso_track* track) {
    const auto count = static_cast<uint64_t>(std::max(track->sample_count, 0));
    if (track->sample_size != 0 || !track->sample_sizes) return count * track->sample_size;
    return std::accumulate(track->sample_sizes, track->sample_sizes + count, uint64_t{0});
}

unsigned int largest_sample(const iso_track* track) {
    if (track->sample_size != 0 || !track->sample_sizes || track->sample_count < 1) return track->sample_size;
    return *std::max_element(track->sample_sizes, track->sample_sizes + track->sample_count);
}

qlip_track_info describe(iso_track* track) {
    qlip_track_info info = QLIP_TRACK_INFO_INIT;
    info.id = track->track_id;
    info.medium = medium_of(track);
    info.codec = codec_of(track);
    info.reason = "";
    const char* fault = fault_of_tables(track);
    if (!is_deliverable(track, info.medium)) {
        info.status = QLIP_UNKNOWN_CODER;
        info.reason = info.codec == QLIP_AAC ? "AAC is not supported" : "the codec is not supported";
    } else if (fault) {
        info.status = QLIP_CORRUPT_FILE;
        info.reason = fault;
    }
    info.sample_count = static_cast<uint32_t>(std::max(track->sample_count, 0));
    info.sync_count = track->sync_count > 0 ? static_cast<uint32_t>(track->sync_count) : info.sample_count;
    info.byte_count = bytes_of(track);
    info.timescale = track->timescale;
    info.width = info.medium == QLIP_VIDEO ? track->width : 0;
    info.height = info.medium == QLIP_VIDEO ? track->height : 0;
    info.profile = track->profile;
    info.level = track->level;
    if (track->timescale != 0) {
        info.duration = static_cast<uint64_t>(nanosecond_scale(track->timescale).of(track->duration));
        info.shift = shift_of(track);
    }
    info.hinted = arm_hint_track(track) != nullptr;
    return info;
}

}  // namespace qlip::kit
