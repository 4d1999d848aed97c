// qlip copy: reads the tracks of a 3GP file and writes them again.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "commands/commands.h"
#include "host/progress.h"
#include "host/tool_error.h"
#include "movie/file_state.h"
#include "movie/movie_writer.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Reads the tracks of a 3GP file and writes them again, with their configuration, times and sync samples: "
    "to put "
    "the\n"
    "header in front, to interleave anew, to take single tracks, or to cut a file down to a size. Hint "
    "tracks come "
    "along\n"
    "with the track that they are for.\n"
    "\n"
    "Examples:\n"
    "  qlip copy clip.3gp fast-start.3gp\n"
    "  qlip copy clip.3gp audio.3gp --tracks 2\n"
    "  qlip copy clip.3gp short.3gp --max-size 300000";

constexpr unsigned int kUsualDepth = 24;

struct Options {
    std::string in;
    std::string out;
    std::vector<unsigned int> tracks;
    MovieOptions movie;
};

// A track on its way. What it was read from stays open until the copy is closed, so tables can be shared.
struct Copy {
    iso_track* from;
    iso_track* to = nullptr;
    double seconds = 0.0;
    unsigned int usual_delta = 0;  // of the first sample
    bool done = false;
    bool cut = false;  // before its last sample
};

bool is_wanted(const Options& options, const iso_track* track) {
    if (track->codec == ISO_CODEC_NONE || track->sample_count == 0) return false;
    const unsigned int id = is_hint(*track) ? track->hint_ref_track : track->track_id;
    return options.tracks.empty() ||
           std::find(options.tracks.begin(), options.tracks.end(), id) != options.tracks.end();
}

std::vector<Copy> choose(const Options& options, FileHost& host, const Movie& movie, const FileState& state) {
    std::vector<Copy> copies;
    for (iso_track* track : movie.tracks()) {
        if (is_wanted(options, track)) copies.push_back({track});
    }
    if (copies.empty()) {
        throw_unless_structure_is_whole(host, state);
        if (movie.tracks().empty()) throw_unless_whole(host, state);
        throw ToolError(Exit::bad_input, options.in + " has no such track that can be copied",
                        "qlip info " + options.in);
    }
    return copies;
}

void share_presentation(const iso_track* from, iso_track* to) {
    std::memcpy(to->handler, from->handler, sizeof to->handler);
    std::memcpy(to->matrix, from->matrix, sizeof to->matrix);
    to->layer = from->layer;
    to->alternate_group = from->alternate_group;
    to->volume = from->volume;
    to->width = from->width;
    to->height = from->height;
    to->h_resolution = from->h_resolution;
    to->v_resolution = from->v_resolution;
    to->depth = kUsualDepth;
    to->timescale = from->timescale;
    to->edit_count = from->edit_count;
    to->edits = from->edits;
    to->sdp = from->sdp;
    to->tsel_attributes = from->tsel_attributes;
    to->tsel_group = from->tsel_group;
    to->xml = from->xml;
    to->xml_size = from->xml_size;
}

void share_configuration(const iso_track* from, iso_track* to) {
    std::memcpy(to->vendor, from->vendor, sizeof to->vendor);
    to->codec = from->codec;
    to->decoder_version = from->decoder_version;
    to->level = from->level;
    to->profile = from->profile;
    to->mode_set = from->mode_set;
    to->mode_change_period = from->mode_change_period;
    to->frames_per_sample = from->frames_per_sample;
    to->object_type = from->object_type;
    to->stream_type = from->stream_type;
    to->max_bitrate = from->max_bitrate;
    to->avg_bitrate = from->avg_bitrate;
    to->dsi = from->dsi;
    to->dsi_size = from->dsi_size;
    to->max_packet_size = from->max_packet_size;
    to->tims = from->tims;
    to->tsro = from->tsro;
    to->snro = from->snro;
    std::memcpy(to->srpp_types, from->srpp_types, sizeof to->srpp_types);
    std::memcpy(to->scheme_type, from->scheme_type, sizeof to->scheme_type);
    to->scheme_version = from->scheme_version;
    to->scheme_url = from->scheme_url;
    to->schi = from->schi;
    to->schi_size = from->schi_size;
}

void share_groups(const iso_track* from, iso_track* to) {
    std::memcpy(to->grouping_type, from->grouping_type, sizeof to->grouping_type);
    to->sbgp_count = from->sbgp_count;
    to->sbgp = from->sbgp;
    to->sgpd_count = from->sgpd_count;
    to->sgpd = from->sgpd;
}

// The reading side keeps a table, the writing side a list.
void copy_sync_samples(const iso_track* from, iso_track* to) {
    iso_sync_sample** link = &to->sync_list;
    for (int i = 0; i < from->sync_count; ++i) {
        auto* sync = static_cast<iso_sync_sample*>(isoFFmalloc(to->file, sizeof(iso_sync_sample)));
        if (!sync) throw ToolError(Exit::io, "no memory for the sync samples");
        *sync = {from->sync_samples[i], nullptr};
        *link = sync;
        link = &sync->next;
        ++to->sync_count;
    }
}

