#include "tests/support/recording.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "qlip/h263_isoff.h"
#include "qlip/isoff.h"
#include "tests/support/memory_file.h"

namespace qlip_test {

namespace {

// A small decision at a time; zero behind the end.
class Decisions {
  public:
    Decisions(const unsigned char* data, size_t size) : next_(data), left_(size) {}
    bool any() const { return left_ > 0; }
    unsigned int byte() {
        if (left_ == 0) return 0;
        --left_;
        return *next_++;
    }
    bool one_in(unsigned int n) { return byte() % n == 0; }

  private:
    const unsigned char* next_;
    size_t left_;
};

struct Frame {
    Bytes bytes;
    unsigned int delta, cto;
};

struct Track {
    bool h263, audio, spill;
    int codec;
    unsigned int late_description;  // bytes of decoder information that come when frames are there already
    unsigned int timescale;
    std::vector<Frame> given;
};

struct Recording {
    bool direct, unbuffered, mp42, cramped;
    double period;
    std::optional<size_t> capacity;
    std::optional<unsigned int> limit;
    std::vector<Track> tracks;
};

constexpr int kCodecs[] = {ISO_CODEC_SAMR, ISO_CODEC_SAWB, ISO_CODEC_S263,
                           ISO_CODEC_RTP,  ISO_CODEC_SAWP, ISO_CODEC_MP4V};
constexpr unsigned int kTimescales[] = {8000, 16000, 30, 0};
constexpr unsigned int kLongestFrame = 2 * 255;

Recording draw(Decisions& decisions) {
    Recording plan{};
    plan.direct = decisions.one_in(2);
    plan.unbuffered = decisions.one_in(2);
    plan.mp42 = decisions.one_in(8);
    plan.cramped = decisions.one_in(16);
    plan.period = decisions.byte() / 64.0;
    if (decisions.one_in(3)) plan.capacity = 24 * decisions.byte();
    if (decisions.one_in(3)) plan.limit = 24 * decisions.byte();
    plan.tracks.resize(1 + decisions.byte() % 4);
    for (Track& track : plan.tracks) {
        track.h263 = decisions.one_in(3);
        track.audio = decisions.one_in(2);
        track.spill = !plan.direct && decisions.one_in(3);
        track.codec = kCodecs[decisions.byte() % std::size(kCodecs)];
        track.timescale = kTimescales[decisions.byte() % std::size(kTimescales)];
        track.late_description = decisions.one_in(4) ? decisions.byte() : 0;
    }
    return plan;
}

iso_track* add(iso_file* file, const Track& plan) {
    iso_track* track = nullptr;
    if (plan.h263) {
        H263VCFG config{};
        config.width = 176;
        config.height = 144;
        config.timescale = static_cast<int>(plan.timescale);
        track = h263_isoFFtrack(file, &config);
    } else {
        track = isoFFtrack(file);
        std::strcpy(track->handler, plan.audio ? "soun" : "vide");
        track->codec = plan.codec;
        track->object_type = 0x20;  // MPEG-4 visual
        track->timescale = plan.timescale;
    }
    track->default_delta = 1;
    if (plan.spill) track->spill_file = std::tmpfile();
    return track;
}

class Writing {
  public:
    explicit Writing(const Recording& plan) : plan_(plan) {
        if (plan.unbuffered) setvbuf(out_.stream(), nullptr, _IONBF, 0);
        _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
        char mode[] = "w", brands[] = "mp42 3gp5";
        file_ = isoFFopen(no_input, mode, nullptr);
        file_->stream = out_.stream();
        file_->interleave_period = plan.period;
        if (plan.mp42) isoFFsetBrand(file_, brands, 1);
        for (const Track& track : plan.tracks)
            tracks_.push_back(add(file_, track));
        if (!plan.direct) return;
        file_->status_flags |= ISO_STATUS_DIRECT;
        file_->direct_tracks = static_cast<int>(tracks_.size());
    }

    void confine() {
        out_.capacity = plan_.capacity;
        if (plan_.limit) file_->max_file_size = *plan_.limit;
    }

    // Frame k of a track is full of its number, so that a sample tells which frame it was.
    bool write(std::vector<Track>& to, Decisions& decisions) {
        const size_t t = decisions.byte() % to.size();
        const unsigned int size = decisions.byte() * (decisions.byte() % 3);
        Frame frame{Bytes(size, static_cast<unsigned char>(31 * t + to[t].given.size())), decisions.byte(),
                    decisions.one_in(4) ? decisions.byte() : 0};
        iso_track* track = tracks_[t];
        const int result = isoFFwrite(track, frame.bytes.data(), static_cast<int>(size),
                                      static_cast<int>(frame.delta), static_cast<int>(frame.cto));
        frame.delta = track->default_delta;
        refused_ = refused_ || result < 0;
        // A failed write may have come behind this frame, so it may be in the file all the same.
        if (result >= 0 || result == ISO_WRITE_FAILED) to[t].given.push_back(frame);
        return result == static_cast<int>(size) || (result >= ISO_WRITE_NO_DIRECT_TRACK && result < 0);
    }

