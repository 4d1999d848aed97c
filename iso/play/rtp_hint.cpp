// Playback of RTP hint tracks (ISO/IEC 14496-12 9.1): each hint sample tells how to rebuild packets from the
// samples of a media track.
//
// A packet is built on local state that is stored when the packet is whole, so that after "not yet" the same
// packet is built from its start again.
#include "iso/play/rtp_hint.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "common/byte_order.h"
#include "common/log.h"
#include "formats/rtp.h"
#include "formats/rtp_hint_sample.h"
#include "iso/model/arena.h"
#include "iso/play/armed_hint.h"
#include "iso/play/sample_reading.h"
#include "iso/play/within_limits.h"

namespace {

constexpr const char* kPath = "interface/src/isoff";

// In one call; a track of nothing else would keep it busy for ever.
constexpr int kMostEmptySamples = 1 << 20;

// Gives a hint track its record, with room for the places of both tracks behind it, in a block from `take`.
template <typename Take>
void give_record(iso_track* hint, const iso_track* media, Take take) {
    const int64_t media_room = qlip::SamplePlaces::room_for(media);
    const int64_t hint_room = qlip::SamplePlaces::room_for(hint);
    const int64_t bytes =
        int64_t{sizeof(qlip::ArmedHint)} + (media_room + hint_room) * int64_t{sizeof(qlip::Cursor)};
    void* memory = bytes <= INT_MAX ? take(hint->file, static_cast<int>(bytes)) : nullptr;
    if (!memory) return;
    auto* own = new (memory) qlip::ArmedHint{};
    auto* room = reinterpret_cast<qlip::Cursor*>(own + 1);
    own->media_places = {room, media_room};
    own->hint_places = {room + media_room, hint_room};
    hint->hint = own;
    hint->flags |= qlip::kArmedHintRecord;
}

bool is_hint_track_of(const iso_track* track, const iso_track* media, int max_packet) {
    return (track->codec == ISO_CODEC_RTP || track->codec == ISO_CODEC_SRTP) &&
           track->hint_ref_track == media->track_id && int64_t{track->max_packet_size} <= max_packet;
}

iso_track* choose_hint_track(const iso_track* media, int max_packet) {
    if (!media || !media->file) return nullptr;
    iso_track* best = nullptr;
    for (iso_track* track = media->file->tracks; track; track = track->next) {
        if (!is_hint_track_of(track, media, max_packet)) continue;
        if (!best || track->max_packet_size > best->max_packet_size) best = track;
    }
    return best;
}

void set_media(iso_track* hint, iso_track* media) {
    qlip::ArmedHint* own = qlip::armed_hint(hint);
    if (own && own->media_track != media) own->media_places.start_over();
    hint->hint->media_track = media;
}

// Follows a cursor that was set by isoFFsetPosition since the last packet.
void resynchronise(iso_track* track, hint_state* hint, qlip::ArmedHint* own) {
    if (hint->sample == track->sample || hint->sample >= track->sample_count) return;
    hint->sample = track->sample;
    hint->packets_left = hint->sample_offset = 0;
    if (own) own->packet_open = false;
}

[[gnu::noinline]] void jump_to_hint_sample(iso_track* track, int sample) {
    if (auto* own = qlip::armed_hint(track)) own->hint_places.prepare(track, sample);
    set_sample_pos(track, sample);
}

// A constructor that reads from the hint track itself leaves its cursor there.
inline void move_to_hint_sample(iso_track* track, int sample) {
    if (track->sample == sample) [[likely]]
        return;
    if (track->sample + 1 == sample) return qlip::step(track);
    jump_to_hint_sample(track, sample);
}

void next_sample(iso_track* track, hint_state* hint) {
    hint->sample_offset = 0;
    ++hint->sample;
    if (qlip::has_sample(track, hint->sample)) move_to_hint_sample(track, hint->sample);
}

void advance_clock(const iso_track* track, hint_state* hint) {
    const double duration = qlip::time_at(track, track->stts, track->stts_count, track->stts_index);
    const double ticks = duration * static_cast<int>(track->tims);
    hint->timestamp = qlip::take_timestamp(hint->rtp_time, ticks) + track->tsro;
}

bool stands_on_sample(const iso_track* track) {
    return qlip::is_readable(track) && qlip::has_sample(track, track->hint->sample);
}

// Opens hint samples until one has packets. 1, or the result to return: 0, ISOFF_END, ISOFF_NOT_YET.
int open_sample(iso_track* track, hint_state* hint) {
    for (int empty = 0; hint->packets_left == 0; ++empty) {
        if (hint->sample >= track->sample_count) {
            QLIP_LOG_DEBUG(kPath, "isoFFrtpPacket() EOF:  hint->sample=%04d > tp->sample_count=%04d",
                           hint->sample, track->sample_count);
            return 0;
        }
        if (empty == kMostEmptySamples || !stands_on_sample(track)) return ISOFF_END;
        std::array<unsigned char, qlip::kHintSampleHeaderBytes> head{};
        const int got = qlip::read_slice(track, hint->sample, qlip::size_of_sample(track, hint->sample),
                                         hint->sample_offset, head.data(), head.size());
        if (got == ISOFF_NOT_YET) return got;
        if (got != qlip::kHintSampleHeaderBytes) return ISOFF_END;
        hint->packets_left = qlip::load_be16(head.data());
        if (hint->packets_left == 0) {
            next_sample(track, hint);
        } else {
            hint->sample_offset += qlip::kHintSampleHeaderBytes;
            advance_clock(track, hint);
        }
    }
    return 1;
}

// One packet under construction.
class PacketBuilder {
  public:
    PacketBuilder(iso_track* track, qlip::ArmedHint* own, unsigned char* out, qlip::ClearedMemory& memory)
        : track_(track),
          hint_(track->hint),
          own_(own),
          memory_(memory),
          out_(out),
          offset_(hint_->sample_offset),
          hint_size_(qlip::size_of_sample(track, hint_->sample)) {}