// What the track's header takes beyond what the writer counts by itself, so that a size limit holds.
unsigned int header_cost(const iso_track* track) {
    constexpr size_t kSampleEntry = 160;
    constexpr size_t box = 16;
    size_t cost = kSampleEntry + static_cast<size_t>(track->dsi_size);
    cost += box + 4 * static_cast<size_t>(track->sync_count);
    cost += box + 12 * static_cast<size_t>(track->edit_count);
    cost += box + 8 * static_cast<size_t>(track->sbgp_count);
    for (const iso_group_entry* entry = track->sgpd; entry; entry = entry->next)
        cost += 2 + 20 * static_cast<size_t>(entry->record_count);
    for (const char* text : {track->sdp, track->tsel_attributes, track->scheme_url})
        cost += box + (text ? std::strlen(text) : 0);
    return static_cast<unsigned int>(cost) + static_cast<unsigned int>(track->xml_size) + track->schi_size;
}

void describe(MovieWriter& movie, Copy& copy) {
    copy.to = movie.add_track();
    share_presentation(copy.from, copy.to);
    share_configuration(copy.from, copy.to);
    share_groups(copy.from, copy.to);
    copy_sync_samples(copy.from, copy.to);
    movie.file()->header_bytes += header_cost(copy.from);
}

// Track ids are given anew, so hint tracks have to follow.
void connect_hints(const std::vector<Copy>& copies) {
    for (const Copy& hint : copies) {
        for (const Copy& media : copies) {
            if (is_hint(*hint.from) && !is_hint(*media.from) &&
                media.from->track_id == hint.from->hint_ref_track)
                hint.to->hint_ref_track = media.to->track_id;
        }
    }
}

int units(const iso_track* track, double seconds) {
    return static_cast<int>(std::llround(seconds * track->timescale));
}

// Copies the next sample; its bytes, or nothing at the end.
uint64_t copy_sample(MovieWriter& movie, Copy& copy, std::vector<unsigned char>& buffer) {
    iso_track* from = copy.from;
    double duration = 0.0;
    double offset = 0.0;
    buffer.resize(from->sample_size != 0 ? from->sample_size
                                         : static_cast<size_t>(std::max(from->max_sample_size, 1)));
    const int size = isoFFread(from, buffer.data(), static_cast<int>(buffer.size()), &duration, &offset);
    copy.done = size < 0;
    copy.cut = copy.done && from->sample < from->sample_count;
    if (copy.done) return 0;
    copy.seconds += duration;
    if (copy.usual_delta == 0) copy.usual_delta = static_cast<unsigned int>(units(from, duration));
    movie.write(copy.to, std::span(buffer.data(), static_cast<size_t>(size)), units(from, duration),
                units(from, offset));
    return static_cast<uint64_t>(size);
}

Copy* earliest(std::vector<Copy>& copies) {
    Copy* found = nullptr;
    for (Copy& copy : copies) {
        if (!copy.done && (!found || copy.seconds < found->seconds)) found = &copy;
    }
    return found;
}

void run(const Options& options) {
    FileHost host(options.in);
    const Movie source(host);
    const FileState state = file_state(host, source);
    if (!state.damage.empty()) throw ToolError(Exit::bad_input, options.in + ": " + state.damage);
    std::vector<Copy> copies = choose(options, host, source, state);
    host.refuse_short_reads();
    MovieWriter movie(options.out, options.movie, static_cast<int>(copies.size()), {options.in});
    movie.file()->timescale = std::max(source->timescale, 1U);  // which edits count in
    for (Copy& copy : copies)
        describe(movie, copy);
    connect_hints(copies);
    Progress progress("copying", host.size(), "bytes");
    std::vector<unsigned char> buffer;
    uint64_t done = 0;
    while (Copy* copy = earliest(copies)) {
        done += copy_sample(movie, *copy, buffer);
        progress.advance_to(done);
    }
    host.throw_if_unreadable();
    // The writer works out an AMR track's frames per sample from it; a last sample may be shorter than the
    // others.
    for (const Copy& copy : copies)
        copy.to->default_delta = copy.usual_delta;
    const bool cut = std::any_of(copies.begin(), copies.end(), [](const Copy& copy) { return copy.cut; });
    if (cut && done == 0) throw_unless_whole(host, state);
    movie.finish();
    throw_unless_structure_is_whole(host, state);
    if (cut) throw_unless_whole(host, state);
    if (cut)
        throw ToolError(Exit::bad_input,
                        options.in + ": a sample in it cannot be read; the copy ends before it");
}

}  // namespace

void add_copy(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("copy", "Write the tracks of a 3GP file again");
    command->footer(kAbout);
    command->add_option("IN", options->in, "The file to read")->required();
    command->add_option("OUT", options->out, "The file to write")->required();
    command->add_option("--tracks", options->tracks, "Ids of the tracks to take; all without it")
        ->type_name("ID,...")
        ->delimiter(',');
    options->movie.add_to(*command);
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
