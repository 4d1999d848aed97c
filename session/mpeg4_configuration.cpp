#include "session/mpeg4_configuration.h"

#include <algorithm>
#include <cstring>

#include "common/log.h"
#include "iso/model/arena.h"
#include "session/mpeg4_start_code.h"

using namespace qlip;

namespace {

// A packet's last bytes, beside those that the search itself leaves out: kept for receivers
// [unsearched-tail].
constexpr int kUnsearchedTail = 4;

// The stream's own configuration, from its start code up to the VOP.
void replace_configuration(iso_track* track, const unsigned char* from, int bytes) {
    std::memcpy(track->dsi, from, static_cast<size_t>(bytes));
    track->dsi_size = bytes;
}

}  // namespace

namespace qlip {

bool reserve_configuration(iso_track* track) {
    const int held = std::max(track->dsi_size, 0);
    auto* room = static_cast<unsigned char*>(arena_take(track->file, std::max(held, kBufferBytes)));
    if (!room) return false;
    if (track->dsi && held > 0) std::memcpy(room, track->dsi, static_cast<size_t>(held));
    if (track->dsi) isoFFfree(track->dsi);
    track->dsi = room;
    return true;
}

// An intra sample that brings a configuration refreshes the track's; one without gets the track's in front.
// Returns the sample's new size, or -1 when it would no longer fit.
int configure_sample(mm_Interface& session, int bytes) {
    unsigned char* sample = session.sample_buffer;
    iso_track* track = session.track;
    const auto [sequence, vop] = find_start_codes(sample, bytes);
    if (vop < 0) return bytes;
    if (sequence >= 0 && vop > sequence) {
        replace_configuration(track, sample + sequence, vop - sequence);
        return bytes;
    }
    if (track->dsi_size <= 0) return bytes;
    if (track->dsi_size > kBufferBytes - bytes) return -1;
    std::memmove(sample + track->dsi_size, sample, static_cast<size_t>(bytes));
    std::memcpy(sample, track->dsi, static_cast<size_t>(track->dsi_size));
    session.working_set.note(sample + track->dsi_size + bytes);
    return bytes + track->dsi_size;
}

namespace {

// Puts the track's configuration in front of the VOP. Finished records of this frame are overwritten with the
// beginning of the packet: kept for receivers of files whose intra VOPs stand in the first packet of their
// frame [intra-vop-in-later-packet].
int insert_configuration(mm_Interface& session, int bytes, int vop) {
    const iso_track* track = session.track;
    if (track->dsi_size > kBufferBytes - bytes) return -1;
    unsigned char* packet = packet_in_hand(session);
    const auto added = static_cast<size_t>(std::max(track->dsi_size, 0));
    const auto head = size_t{kRtpHeaderBytes} + static_cast<size_t>(vop);
    const auto total = static_cast<size_t>(bytes);
    std::memmove(packet + head + added, packet + head, total - head);
    std::memcpy(packet + head, track->dsi, added);
    session.working_set.note(packet + total + added);
    std::memcpy(packet_records(session), packet, std::min<size_t>(total + added, session.carry_size));
    return static_cast<int>(total + added);
}

}  // namespace

// A packet that opens an intra VOP without a configuration gets the track's in front of the VOP; a
// configuration in the packet replaces the track's, if the header record could hold it.
int configure_packet(VideoCall& call, int bytes) {
    mm_Interface& session = call.session;
    const unsigned char* payload = packet_in_hand(session) + kRtpHeaderBytes;
    const int searched = bytes - kRtpHeaderBytes - kUnsearchedTail;
    const auto [sequence, vop] = find_start_codes(payload, searched);
    if (vop < 0) return bytes;
    if (sequence < 0) return insert_configuration(session, bytes, vop);
    if (vop > sequence && vop - sequence <= WLD_CONFIG_CAPACITY) {
        replace_configuration(session.track, payload + sequence, vop - sequence);
    }
    return bytes;
}

}  // namespace qlip
