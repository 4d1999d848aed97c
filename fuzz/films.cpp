// Sound films drawn from the input, through every reader: the C entry points deliver the same chunks in both
// read modes and while the file grows, the second reader the same bytes whatever is asked for at a time, a
// tree that was read is dumped as one that reads back, and a copy of a copy is the copy.
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "fuzz/box_trees.h"
#include "fuzz/cost.h"
#include "fuzz/drawn_film.h"
#include "qlip/c3gpinterface.h"
#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "tests/support/memory_file.h"

using namespace qlip_fuzz;
using qlip_test::MoviePlan;

namespace {

constexpr int kMostChunks = 120;
constexpr size_t kCompared = 4096;  // of each chunk; drawn samples stay below

// ---- The C entry points ----

class Session {
  public:
    Session(const Bytes& file, const char* mode, bool indexed, std::optional<unsigned int> arrived)
        : host_(file), indexed_(indexed), chunk_(QLIP_LARGEST_CHUNK) {
        host_.keep_log = false;
        host_.arrived = arrived;
        opened_ = qlip_Open(&handle_, host_.record(), mode);
    }
    ~Session() { require(qlip_Close(&handle_) == QLIP_SUCCESS || !handle_); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int opened() const { return opened_; }
    const unsigned char* chunk() const { return chunk_.data(); }
    bool is_by_position() const { return !indexed_; }
    // A read by position went there, which fails or ends the track; one by index is the host's to answer.
    bool is_behind_the_file() const { return !indexed_ && host_.position >= host_.bytes.size(); }

    // The next chunk, for which as much of the file arrives as it needs. The first video frame must be there.
    int read(unsigned int step) {
        const std::optional<unsigned int> arrived = std::exchange(host_.arrived, {});
        if (++reads_ > 2) host_.arrived = arrived;
        const int status = read_when_there(step);
        host_.arrived = reads_ > 2 ? host_.arrived : arrived;
        return status;
    }

  private:
    int read_when_there(unsigned int step) {
        for (;;) {
            std::memset(chunk_.data(), 0xA5, kCompared);
            unsigned int size = 0;
            const int status = qlip_ReadChunk(handle_, chunk_.data(), &size, indexed_);
            if (status != QLIP_NOT_AVAILABLE_YET || !host_.arrived) return status;
            if (*host_.arrived >= host_.bytes.size()) return status;
            *host_.arrived += 1 + step;
        }
    }

    MemoryHost host_;
    bool indexed_;
    mm_Interface* handle_ = nullptr;
    int opened_;
    Bytes chunk_;
    int reads_ = 0;
};

void step_together(Session& one, Session& other, unsigned int step) {
    require(one.opened() == other.opened());
    if (one.opened() != QLIP_SUCCESS) return;
    for (int i = 0, setbacks = 0; i < kMostChunks && setbacks < 8; ++i) {
        const int status = one.read(step);
        const int other_status = other.read(step);
        if (status != QLIP_SUCCESS && one.is_behind_the_file() && !other.is_by_position()) return;
        require(other_status == status);
        require(std::memcmp(one.chunk(), other.chunk(), kCompared) == 0);
        setbacks += status != QLIP_SUCCESS;
    }
}

void check_modes(const Bytes& file, const char* mode, unsigned int step) {
    Session positioned(file, mode, false, {}), indexed(file, mode, true, {});
    step_together(positioned, indexed, step);
}

void check_growing(const Bytes& file, const char* mode, bool indexed, unsigned int structure,
                   unsigned int step) {
    Session whole(file, mode, indexed, {}), growing(file, mode, indexed, structure);
    step_together(whole, growing, step);
}

// ---- The second reader ----

struct Delivery {
    Bytes bytes;
    bool sound = false;  // came to its end without a failure
};

Delivery deliver(const Bytes& file, const char* mode, bool indexed, unsigned int request) {
    MemoryHost host(file);
    host.keep_log = false;
    C3gpInterface reader(1 << 16);
    Delivery out;
    if (reader.Open(host.record(), mode) != 0) return out;
    Bytes buffer(request);
    for (unsigned int status = 0; status == 0;) {
        unsigned int delivered = request;
        status = reader.ReadChunk(buffer.data(), &delivered, indexed);
        require(delivered <= request && (status != 0 || delivered == request));
        out.bytes.insert(out.bytes.end(), buffer.begin(), buffer.begin() + delivered);
        out.sound = status == 1;
    }
    require(reader.Close() == 0);
    return out;
}

void check_second_reader(const Bytes& file, const char* mode, bool indexed, unsigned int request) {
    const Delivery whole = deliver(file, mode, !indexed, 1 << 16);
    if (!whole.sound) return;
    const Delivery again = deliver(file, mode, indexed, request);
    require(again.sound && again.bytes == whole.bytes);
}

// ---- Copies ----

iso_file* open_for_reading(MemoryHost& host) {
    host.keep_log = false;
    auto* io = host.record();
    char mode[] = "r";
    return isoFFopen(io, mode, nullptr);
}

iso_track* copy_description(iso_file* file, const iso_track& from) {
    iso_track* to = isoFFtrack(file);
    const auto id = to->track_id;
    // The description alone: not the tables, which the writer makes, nor what ties the track to its file, nor
    // the URL of a scheme, with which the engine reads two bytes of the box behind it.
    std::memcpy(to->handler, from.handler, sizeof to->handler);
    std::memcpy(to->vendor, from.vendor, sizeof to->vendor);
    std::memcpy(to->matrix, from.matrix, sizeof to->matrix);
    std::memcpy(to->srpp_types, from.srpp_types, sizeof to->srpp_types);
    std::memcpy(to->scheme_type, from.scheme_type, sizeof to->scheme_type);
    to->creation_time = to->modification_time = 1;
    to->codec = from.codec;
    to->timescale = from.timescale;
    to->decoder_version = from.decoder_version;
    to->level = from.level;
    to->profile = from.profile;
    to->profile_compat = from.profile_compat;
    to->mode_set = from.mode_set;
    to->mode_change_period = from.mode_change_period;
    to->object_type = from.object_type;
    to->stream_type = from.stream_type;
    to->buffer_size_db = from.buffer_size_db;
    to->max_bitrate = from.max_bitrate;
    to->avg_bitrate = from.avg_bitrate;
    to->width = from.width;
    to->height = from.height;
    to->nal_length_size = from.nal_length_size;
    to->sps_count = from.sps_count;
    to->sps = from.sps;
    to->pps_count = from.pps_count;
    to->pps = from.pps;
    to->hint_ref_track = from.hint_ref_track;
    to->max_packet_size = from.max_packet_size;
    to->tims = from.tims;
    to->scheme_version = from.scheme_version;
    to->schi = from.schi;
    to->schi_size = from.schi_size;
    to->sdp = from.sdp;
    to->xml = from.xml;
    to->xml_size = from.xml_size;
    to->edits = from.edits;
    to->edit_count = from.edit_count;
    to->tsel_group = from.tsel_group;
    to->tsel_attributes = from.tsel_attributes;
    if (from.codec != ISO_CODEC_AVC1) isoFFsetDecoderSpecificInfo(to, from.dsi, from.dsi_size);
    require(to->track_id == id);
    return to;
}

void copy_samples(iso_track* from, iso_track* to) {
    static Bytes buffer(1 << 16);
    double seconds = 0, offset = 0;
    const auto units = [from](double time) { return static_cast<int>(std::llround(time * from->timescale)); };
    for (int n; (n = isoFFread(from, buffer.data(), 1 << 16, &seconds, &offset)) >= 0;)
        require(isoFFwrite(to, buffer.data(), n, units(seconds), units(offset)) == n);
}

Bytes copy(const Bytes& film) {
    MemoryHost host(film);
    iso_file* from = open_for_reading(host);
    qlip_test::MemoryFile out;
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char mode[] = "w";
    iso_file* to = isoFFopen(no_input, mode, nullptr);
    to->stream = out.stream();
    to->creation_time = to->modification_time = 1;
    to->sdp = from->sdp;
    for (iso_track* track = from->tracks; track; track = track->next) {
        // Without a sample entry of its own there is nothing that could be read again.
        if (track->codec >= 0) copy_samples(track, copy_description(to, *track));
    }
    isoFFclose(to);
    std::fflush(out.stream());
    isoFFclose(from);
    return out.bytes;
}

void check_copies(const Bytes& film) {
    const Bytes once = copy(film);
    require(copy(once) == once);
}

void check_tree(const Bytes& film) {
    MemoryHost in(film);
    Simple3gp file;
    read(file, in, MemoryHost::EofStyle::AtEnd);
    if (complete(file)) check_dump(file, MemoryHost::EofStyle::AtEnd);
}

// Bytes up to the end of moov, for a film that can be read while it arrives: without hints, whose playback
// loses frames that are not whole yet.
std::optional<unsigned int> structure_of(const MoviePlan& plan, const Bytes& film) {
    if (!plan.moov_first || plan.tracks.back().handler == "hint") return {};
    const auto size_at = [&film](size_t at) {
        return static_cast<unsigned int>(film[at] << 24 | film[at + 1] << 16 | film[at + 2] << 8 |
                                         film[at + 3]);
    };
    return size_at(0) + size_at(size_at(0));
}

}  // namespace

// One of the comparisons for each input, so that there are many inputs.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    sx_Debug = 0;
    Draws draws(data, size);
    const unsigned int comparison = draws.byte();
    const char* mode = comparison & 8 ? "ra" : "rv";
    const bool indexed = comparison & 16;
    const unsigned int step = draws.byte();
    const unsigned int request = 1 + draws.pair() % 2000;
    const MoviePlan plan = draw_film(draws);
    Bytes film = build_movie(plan);
    make_mpeg4_visual(film);
    const Cost cost(film.size(), 12);
    const std::optional<unsigned int> structure = structure_of(plan, film);
    switch (comparison % 8) {
        case 0:
        case 1:
            check_modes(film, mode, step);
            break;
        case 2:
        case 3:
            if (structure) check_growing(film, mode, indexed, *structure, step);
            break;
        case 4:
        case 5:
            check_second_reader(film, mode, indexed, request);
            break;
        case 6:
            check_copies(film);
            break;
        default:
            check_tree(film);
    }
    return 0;
}
