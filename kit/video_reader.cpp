#include "kit/video_reader.h"

#include <algorithm>
#include <cstring>

#include "kit/h264_payload.h"

namespace qlip::kit {
namespace {

constexpr size_t kRecordSize = 20;  // wld_packet_record
constexpr size_t kRtpInRecord = kRecordSize - kHeaderSize;

// Records of a sample: its bytes, and headers that come to a quarter of them even where a picture has a slice
// for every eighty bytes.
unsigned int records_of(unsigned int bytes) {
    constexpr unsigned int kLeast = 4096;
    return bytes + bytes / 4 + kLeast;
}

// What the H.264 packetiser writes beyond the room it is told: stored sets, and four bytes for each fragment.
unsigned int uncharged(const iso_track* track, unsigned int records) {
    const auto sets =
        static_cast<unsigned int>(std::max(track->sps_count, 0) + std::max(track->pps_count, 0));
    return records / 64 + 64 + track->parameter_sets_size +
           (sets + 1) * static_cast<unsigned int>(kRecordSize);
}

int rfc_mode_of(const iso_track* track) {
    return track->codec == ISO_CODEC_S263 ? WLD_RFC_2429 : WLD_RFC_NONE;
}

// Whether NAL units, each behind its length, fill the sample exactly.
bool nal_units_fill(std::span<const unsigned char> sample, unsigned int length_size) {
    while (!sample.empty()) {
        if (!next_nal(sample, length_size)) return false;
    }
    return true;
}

}  // namespace

VideoReader::VideoReader(const SampleFeed& feed, iso_track* track, unsigned int room)
    : track_(track),
      feed_(feed),
      clock_(track->timescale, kVideoClock, shift_of(track)),
      configuration_(track),
      room_(room),
      records_size_(records_of(room + static_cast<unsigned int>(configuration_.room()))),
      most_packets_(records_size_ / (kRecordSize + 1)),
      frame_room_(records_size_ + uncharged(track, records_size_)),
      memory_(new unsigned char[configuration_.room() + room]),
      sample_at_(memory_.get() + configuration_.room()) {
    wld_native_init(&native_, 0, kPacketBytes, rfc_mode_of(track), track, 0);
}

int VideoReader::next(Draft& draft) {
    while (draft.packets.empty()) {
        records_ = draft.memory.renew();
        Sample sample;
        int status = feed_.next(sample_at_, room_, sample);
        if (status == QLIP_SUCCESS) status = packetise(draft, sample);
        if (status != QLIP_SUCCESS) return status;
        draft.frame.time = clock_.nanoseconds(sample.decode);
        draft.frame.presentation_time = clock_.nanoseconds(sample.presentation);
        draft.frame.timestamp = clock_.rtp(sample.presentation);
        draft.frame.duration = clock_.length(sample.duration);
        draft.frame.is_sync = is_sync_sample(track_, sample.number) ? 1 : 0;
        draft.frame.marker = 1;
    }
    return QLIP_SUCCESS;
}

int VideoReader::packetise(Draft& draft, const Sample& sample) {
    unsigned char* from = sample_at_;
    unsigned int size = sample.size;
    if (track_->codec == ISO_CODEC_AVC1 && !nal_units_fill({from, size}, track_->nal_length_size))
        return feed_.blame(sample, "the lengths of its NAL units do not fit");
    if (track_->codec == ISO_CODEC_MP4V) {
        const auto configuration = configuration_.in_front_of({from, size});
        from -= configuration.size();
        size += static_cast<unsigned int>(configuration.size());
        if (!configuration.empty()) std::memcpy(from, configuration.data(), configuration.size());
    }
    const int bytes = wld_native_packet(records_, static_cast<int>(records_size_), from,
                                        static_cast<int>(size), 0.0, &native_);
    if (bytes >= 0 && list_packets(draft, bytes)) return QLIP_SUCCESS;
    draft.packets.clear();
    return feed_.too_many_packets(sample);
}

// The RTP header takes the end of the record in front of each payload. The packetiser puts parameter sets in
// front of the IDR slice; they belong in front of all else but a delimiter (ITU-T H.264 7.4.1.2.3).
bool VideoReader::list_packets(Draft& draft, int bytes) {
    const bool h264 = track_->codec == ISO_CODEC_AVC1;
    PictureStart start;
    size_t in_front = 0;
    unsigned char* record = records_;
    for (const unsigned char* end = records_ + bytes; record < end;) {
        const size_t size = load_le32(record);
        const size_t payload = size - kRecordSize;
        const NalKind kind = h264 ? kind_of_payload({record + kRecordSize, payload}) : NalKind::picture_data;
        const bool wanted = payload != 0 && start.admits(kind);
        if (wanted && !draft.packets.add(record + kRtpInRecord, kHeaderSize + payload)) return false;
        if (wanted && (kind == NalKind::parameter_set || (kind == NalKind::delimiter && in_front == 0)))
            draft.packets.move_last_to(in_front++);
        record += size;
    }
    return true;
}

}  // namespace qlip::kit