    // The packet's length, or a result below 0.
    int build() {
        std::array<unsigned char, qlip::kHintPacketHeaderBytes> entry{};
        int result = read_hint(entry);
        if (result < 0) return result;
        write_header(entry.data());
        if (entry[qlip::kHintFlagsAt + 1] & qlip::kHintExtraInformation) {
            result = pass_extra_information();
            if (result < 0) return result;
        }
        for (int left = qlip::load_be16(&entry[qlip::kHintEntryCountAt]); left > 0; --left) {
            result = construct();
            if (result < 0) return result;
        }
        finish();
        return length_;
    }

  private:
    [[gnu::always_inline]] int read_own(unsigned char* to, unsigned int count) {
        return qlip::read_slice(track_, hint_->sample, hint_size_, offset_, to, count, move_to_hint_sample);
    }

    // The next bytes of the hint sample. 0, ISOFF_END when they are not all there, or ISOFF_NOT_YET.
    template <size_t N>
    int read_hint(std::array<unsigned char, N>& bytes) {
        const int got = read_own(bytes.data(), N);
        if (got == ISOFF_NOT_YET) return got;
        if (got != static_cast<int>(N)) return ISOFF_END;
        offset_ += N;
        return 0;
    }

    void write_header(const unsigned char* entry) {
        const unsigned char* rtp = entry + qlip::kHintRtpHeaderAt;
        const unsigned int seed = qlip::load_be16(entry + qlip::kHintSequenceSeedAt);
        restarts_numbering_ = track_->seq_state == 1;
        // Behind injected packets the numbering goes on where those ended.
        snro_ = restarts_numbering_ ? track_->snro - seed : track_->snro;
        sequence_ = (snro_ + seed) & qlip::kRtpLastSequence;
        payload_type_ = rtp[1] & qlip::kRtpTypeMask;
        memory_.reach(out_ + qlip::kRtpHeaderBytes);
        out_[0] = rtp[0] | qlip::kRtpVersion2;
        out_[1] = rtp[1];
        qlip::store_be16(out_ + qlip::kRtpSequenceAt, static_cast<uint16_t>(sequence_));
        qlip::store_be32(out_ + qlip::kRtpTimestampAt, hint_->timestamp);
        qlip::store_be32(out_ + qlip::kRtpSsrcAt, hint_->ssrc);
        length_ = qlip::kRtpHeaderBytes;
    }

    int pass_extra_information() {
        std::array<unsigned char, qlip::kHintExtraLengthBytes> size{};
        const int got = read_own(size.data(), size.size());
        if (got == ISOFF_NOT_YET) return got;
        offset_ += qlip::load_be32(size.data());
        return 0;
    }

    int construct() {
        std::array<unsigned char, qlip::kConstructorBytes> constructor{};
        const int result = read_hint(constructor);
        if (result < 0) return result;
        switch (constructor[0]) {
            case qlip::kImmediateConstructor:
                return append_immediate(constructor.data());
            case qlip::kSampleConstructor:
            case qlip::kSampleDescriptionConstructor:
                return append_sample(constructor.data());
            default:
                return 0;
        }
    }

    bool has_room(unsigned int count) const {
        return count <= static_cast<unsigned int>(ISOFF_PACKET_CAPACITY - length_);
    }

