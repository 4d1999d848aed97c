#include "session/h264_parameter_sets.h"

#include <cstdint>
#include <cstring>

#include "common/byte_order.h"
#include "formats/nal.h"
#include "formats/rtp.h"

namespace qlip {

namespace {

// The packets of a stream's first IDR frame have the lowest numbers, and their sets went out with the header.
constexpr unsigned int kLowestIdrSequence = 3;

unsigned int set_count(const iso_track* track) {
    return static_cast<unsigned int>(track->sps_count) + static_cast<unsigned int>(track->pps_count);
}

// What the records of the sets can take.
uint64_t room_for_sets(const iso_track* track) {
    return uint64_t{set_count(track)} * sizeof(wld_packet_record) + track->parameter_sets_size;
}

bool sets_fit(const mm_Interface& session) {
    return session.carry_size + room_for_sets(session.track) <= kBufferBytes;
}

void put_parameter_sets(VideoCall& call) {
    mm_Interface& session = call.session;
    int length = 0;
    unsigned char* to = packet_records(session) + session.carry_size;
    isoFFgetAvccDsi(call.hint, session.track, WLD_TYPE_H264, to, &length);
    session.working_set.note(to + length);
    if (length > 0) session.carry_size = static_cast<unsigned short>(session.carry_size + length);
    call.packets += set_count(session.track);
    session.dsi_sent = 1;
}

//  FU-A:  | F NRI 28 | S E R type | ...      single NAL unit:  | F NRI type | ...
bool opens_idr_picture(const unsigned char* payload, int bytes) {
    if (bytes < 1) return false;
    const unsigned int type = payload[0] & kNalTypeMask;
    if (type != kNalFuA) return type == kNalIdrSlice;
    return bytes > 1 && (payload[1] & kNalTypeMask) == kNalIdrSlice && (payload[1] & kFuStart) != 0;
}

// Moves the packet in hand up, behind the sets that go in front of it. It stands aside where these do not
// reach.
bool put_parameter_sets_ahead(VideoCall& call, int bytes) {
    mm_Interface& session = call.session;
    if (!sets_fit(session)) return false;
    const auto size = static_cast<size_t>(bytes);
    unsigned char* aside = packet_in_hand(session) + room_for_sets(session.track);
    session.working_set.reach(aside + size);
    std::memmove(aside, packet_in_hand(session), size);
    put_parameter_sets(call);
    std::memmove(packet_in_hand(session), aside, size);
    return true;
}

}  // namespace

bool open_with_parameter_sets(VideoCall& call) {
    if (!sets_fit(call.session)) return false;
    put_parameter_sets(call);
    return true;
}

// The slices of one IDR frame get one set of parameters: `dsi_sent` lasts until the marker.
int precede_idr_packet(VideoCall& call, int bytes) {
    mm_Interface& session = call.session;
    const unsigned char* packet = packet_in_hand(session);
    const unsigned int sequence = rtp_sequence(packet);
    const bool last = rtp_marker(packet) != 0;
    if (opens_idr_picture(packet + kRtpHeaderBytes, bytes - kRtpHeaderBytes) &&
        sequence >= kLowestIdrSequence && session.dsi_sent == 0) {
        if (!put_parameter_sets_ahead(call, bytes)) return -1;
        store_be16(packet_in_hand(session) + kRtpSequenceAt,
                   static_cast<uint16_t>(sequence + set_count(session.track)));
    }
    if (last) session.dsi_sent = 0;
    return bytes;
}

}  // namespace qlip