    bool refused() const { return refused_; }

    const Bytes& close() {
        for (size_t t = 0; t < tracks_.size(); ++t) {
            Bytes description(plan_.tracks[t].late_description, 7);
            isoFFsetDecoderSpecificInfo(tracks_[t], description.data(), static_cast<int>(description.size()));
        }
        isoFFclose(file_);
        fflush(out_.stream());
        return out_.bytes;
    }

  private:
    const Recording& plan_;
    MemoryFile out_;
    iso_file* file_ = nullptr;
    std::vector<iso_track*> tracks_;
    bool refused_ = false;
};

size_t size_without_frames(const Recording& plan) {
    return Writing(plan).close().size();
}

// The samples of a track are the first frames that were given, byte for byte and with their times.
std::string check_samples(iso_track* track, const Track& given, size_t* kept) {
    Bytes buffer(64000);
    const double scale = track->timescale;
    while (track->sample < track->sample_count) {
        const auto i = static_cast<size_t>(track->sample);
        if (i >= given.given.size()) return "more samples than frames";
        const Frame& frame = given.given[i];
        double time = -1, cto = -1;
        const int got = isoFFread(track, buffer.data(), static_cast<int>(buffer.size()), &time, &cto);
        if (got != static_cast<int>(frame.bytes.size())) return "a sample of another size";
        if (!std::equal(frame.bytes.begin(), frame.bytes.end(), buffer.begin())) return "other bytes";
        if (std::lround(time * scale) != (scale != 0 ? frame.delta : 0)) return "another duration";
        if (std::lround(cto * scale) != (scale != 0 ? frame.cto : 0)) return "another composition offset";
        *kept += frame.bytes.size();
    }
    return "";
}

std::string check_with_engine(MemoryHost& host, const Recording& plan, bool whole, size_t* kept,
                              size_t* samples) {
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    std::string fault;
    size_t found = 0;
    for (iso_track* track = file->tracks; track && fault.empty(); track = track->next, ++found) {
        if (track->track_id != found + 1) {
            fault = "tracks out of order";
        } else {
            fault = check_samples(track, plan.tracks.at(found), kept);
            *samples += static_cast<size_t>(track->sample_count);
        }
    }
    isoFFclose(file);
    if (fault.empty() && found != plan.tracks.size() && (whole || found > 0)) fault = "a track is missing";
    return fault;
}

}  // namespace

std::string check_recording(const unsigned char* bytes, size_t size) {
    Decisions decisions(bytes, size);
    Recording plan = draw(decisions);
    constexpr size_t kFreeBox = 8;
    const size_t least = size_without_frames(plan) + kFreeBox;
    if (plan.capacity) *plan.capacity += least;
    // A cramped file may have no room for its tracks, and passes its limit no more than others.
    if (plan.limit && !plan.cramped) *plan.limit += static_cast<unsigned int>(least);
    const bool whole = plan.limit.value_or(UINT32_MAX) >= least;

    Writing writing(plan);
    writing.confine();
    while (decisions.any()) {
        if (!writing.write(plan.tracks, decisions)) return "a result that is none";
    }
    MemoryHost host(writing.close());
    host.keep_log = false;
    const size_t length = host.bytes.size();
    if (plan.limit && length > *plan.limit) return "the file passes its limit";
    size_t kept = 0, samples = 0, all = 0;
    if (std::string fault = check_with_engine(host, plan, whole, &kept, &samples); !fault.empty())
        return fault;
    if (!whole) return "";
    for (const Track& track : plan.tracks)
        all += track.given.size();
    if (samples == all) return "";
    if (!plan.capacity && !plan.limit && !writing.refused()) return "frames are missing";
    // What is missing had no room: a frame, its rows and what the estimates spare.
    const size_t room = std::min<size_t>(plan.capacity.value_or(SIZE_MAX), plan.limit.value_or(SIZE_MAX));
    const size_t rows = 24 * all;
    const size_t spared = 128 + 24;
    if (plan.tracks.size() == 1 && least + kept + rows + kLongestFrame + spared < room) return "room is left";
    return "";
}

}  // namespace qlip_test