    int append_immediate(const unsigned char* constructor) {
        const unsigned int count = constructor[1];
        if (count > qlip::kImmediateRoom || !has_room(count)) return ISOFF_END;
        memory_.reach(out_ + length_ + count);
        std::memcpy(out_ + length_, constructor + 2, count);
        length_ += static_cast<int>(count);
        return 0;
    }

    int append_sample(const unsigned char* constructor) {
        const bool from_self = constructor[1] == qlip::kOwnTrackReference;
        const unsigned int count = qlip::load_be16(constructor + 2);
        const auto sample = static_cast<int>(qlip::load_be32(constructor + 4) - 1);
        if (!has_room(count)) return ISOFF_END;
        source_ = from_self ? track_ : hint_->media_track;
        source_offset_ = qlip::load_be32(constructor + 8);
        if (!qlip::is_readable(source_) || !qlip::has_sample(source_, sample)) return ISOFF_END;
        const unsigned int size = qlip::size_of_sample(source_, sample);
        const bool moves_cursor = own_ && count > 0 && source_offset_ < size;
        if (moves_cursor) places_of(from_self).prepare(source_, sample);
        memory_.reach(out_ + length_ + count);
        const int got = qlip::read_slice(source_, sample, size, source_offset_, out_ + length_, count);
        if (moves_cursor) places_of(from_self).remember(source_);
        if (got == ISOFF_NOT_YET) return got;
        if (got != static_cast<int>(count)) return ISOFF_END;
        length_ += got;
        return 0;
    }

    qlip::SamplePlaces& places_of(bool hint_track) const {
        return hint_track ? own_->hint_places : own_->media_places;
    }

    // The lowest position that the next packet can need, compared as signed.
    int read_floor() const {
        const auto hint_floor = static_cast<int>(track_->file_pos + offset_);
        if (!source_) return hint_floor;
        return std::min(static_cast<int>(source_->file_pos + source_offset_), hint_floor);
    }

    void finish() {
        if (restarts_numbering_) track_->seq_state = 2;
        track_->snro = snro_;
        track_->last_seq = sequence_;
        track_->last_timestamp = hint_->timestamp;
        track_->payload_type = payload_type_;
        track_->read_floor = read_floor();
        hint_->sample_offset = offset_;
        if (--hint_->packets_left == 0) next_sample(track_, hint_);
    }

    iso_track* track_;
    hint_state* hint_;
    qlip::ArmedHint* own_;
    qlip::ClearedMemory& memory_;  // that `out_` is in
    unsigned char* out_;
    unsigned int offset_;
    unsigned int hint_size_;
    int length_ = 0;
    iso_track* source_ = nullptr;
    unsigned int source_offset_ = 0;
    bool restarts_numbering_ = false;
    unsigned int snro_ = 0, sequence_ = 0, payload_type_ = 0;
};

}  // namespace

iso_track* isoFFrtpHinter(iso_track* media, int max_packet) {
    iso_track* track = choose_hint_track(media, max_packet);
    if (!track) return nullptr;
    if (!track->hint) give_record(track, media, qlip::arena_take);
    hint_state* hint = track->hint;
    if (!hint) return nullptr;
    set_media(track, media);
    hint->packets_left = hint->sample_offset = hint->ssrc = 0;
    hint->sample = 0;
    hint->rtp_time = 0.0;
    if (auto* own = qlip::armed_hint(track)) own->packet_open = false;
    return track;
}

iso_track* isoFFfindHintTrack(iso_track* media, int max_packet) {
    iso_track* track = choose_hint_track(media, max_packet);
    if (!track) return nullptr;
    if (!track->hint) give_record(track, media, systemmalloc);
    if (!track->hint) return nullptr;
    set_media(track, media);
    qlip::find_again(track);
    return track;
}

int qlip::next_packet(iso_track* track, unsigned char* to, ClearedMemory& memory) {
    if (!track || !track->hint || !track->hint->media_track) return ISOFF_END;
    hint_state* hint = track->hint;
    qlip::ArmedHint* own = qlip::armed_hint(track);
    resynchronise(track, hint, own);
    if (hint->packets_left == 0) {
        const int opened = open_sample(track, hint);
        if (opened != 1) return opened;
    } else if (!stands_on_sample(track)) {
        return ISOFF_END;
    }
    if (own) own->packet_open = true;
    const int result = PacketBuilder(track, own, to, memory).build();
    if (result >= 0) {
        if (own) own->packet_open = false;
    } else if (track->sample != hint->sample) {
        move_to_hint_sample(track, hint->sample);
    }
    return result;
}

int isoFFrtpPacket(iso_track* track, void* buf) {
    return qlip::within_limits(track, [=] {
        auto memory = qlip::ClearedMemory::of_the_caller();
        return qlip::next_packet(track, static_cast<unsigned char*>(buf), memory);
    });
}
